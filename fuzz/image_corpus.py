#!/usr/bin/env python3
"""Writes the seeds of ImageFile that other people's encoders make: every form of image and of
thumbnail, small.

usage: image_corpus.py FOLDER
"""

import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "tools"))
import image_forms  # noqa: E402
import thumbnails  # noqa: E402

HEIGHT, WIDTH = 6, 5
# As the first byte of a seed chooses it.
TIFF, PNG, JPEG = 0, 2, 3


def with_thumbnails():
    """@return (name, format to write, suffix, block of Exif, Photoshop's resources) of each"""
    small = thumbnails.picture(17, 9)
    stream = thumbnails.stream(small, quality=50)
    of_photoshop = thumbnails.resource(
        thumbnails.THUMBNAIL, thumbnails.photoshop_thumbnail(stream, (17, 9)))
    exif = thumbnails.exif(thumbnails.of_stream(thumbnails.without_jfif(stream)))
    copy = thumbnails.resource(1058, exif)
    return [
        ("thumbnail", JPEG, ".jpg", exif, b""),
        ("thumbnail-big-endian", PNG, ".jpg",
         thumbnails.exif(thumbnails.of_stream(stream), ">"), b""),
        ("thumbnail-of-PNG", JPEG, ".png", exif, b""),
        ("thumbnail-without-compression", JPEG, ".jpg",
         thumbnails.exif(thumbnails.of_pixels(small, rows=4)), b""),
        ("thumbnail-of-Photoshop", TIFF, ".tif", None, of_photoshop + copy),
    ]


def main(folder):
    os.makedirs(folder, exist_ok=True)
    with tempfile.TemporaryDirectory() as scratch:
        for number, form in enumerate(image_forms.forms(HEIGHT, WIDTH)):
            path, _ = form.write(scratch)
            with open(path, "rb") as file:
                data = file.read()
            # The format, compression, size and colours that it is written in.
            choices = bytes([number % 4, number // 4 % 6, number % 2, number % 3])
            name = "form-" + form.name.replace(",", "").replace(" ", "-")
            with open(os.path.join(folder, name), "wb") as file:
                file.write(choices + data)
        image = image_forms.samples(8, 3, HEIGHT, WIDTH)
        for name, form, suffix, exif, resources in with_thumbnails():
            path = os.path.join(scratch, "seed" + suffix)
            thumbnails.save(path, image, exif, resources)
            with open(path, "rb") as file:
                data = file.read()
            with open(os.path.join(folder, name), "wb") as file:
                file.write(bytes([form, 0, 0, 1]) + data)


if __name__ == "__main__":
    main(*sys.argv[1:])
