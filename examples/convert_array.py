"""Converts an array of 8-bit RGBA pixels from a device profile to sRGB, in place, on two threads."""

import sys

# README begin
import kxcms
import numpy


def make_pipeline(path):
    """From a profile file to sRGB. Raises kxcms.Error if the profile cannot be used."""
    return kxcms.Pipeline(path, to="srgb", intent="relative", black_point_compensation=True)


def convert(pipeline, pixels):
    """Converts in place; alpha stays as it is, and so does what lies between the pixels."""
    pipeline(pixels, out=pixels, threads=2)
# README end


def main():
    if len(sys.argv) != 2:
        print("usage: convert_array.py PROFILE", file=sys.stderr)
        return 2
    pixels = numpy.array([[[255, 255, 255, 255], [200, 100, 50, 128]]], numpy.uint8)
    try:
        convert(make_pipeline(sys.argv[1]), pixels)
    except kxcms.Error as error:
        print(f"{sys.argv[1]}: {error}", file=sys.stderr)
        return 1
    white, brown = pixels[0].tolist()
    print("white: {} {} {}".format(*white))
    print("brown: {} {} {}, alpha {}".format(*brown))
    return 0


if __name__ == "__main__":
    sys.exit(main())
