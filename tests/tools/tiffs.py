"""TIFF files made to measure (TIFF 6.0), usual forms and unusual ones."""

import struct

BYTE, ASCII, SHORT, LONG, RATIONAL, SBYTE, UNDEFINED = range(1, 8)
FLOAT, DOUBLE = 11, 12
_PACK = {BYTE: "B", ASCII: "B", SHORT: "H", LONG: "I", SBYTE: "b", UNDEFINED: "B", FLOAT: "f",
         DOUBLE: "d"}


def encode(kind, values, order="<"):
    if isinstance(values, bytes):
        return values
    if kind == RATIONAL:
        return b"".join(struct.pack(order + "2I", *v) for v in values)
    return struct.pack(f"{order}{len(values)}{_PACK[kind]}", *values)


def count_of(kind, data):
    return len(data) // {RATIONAL: 8, **{k: struct.calcsize(v) for k, v in _PACK.items()}}[kind]


def directory(tags, at, following=0, order="<"):
    """A directory at file position `at`, and the data of its tags right behind it."""
    entries = b""
    data = b""
    data_at = at + 2 + 12 * len(tags) + 4
    for tag, kind, values in tags:
        content = encode(kind, values, order)
        entries += struct.pack(order + "2HI", tag, kind, count_of(kind, content))
        if len(content) <= 4:
            entries += content + bytes(4 - len(content))
        else:
            entries += struct.pack(order + "I", data_at + len(data))
            data += content + bytes(len(content) % 2)
    return struct.pack(order + "H", len(tags)) + entries + struct.pack(order + "I", following) + data


def pixels(width, length, bits):
    """Samples that differ everywhere, as numbers."""
    top = (1 << bits) - 1
    return [(x * 7919 + y * 104729 + c * 1299709) * 37 % (top + 1)
            for y in range(length) for x in range(width) for c in range(3)]


def tiff(width=20, length=12, bits=8, rows=None, separate=False, samples=None, extra=(), without=(),
         replace=None, strip_type=LONG, count_type=LONG, order="<", magic=None, pages=1,
         padding=0, profile=None):
    """Pixels first, directory last, as most programs write it.

    @param rows     rows per strip, None: one strip
    @param extra    further tags; `without` leaves tags out, `replace` gives other contents
    @param padding  bytes added to the last strip
    """
    samples = pixels(width, length, bits) if samples is None else samples
    rows = length if rows is None else rows
    code = "B" if bits == 8 else "H"
    planes = [samples[c::3] for c in range(3)] if separate else [samples]
    per_row = width if separate else width * 3
    strips = []
    for plane in planes:
        for top in range(0, length, rows):
            part = plane[top * per_row:min(top + rows, length) * per_row]
            strips.append(struct.pack(f"{order}{len(part)}{code}", *part))
    strips[-1] += bytes(padding)
    body = b"".join(strips)
    offsets = [8 + sum(map(len, strips[:i])) for i in range(len(strips))]
    tags = {
        256: (LONG, [width]), 257: (LONG, [length]), 258: (SHORT, [bits] * 3), 259: (SHORT, [1]),
        262: (SHORT, [2]), 273: (strip_type, offsets), 277: (SHORT, [3]), 278: (LONG, [rows]),
        279: (count_type, [len(s) for s in strips]), 282: (RATIONAL, [(72, 1)]),
        283: (RATIONAL, [(72, 1)]), 284: (SHORT, [2 if separate else 1]), 296: (SHORT, [2]),
    }
    if profile is not None:
        tags[34675] = (UNDEFINED, profile)
    for tag, kind, values in extra:
        tags[tag] = (kind, values)
    for tag, content in (replace or {}).items():
        tags[tag] = content
    listed = [(tag, *tags[tag]) for tag in sorted(tags) if tag not in without]
    at = 8 + len(body) + len(body) % 2
    magic = (b"II*\0" if order == "<" else b"MM\0*") if magic is None else magic
    out = magic + struct.pack(order + "I", at) + body + bytes(len(body) % 2)
    for page in range(pages):
        size = len(directory(listed, 0, 0, order))
        out += directory(listed, len(out), len(out) + size if page + 1 < pages else 0, order)
    return out


class Tiff:
    """What a written file holds; checks that everything lies inside it."""

    _SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 6: 1, 7: 1, 8: 2, 9: 4}

    def __init__(self, data):
        assert data[:4] == b"II*\0", data[:4]
        at, = struct.unpack_from("<I", data, 4)
        count, = struct.unpack_from("<H", data, at)
        self.tags = {}
        for i in range(count):
            tag, kind, items = struct.unpack_from("<2HI", data, at + 2 + 12 * i)
            size = self._SIZES[kind] * items
            where = at + 10 + 12 * i
            if size > 4:
                where, = struct.unpack_from("<I", data, where)
            assert where + size <= len(data), f"tag {tag} outside the file"
            content = data[where:where + size]
            code = {1: "B", 3: "H", 4: "I"}.get(kind)
            self.tags[tag] = struct.unpack(f"<{items}{code}", content) if code else content
        (offset,), (size,) = self.tags[273], self.tags[279]
        assert offset + size <= len(data), "pixels outside the file"
        self.pixels = data[offset:offset + size]
