"""Beside Pillow, which converts by Little CMS, in 8 bits and without its optimisation."""

import glob

import numpy as np
import pytest
from PIL import Image, ImageCms

import kxcms

RELATIVE = 1
# Those of Debian's colord-data: matrices and curves of every kind.
SCREENS = sorted(glob.glob("/usr/share/color/icc/colord/*RGB*.icc"))


def transform(profile, mode="RGB"):
    return ImageCms.buildTransform(str(profile), ImageCms.createProfile("sRGB"), mode, mode,
                                   renderingIntent=RELATIVE, flags=ImageCms.FLAGS["NOTPRECALC"])


def is_the_same(ours, theirs):
    """Both round; where they differ it is by one level, and seldom."""
    difference = np.abs(ours.astype(int) - theirs)
    return difference.max() <= 1 and difference.mean() < 0.005


def test_a_scanner(scanner, noise):
    image = noise((100, 120, 3))
    ours = kxcms.Pipeline(scanner, intent="relative")(image)
    theirs = ImageCms.applyTransform(Image.fromarray(image), transform(scanner))
    assert is_the_same(ours, np.asarray(theirs))


@pytest.mark.skipif(not SCREENS, reason="SKIP: colord-data is not installed")
def test_screens(noise):
    image = noise((100, 120, 3))
    for path in SCREENS:
        ours = kxcms.Pipeline(path, intent="relative")(image)
        theirs = ImageCms.applyTransform(Image.fromarray(image), transform(path))
        assert is_the_same(ours, np.asarray(theirs)), path


def test_what_lies_beside_the_colours_is_left_alone(scanner, noise):
    """Alpha, and the fourth sample of RGBX."""
    image = noise((100, 120, 4))
    pipeline = kxcms.Pipeline(scanner, intent="relative")
    theirs = np.asarray(ImageCms.applyTransform(Image.fromarray(image, "RGBA"),
                                                transform(scanner, "RGBA")))
    assert (theirs[..., 3] == image[..., 3]).all()
    ours = pipeline(image)
    assert is_the_same(ours, theirs) and (ours[..., 3] == theirs[..., 3]).all()
    colours = image.copy()
    pipeline(colours[..., :3], out=colours[..., :3])
    assert (colours == ours).all()


def test_lines_that_are_padded(scanner, noise):
    """A part of a larger image, whose lines are further apart than it is wide."""
    image = noise((100, 120, 3))
    theirs = ImageCms.applyTransform(Image.fromarray(image).crop((10, 20, 77, 90)),
                                     transform(scanner))
    pipeline = kxcms.Pipeline(scanner, intent="relative")
    assert is_the_same(pipeline(image[20:90, 10:77]), np.asarray(theirs))
    mirrored = theirs.transpose(Image.FLIP_LEFT_RIGHT).transpose(Image.ROTATE_90)
    ours = pipeline(image[20:90, 10:77][:, ::-1].transpose(1, 0, 2)[::-1])
    assert is_the_same(ours, np.asarray(mirrored))


def test_profiles_of_pictures(scanner, tmp_path, noise):
    """The profile that a picture carries, as Pillow hands it out."""
    path = tmp_path / "scan.png"
    Image.fromarray(noise((5, 6, 3))).save(path, icc_profile=scanner.read_bytes())
    with Image.open(path) as picture:
        pipeline = kxcms.Pipeline(picture.info["icc_profile"])
        assert (pipeline(picture) == kxcms.Pipeline(scanner)(np.asarray(picture))).all()
