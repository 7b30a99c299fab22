"""The rules of TIFF 6.0 and BigTIFF for the structure of a file, checked by a reader of its own.

`read(data)` gives the pages of a file, or raises `Broken` with everything that it found wrong: tags
out of order, directories or values at odd positions, anything outside the file, overlapping or not
accounted for, counts that are not those of the image.
"""

import struct

SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 6: 1, 7: 1, 8: 2, 9: 4, 10: 8, 11: 4, 12: 8, 13: 4,
         16: 8, 17: 8, 18: 8}
LETTERS = {1: "B", 3: "H", 4: "I", 6: "b", 8: "h", 9: "i", 11: "f", 12: "d", 13: "I", 16: "Q",
           17: "q", 18: "Q"}
SUB_IFDS, EXIF, GPS, INTEROPERABILITY = 330, 34665, 34853, 40965
POINTERS = (EXIF, GPS, INTEROPERABILITY)
REQUIRED = (256, 257, 258, 259, 262, 277)


class Broken(AssertionError):
    pass


class Directory(dict):
    """tag: (type, count, bytes as in the file); `values(tag)` are numbers."""

    def __init__(self, order):
        super().__init__()
        self.order = order
        self.subs = {}   # pointer: Directory
        self.pages = []  # of SubIFDs

    def values(self, tag, default=None):
        if tag not in self:
            return default
        kind, count, content = self[tag]
        if kind in (5, 10):
            parts = struct.unpack(f"{self.order}{2 * count}{'I' if kind == 5 else 'i'}", content)
            return tuple(zip(parts[::2], parts[1::2]))
        if kind not in LETTERS:
            return content
        return struct.unpack(f"{self.order}{count}{LETTERS[kind]}", content)

    def number(self, tag, default=None):
        values = self.values(tag)
        return default if values is None else values[0]


class File:
    def __init__(self, data):
        self.data = data
        self.wrong = []
        self.regions = [(0, 8, "header")]
        self.seen = set()
        self.pages = []
        self.order = {b"II": "<", b"MM": ">"}.get(data[:2])
        self.check(self.order, f"byte order {data[:2]}")
        if not self.order:
            return
        version, = self.unpack("H", 2)
        self.check(version in (42, 43), f"version {version}")
        self.big = version == 43
        if self.big:
            self.regions = [(0, 16, "header")]
            self.check(self.unpack("HH", 4) == (8, 0), "BigTIFF header")
        following, = self.unpack("Q" if self.big else "I", 8 if self.big else 4)
        self.check(following != 0, "no directory")
        while following:
            page, following = self.directory(following)
            if page is None:
                break
            self.pages.append(page)
        for page in self.pages:
            self.image(page)
        self.layout()

    def check(self, good, what):
        if not good:
            self.wrong.append(what)
        return good

    def unpack(self, code, at):
        code = self.order + code
        if at + struct.calcsize(code) > len(self.data):
            self.check(False, f"{at} is outside the file")
            return tuple(0 for _ in code[1:])
        return struct.unpack_from(code, self.data, at)

    def directory(self, at):
        self.check(at % 2 == 0, f"directory at the odd position {at}")
        if not self.check(at not in self.seen, f"directory {at} twice"):
            return None, 0
        self.seen.add(at)
        word, width = ("Q", 8) if self.big else ("I", 4)
        count, = self.unpack("Q" if self.big else "H", at)
        start = at + (8 if self.big else 2)
        entry = 4 + 2 * width
        end = start + count * entry + width
        if not self.check(0 < count and end <= len(self.data), f"directory {at} of {count} tags"):
            return None, 0
        self.regions.append((at, end, f"directory {at}"))
        found = Directory(self.order)
        before = -1
        for i in range(count):
            place = start + i * entry
            tag, kind, items = self.unpack("HH" + word, place)
            self.check(tag > before, f"tag {tag} behind tag {before}")
            before = tag
            most = max(SIZES) if self.big else 13
            if not self.check(kind in SIZES and kind <= most, f"tag {tag} of type {kind}"):
                continue
            self.check(items > 0, f"tag {tag} without items")
            size = SIZES[kind] * items
            value = place + 4 + width
            if size > width:
                value, = self.unpack(word, value)
                self.check(value % 2 == 0, f"tag {tag} at the odd position {value}")
                self.regions.append((value, value + size, f"tag {tag}"))
            else:
                rest = self.data[value + size:value + width]
                self.check(not any(rest), f"tag {tag} is followed by {rest}")
            if self.check(value + size <= len(self.data), f"tag {tag} outside the file"):
                found[tag] = kind, items, self.data[value:value + size]
        for tag in POINTERS:
            if tag in found:
                self.check(found[tag][1] == 1, f"pointer {tag} of {found[tag][1]} items")
                found.subs[tag], following = self.directory(found.number(tag))
                self.check(following == 0, f"a directory behind that of tag {tag}")
        for position in found.values(SUB_IFDS, ()):
            page, _ = self.directory(position)
            if page is not None:
                found.pages.append(page)
                self.image(page)
        following, = self.unpack(word, start + count * entry)
        return found, following

    def image(self, page):
        for tag in REQUIRED:
            if not self.check(tag in page, f"no tag {tag}"):
                return
        samples = page.number(277)
        width, length = page.number(256), page.number(257)
        bits = page.values(258)
        self.check(len(bits) == samples, f"{len(bits)} depths of {samples} samples")
        extras = page.values(338, ())
        self.check(len(extras) == samples - 3, f"{len(extras)} extra samples of {samples}")
        planes = samples if page.number(284, 1) == 2 else 1
        tiled = 322 in page
        for tag in ((322, 323, 324, 325) if tiled else (273, 278, 279)):
            if not self.check(tag in page, f"no tag {tag}"):
                return
        for tag in ((273, 278, 279) if tiled else (322, 323, 324, 325)):
            self.check(tag not in page, f"tag {tag} in an image of {'tiles' * tiled or 'strips'}")
        if tiled:
            across, down = page.number(322), page.number(323)
            self.check(across % 16 == 0 and down % 16 == 0, f"tiles of {across} by {down}")
            pieces = -(-width // across) * -(-length // down)
        else:
            down = page.number(278)
            self.check(0 < down, "no rows per strip")
            pieces = -(-length // down)
        offsets, sizes = page.values(324 if tiled else 273), page.values(325 if tiled else 279)
        self.check(len(offsets) == len(sizes) == pieces * planes,
                   f"{len(offsets)}, {len(sizes)} pieces where {pieces * planes} make the image")
        for i, (offset, size) in enumerate(zip(offsets, sizes)):
            self.check(size > 0, f"piece {i} is empty")
            self.check(offset % 2 == 0, f"piece {i} at the odd position {offset}")
            self.regions.append((offset, offset + size, f"piece {i}"))
            if page.number(259) == 1:
                rows = down if tiled else min(down, length - i % pieces * down)
                row = (across if tiled else width) * sum(bits) // planes // 8
                self.check(size == rows * row, f"piece {i} of {size} bytes, not {rows * row}")

    def layout(self):
        """Everything in its place: no two things overlap, and between them is padding at most."""
        end, before = 0, "nothing"
        for first, last, what in sorted(self.regions):
            self.check(first >= end, f"{what} at {first} overlaps {before}, which ends at {end}")
            gap = self.data[end:first]
            self.check(len(gap) <= 1 and not any(gap), f"{len(gap)} bytes before {what} are of "
                                                       "nobody")
            end, before = max(end, last), what
        self.check(end == len(self.data), f"ends at {end} of {len(self.data)}")


def read(data):
    file = File(data)
    if file.wrong:
        raise Broken("; ".join(file.wrong[:10]))
    return file
