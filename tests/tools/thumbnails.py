"""Images with thumbnails in every form, made by hand (Exif 2.3, 4.5.5; Photoshop's resource 1036)."""

import io
import struct

import numpy
import PIL.Image
import tiffs
from tiffs import ASCII, LONG, RATIONAL, SHORT

ORDERS = {"little-endian": "<", "big-endian": ">"}
THUMBNAIL, THUMBNAIL_OF_4 = 1036, 1033  # Photoshop's resources


def picture(width=160, height=120):
    """Smooth, so that JPEG loses little of it."""
    y, x = numpy.meshgrid(numpy.linspace(0, 1, height), numpy.linspace(0, 1, width), indexing="ij")
    return numpy.stack([40 + 180 * x, 60 + 150 * y, 200 - 80 * x * y], axis=2).astype("u1")


def stream(data, kind="RGB", **options):
    """@return the picture as a JPEG stream, by Pillow."""
    file = io.BytesIO()
    PIL.Image.fromarray(data).convert(kind).save(file, "JPEG", **{"quality": 95, **options})
    return file.getvalue()


def without_jfif(data):
    """As Exif wants it: without the marker that only names the format."""
    assert data[2:4] == b"\xff\xe0"
    size, = struct.unpack_from(">H", data, 4)
    return data[:2] + data[4 + size:]


def of_stream(data, **replaced):
    """The tags of a thumbnail, where its pixels are at `at`."""
    def tags(at):
        values = {"compression": 6, "offset": at, "size": len(data), **replaced}
        compression = [(259, SHORT, [values["compression"]])] * (values["compression"] is not None)
        return [*compression, (274, SHORT, [6]),
                (282, RATIONAL, [(72, 1)]), (283, RATIONAL, [(72, 1)]), (296, SHORT, [2]),
                (513, LONG, [values["offset"]]), (514, LONG, [values["size"]])]
    return tags, data


def of_pixels(data, rows=None, **replaced):
    """The same for uncompressed ones, in strips."""
    height, width, _ = data.shape
    rows = rows or height
    tops = range(0, height, rows)

    def tags(at):
        values = {
            254: (LONG, [1]), 256: (SHORT, [width]), 257: (SHORT, [height]), 258: (SHORT, [8, 8, 8]),
            259: (SHORT, [1]), 262: (SHORT, [2]), 273: (LONG, [at + top * width * 3 for top in tops]),
            274: (SHORT, [6]), 277: (SHORT, [3]), 278: (SHORT, [rows]),
            279: (LONG, [min(rows, height - top) * width * 3 for top in tops]),
            282: (RATIONAL, [(72, 1)]), 283: (RATIONAL, [(72, 1)]), 284: (SHORT, [1]), 296: (SHORT, [2])}
        values.update({int(tag): value for tag, value in replaced.items()})
        return [(tag, *values[tag]) for tag in sorted(values) if values[tag] is not None]
    return tags, data.tobytes()


IMAGE_TAGS = [(270, ASCII, b"a slide\0"), (274, SHORT, [6])]


def exif(thumbnail, order="<", tags=None, at=None, following=0):
    """@return a block of Exif with that thumbnail
       @param at         where the first directory says that the second one is
       @param following  what the second one says"""
    tags = IMAGE_TAGS if tags is None else tags
    tags_at, data = thumbnail
    second = 8 + len(tiffs.directory(tags, 8, 0, order))
    end = second + len(tiffs.directory(tags_at(0), second, 0, order))
    magic = b"II*\0" if order == "<" else b"MM\0*"
    return (magic + struct.pack(order + "I", 8)
            + tiffs.directory(tags, 8, second if at is None else at, order)
            + tiffs.directory(tags_at(end), second, following, order) + data)


def resource(number, data, name=b""):
    name = bytes([len(name)]) + name
    name += bytes(len(name) % 2)
    return (b"8BIM" + struct.pack(">H", number) + name + struct.pack(">I", len(data)) + data
            + bytes(len(data) % 2))


def photoshop_thumbnail(data, sides, **replaced):
    """What the resource holds.

    @param sides  width and height
    """
    width, height = sides
    row = (width * 24 + 31) // 32 * 4
    fields = {"format": 1, "width": width, "height": height, "row": row, "all": row * height,
              "size": len(data), **replaced}
    return struct.pack(">6I2H", *fields.values(), 24, 1) + data


def save(path, data, block=None, resources=b""):
    """Writes an image with what it shall carry, as its suffix says: by Pillow, or a TIFF."""
    if path.endswith(".tif"):
        height, width, _ = data.shape
        extra = [(34377, tiffs.BYTE, resources)] if resources else []
        with open(path, "wb") as file:
            file.write(tiffs.tiff(width, height, samples=data.reshape(-1).tolist(), extra=extra))
        return
    PIL.Image.fromarray(data).save(path, quality=95, **({} if block is None else {"exif": (
        b"" if path.endswith(".png") else b"Exif\0\0") + block}))
    if resources:
        assert path.endswith(".jpg")
        content = b"Photoshop 3.0\0" + resources
        with open(path, "rb") as file:
            whole = file.read()
        with open(path, "wb") as file:
            file.write(whole[:2] + b"\xff\xed" + struct.pack(">H", len(content) + 2) + content
                       + whole[2:])
