#!/usr/bin/env python3
"""Writes the seeds of ImageFile that other people's encoders make: every form of image, small.

usage: image_corpus.py FOLDER
"""

import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "tools"))
import image_forms  # noqa: E402

HEIGHT, WIDTH = 6, 5


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


if __name__ == "__main__":
    main(*sys.argv[1:])
