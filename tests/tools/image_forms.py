"""Forms in which scanners and archives write RGB images, made with other people's programs.

A row of FORMS is a form: its name, what makes the file, and what the file holds. Files are made by
tifffile, by Pillow, and by libtiff's tiffcp and tiffset from files of those; where a compression
loses something, Pillow says what is left.
"""

import os
import subprocess

import numpy
import PIL.Image
import tifffile

import profiles

WIDTH, HEIGHT = 61, 47  # no multiple of any tile or strip
PROFILE = profiles.scanner(points=3)


def samples(bits=8, count=3, height=HEIGHT, width=WIDTH):
    """A picture with smooth parts and noise, [row, column, sample]."""
    rng = numpy.random.default_rng(20 * bits + count)
    top = (1 << bits) - 1
    y, x, c = numpy.meshgrid(numpy.arange(height), numpy.arange(width), numpy.arange(count),
                             indexing="ij")
    smooth = ((x * 3 + y * (c + 2)) % 97) * (top // 97)
    noise = rng.integers(0, top + 1, smooth.shape)
    return numpy.where(x < width // 2, smooth, noise).astype(f"u{bits // 8}")


def run(*command):
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, capture_output=True, timeout=60)


class Form:
    """@param pages  what the pages hold, None: what Pillow reads
       @param file   suffix of the file"""

    def __init__(self, name, make, pages, suffix=".tif"):
        self.name, self.make, self.pages, self.suffix = name, make, pages, suffix

    def write(self, folder):
        """@return the path of the file and its pages."""
        path = os.path.join(folder, "form" + self.suffix)
        if os.path.exists(path):
            os.remove(path)
        self.make(path)
        pages = self.pages
        if pages is None:
            with PIL.Image.open(path) as image:
                pages = [numpy.asarray(image)]
        return path, pages


def written(data, iccprofile=None, **options):
    """By tifffile."""
    if iccprofile is not None:
        options["extratags"] = [(34675, 7, len(iccprofile), iccprofile, True)]
    options = {"photometric": "rgb", "metadata": None, "software": None, **options}
    return lambda path: tifffile.imwrite(path, data, **options)


def copied(make, *options):
    """By tiffcp, from what another maker makes."""
    def copy(path):
        make(path + ".in")
        run("tiffcp", *options, path + ".in", path)
        os.remove(path + ".in")
    return copy


def tagged(make, *settings):
    """By tiffset, in the file of another maker: (tag, value...) each."""
    def set_tags(path):
        make(path)
        for tag, *values in settings:
            run("tiffset", "-s", str(tag), *map(str, values), path)
    return set_tags


def saved(data, **options):
    """By Pillow."""
    return lambda path: PIL.Image.fromarray(data).save(path, **options)


def several(*pages, **options):
    """@param pages  (data, options of the page)"""
    def write(path):
        with tifffile.TiffWriter(path, **options) as file:
            for data, page in pages:
                file.write(data, **{"photometric": "rgb", "metadata": None, "software": None,
                                    **page})
    return write


def planes(data):
    return numpy.ascontiguousarray(numpy.moveaxis(data, 2, 0))


def forms(height=HEIGHT, width=WIDTH):
    """Every form, as images of that size."""
    rgb8, rgb16, rgba8, rgba16, five16 = (
        samples(bits, count, height, width)
        for bits, count in ((8, 3), (16, 3), (8, 4), (16, 4), (16, 5)))
    for bits, data in ((8, rgb8), (16, rgb16)):
        base = written(data)
        base_planes = written(planes(data), planarconfig="separate")
        for what, make in (
            ("one strip", written(data, rowsperstrip=height)),
            ("strips of 5 rows", written(data, rowsperstrip=5)),
            ("strips of one row", written(data, rowsperstrip=1)),
            ("big-endian", written(data, byteorder=">")),
            ("BigTIFF", written(data, bigtiff=True)),
            ("big-endian BigTIFF", written(data, bigtiff=True, byteorder=">")),
            ("tiles", written(data, tile=(16, 32))),
            ("tiles larger than the image", written(data, tile=(64, 64))),
            ("separate planes", written(planes(data), planarconfig="separate")),
            ("separate planes in strips", copied(base_planes, "-p", "separate", "-r", "7")),
            ("separate planes in tiles", written(planes(data), planarconfig="separate",
                                                 tile=(16, 32))),
            ("big-endian tiles in BigTIFF", copied(base, "-8", "-B", "-t", "-w", "32", "-l", "16")),
            ("LZW", copied(base, "-c", "lzw", "-r", "8")),
            ("LZW with a predictor", copied(base, "-c", "lzw:2", "-r", "8")),
            ("big-endian LZW with a predictor", copied(base, "-B", "-c", "lzw:2", "-r", "8")),
            ("LZW in tiles", copied(base, "-c", "lzw:2", "-t", "-w", "16", "-l", "16")),
            ("LZW in separate planes", copied(base_planes, "-c", "lzw", "-p", "separate", "-r", "9")),
            ("Deflate", copied(base, "-c", "zip", "-r", "8")),
            ("Deflate with a predictor, one strip", copied(base, "-c", "zip:2", "-r", "100")),
            ("Deflate in separate planes, one strip each",
             copied(base_planes, "-c", "zip:2", "-p", "separate", "-r", "100")),
            ("PackBits", copied(base, "-c", "packbits")),
            ("Zstandard", copied(base, "-c", "zstd:2")),
            ("LZMA", copied(base, "-c", "lzma")),
            ("LERC without loss", copied(base, "-c", "lerc:0", "-r", "16")),
            ("LERC and Zstandard in tiles", copied(base, "-c", "lerc:0:s2", "-t", "-w", "16", "-l",
                                                   "16")),
            ("reversed bits", copied(base, "-f", "lsb2msb")),
            ("reversed bits of LZW", copied(base, "-f", "lsb2msb", "-c", "lzw")),
            ("an embedded profile", written(data, iccprofile=PROFILE)),
            ("resolution in centimetres", written(data, resolution=(120, 118),
                                                  resolutionunit="CENTIMETER")),
            ("orientation", tagged(base, (274, 6))),
        ):
            yield Form(f"{bits} bits, {what}", make, [data])
    for name, data, extra in (
        ("8 bits, alpha", rgba8, ["unassalpha"]),
        ("16 bits, alpha", rgba16, ["unassalpha"]),
        ("8 bits, associated alpha", rgba8, ["assocalpha"]),
        ("16 bits, infrared", rgba16, ["unspecified"]),
        ("16 bits, infrared and alpha", five16, ["unspecified", "unassalpha"]),
    ):
        yield Form(name, written(data, extrasamples=extra), [data])
        yield Form(f"{name}, in separate planes",
                   written(planes(data), extrasamples=extra, planarconfig="separate"), [data])
        yield Form(f"{name}, LZW in tiles",
                   copied(written(data, extrasamples=extra), "-c", "lzw:2", "-t", "-w", "16", "-l",
                          "32"), [data])
    yield Form("JPEG as YCbCr in a TIFF", copied(written(rgb8), "-c", "jpeg:90", "-r", "16"), None)
    yield Form("JPEG as RGB in a TIFF", copied(written(rgb8), "-c", "jpeg:r:90", "-r", "16"), None)
    yield Form("JPEG in tiles", copied(written(rgb8), "-c", "jpeg:90", "-t", "-w", "32", "-l",
                                       "32"), None)
    yield Form("WebP in a TIFF", copied(written(rgb8), "-c", "webp", "-r", "100"), None)
    yield Form("two pages", several((rgb8, {}), (rgb16, {})), [rgb8, rgb16])
    yield Form("a page and a reduced copy",
               several((rgb16, {}), (rgb8[::4, ::4], {"subfiletype": 1})), [rgb16, rgb8[::4, ::4]])
    yield Form("a reduced copy as a SubIFD",
               several((rgb16, {"subifds": 1}), (rgb8[::4, ::4], {"subfiletype": 1})),
               [rgb16, rgb8[::4, ::4]])
    yield Form("a small picture whose SubIFD is the main one",
               several((rgb8[::4, ::4], {"subifds": 1, "subfiletype": 1}), (rgb16, {})),
               [rgb8[::4, ::4], rgb16])
    yield Form("JPEG", saved(rgb8, quality=90), None, ".jpg")
    yield Form("JPEG without subsampling", saved(rgb8, quality=90, subsampling=0), None, ".jpg")
    yield Form("progressive JPEG with a profile",
               saved(rgb8, quality=90, progressive=True, icc_profile=PROFILE), None, ".jpg")
    yield Form("PNG", saved(rgb8), [rgb8], ".png")
    yield Form("PNG with alpha and a profile", saved(rgba8, icc_profile=PROFILE), [rgba8], ".png")
    yield Form("PNG of 16 bits", png16(rgb16), [rgb16], ".png")
    yield Form("interlaced PNG of 16 bits", png16(rgb16, "[interlace]"), [rgb16], ".png")


def png16(data, options=""):
    """By libvips, from tifffile's TIFF."""
    def write(path):
        written(data)(path + ".tif")
        run("vips", "copy", path + ".tif", path + options)
        os.remove(path + ".tif")
    return write


FORMS = list(forms())
