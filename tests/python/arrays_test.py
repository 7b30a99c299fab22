"""Arrays of any strides and dtype give what contiguous ones give, and nothing else is touched."""

import itertools

import numpy as np
import pytest
from numpy.lib.stride_tricks import as_strided

import kxcms

DTYPES = (np.uint8, np.uint16, np.float16, np.float32)


def through_rows(pipeline, array, dtype=None):
    """The result by the plainest calls there are: one packed row of pixels."""
    flat = np.ascontiguousarray(array).reshape(-1, array.shape[-1])
    return pipeline(flat, dtype=dtype).reshape(array.shape)


def same_bits(a, b):
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()


# ---- Strides ------------------------------------------------------------------------------------

STEPS = (1, 2, -1, -2)


@pytest.mark.parametrize("channels", (3, 4))
def test_every_step_as_source(to_srgb, noise, channels):
    image = noise((11, 13, channels))
    for rows, columns in itertools.product(STEPS, STEPS):
        view = image[::rows, ::columns]
        assert same_bits(to_srgb(view), through_rows(to_srgb, view)), (rows, columns)
        turned = view.transpose(1, 0, 2)
        assert same_bits(to_srgb(turned), through_rows(to_srgb, turned)), (rows, columns)


@pytest.mark.parametrize("channels", (3, 4))
def test_every_step_as_destination(to_srgb, noise, channels):
    for rows, columns, turn in itertools.product(STEPS, STEPS, (False, True)):
        base = noise((11, 13, channels), seed=2)
        view, expected_base = base[::rows, ::columns], base.copy()
        expected_view = expected_base[::rows, ::columns]
        if turn:
            view, expected_view = view.transpose(1, 0, 2), expected_view.transpose(1, 0, 2)
        source = noise(view.shape, seed=3)
        expected_view[...] = through_rows(to_srgb, source)
        assert to_srgb(source, out=view) is view
        assert same_bits(base, expected_base), (rows, columns, turn)


@pytest.mark.parametrize("channels", (3, 4))
def test_every_step_in_place(to_srgb, noise, channels):
    for rows, columns in itertools.product(STEPS, STEPS):
        base = noise((11, 13, channels))
        expected = base.copy()
        expected[::rows, ::columns] = through_rows(to_srgb, base[::rows, ::columns])
        view = base[::rows, ::columns]
        to_srgb(view, out=view)
        assert same_bits(base, expected), (rows, columns)


def test_every_step_of_channels(to_srgb, noise):
    for image in (noise((5, 7, 3)), noise((5, 7, 4))):
        for view in (image[..., ::-1], np.moveaxis(np.ascontiguousarray(np.moveaxis(image, -1, 0)),
                                                   0, -1)):
            assert same_bits(to_srgb(view), through_rows(to_srgb, view))
            out = np.zeros_like(view)
            to_srgb(image, out=out)
            assert same_bits(np.ascontiguousarray(out), through_rows(to_srgb, image))
    wide = noise((5, 7, 8))
    for view in (wide[..., ::2], wide[..., 1:4], wide[..., 7:1:-2], wide[..., :6:2]):
        assert same_bits(to_srgb(view), through_rows(to_srgb, view))


def test_every_order_of_five_dimensions(to_srgb, noise):
    image = noise((2, 3, 4, 5, 3))
    for order in itertools.permutations(range(4)):
        turned = image.transpose(*order, 4)
        expected = through_rows(to_srgb, turned)
        assert same_bits(to_srgb(turned), expected), order
        out = np.empty(image.shape, image.dtype).transpose(*order, 4)
        to_srgb(turned, out=out)
        assert same_bits(np.ascontiguousarray(out), expected), order
        cut = turned[::-1, ::2, 1:, ::-2]
        assert same_bits(to_srgb(cut), through_rows(to_srgb, cut)), order
        own = image.copy().transpose(*order, 4)[::-1, ::2, 1:, ::-2]
        expected = through_rows(to_srgb, own)
        to_srgb(own, out=own)
        assert same_bits(np.ascontiguousarray(own), expected), order


def test_fortran_order(to_srgb, noise):
    image = np.asfortranarray(noise((6, 5, 4, 3)))
    expected = through_rows(to_srgb, image)
    assert same_bits(to_srgb(image), expected)
    out = np.asfortranarray(np.zeros_like(image))
    to_srgb(image, out=out)
    assert same_bits(np.ascontiguousarray(out), expected)


@pytest.mark.parametrize("shape", [(1, 1, 3), (4, 1, 3), (1, 5, 3), (3,), (5, 3), (4, 5, 1),
                                   (2, 1, 4, 1, 3), (1, 3, 1, 5, 3), (1, 1, 1, 1, 3)])
def test_broadcast_sources(to_srgb, noise, shape):
    source = np.broadcast_to(noise(shape), (2, 3, 4, 5, 3))
    expected = through_rows(to_srgb, source)
    assert same_bits(to_srgb(source), expected)
    # Into a part of a larger array, with an alpha of its own.
    larger = noise((2, 3, 4, 5, 4), seed=4)
    out = larger[:, ::-1, :, ::2]
    to_srgb(source[:, :, :, ::2], out=out)
    assert same_bits(np.ascontiguousarray(out[..., :3]), expected[:, :, :, ::2].copy())
    assert (out[..., 3] == 255).all()


def test_shapes_without_pixels_or_with_one(to_srgb, noise):
    for shape in ((0, 3), (0, 5, 3), (5, 0, 4), (3, 0, 2, 3)):
        assert to_srgb(np.zeros(shape, np.uint8)).shape == shape
    white = np.array([255, 255, 255], np.uint8)
    assert to_srgb(white).tolist() == [255, 255, 255]
    pixel = noise((1, 1, 4))
    assert same_bits(to_srgb(pixel[0, 0]), to_srgb(pixel)[0, 0])


def test_unaligned_samples(to_srgb, noise):
    image = noise((5, 7, 3), np.uint16)
    bytes_ = np.zeros(image.nbytes + 1, np.uint8)
    bytes_[1:] = image.view(np.uint8).ravel()
    odd = bytes_[1:].view(np.uint16).reshape(image.shape)
    assert not odd.flags.aligned
    assert same_bits(to_srgb(odd), to_srgb(image))


def test_structured_images_by_field(to_srgb, noise):
    """A field of records, which lie further apart than samples."""
    records = np.zeros((4, 5), [("depth", np.uint8), ("rgb", np.uint16, 3), ("id", np.uint8, 5)])
    records["rgb"] = noise((4, 5, 3), np.uint16)
    expected = to_srgb(records["rgb"].copy())
    to_srgb(records["rgb"], out=records["rgb"])
    assert same_bits(records["rgb"].copy(), expected)
    assert not records["depth"].any() and not records["id"].any()


# ---- Dtypes -------------------------------------------------------------------------------------


@pytest.mark.parametrize("to", DTYPES)
@pytest.mark.parametrize("of", DTYPES)
def test_every_pair_of_dtypes(to_srgb, noise, of, to):
    image = noise((6, 7, 3), of)
    result = to_srgb(image, dtype=to)
    out = np.zeros((6, 7, 3), to)
    to_srgb(image, out=out)
    assert result.dtype == to and same_bits(result, out)
    # All of them say the same colour: half a level of the coarser type, and 2 of 65535.
    full = {np.uint8: 255, np.uint16: 65535}
    plain = to_srgb(image, dtype=np.float32)
    tolerance = {np.uint8: 0.51 / 255, np.uint16: 2.5 / 65535, np.float16: 2**-11, np.float32: 0}
    difference = np.abs(result.astype(np.float64) / full.get(to, 1) - plain)
    assert difference.max() <= tolerance[to]


def test_the_dtype_is_that_of_the_array(to_srgb, noise):
    for dtype in DTYPES:
        assert to_srgb(noise((2, 3), dtype)).dtype == dtype


def test_results_for_measuring(scanner):
    white = {np.uint8: 255, np.uint16: 65535, np.float16: 1, np.float32: 1}
    to_lab = kxcms.Pipeline(scanner, to="lab")
    for dtype in DTYPES:
        lab = to_lab(np.full((2, 3), white[dtype], dtype))
        if dtype == np.uint16:
            # ICC.1:2010 6.3.4.2: L* 655.35, (a* + 128) 257.
            assert np.abs(lab.astype(int) - [65535, 32896, 32896]).max() <= 2
        else:
            assert lab.dtype == np.float32
            assert np.abs(lab - [100, 0, 0]).max() < 0.01
    with pytest.raises(kxcms.ArgumentError):
        to_lab(np.zeros(3, np.uint8), dtype=np.uint8)


@pytest.mark.parametrize("dtype", ["i1", "i4", "u4", "f8", "c8", "?", "S3", "O", ">u2", ">f2",
                                   ">f4", [("r", "u1")]])
def test_other_dtypes_are_refused(to_srgb, dtype):
    wrong, right = np.zeros((2, 3), dtype), np.zeros((2, 3), np.uint8)
    for call in (lambda: to_srgb(wrong), lambda: to_srgb(right, out=wrong),
                 lambda: to_srgb(right, dtype=dtype)):
        with pytest.raises(TypeError, match="byte order|not uint8, uint16, float16 or float32"):
            call()


def test_sequences_are_arrays_too(to_srgb):
    with pytest.raises(TypeError, match="int64"):
        to_srgb([[0, 0, 0]])
    assert to_srgb([np.array([255, 255, 255], np.uint8)]).tolist() == [[255, 255, 255]]


# ---- Alpha --------------------------------------------------------------------------------------


def test_alpha_is_kept_set_or_dropped(to_srgb, noise):
    with_alpha = noise((5, 7, 4))
    without = with_alpha[..., :3]
    expected = through_rows(to_srgb, without)
    kept = to_srgb(with_alpha)
    assert same_bits(kept[..., :3].copy(), expected)
    assert (kept[..., 3] == with_alpha[..., 3]).all()
    dropped = to_srgb(with_alpha, out=np.empty((5, 7, 3), np.uint8))
    assert same_bits(dropped, expected)
    for added in (to_srgb(without, out=np.zeros((5, 7, 4), np.uint8)),
                  to_srgb(with_alpha, opaque=True)):
        assert same_bits(added[..., :3].copy(), expected)
        assert (added[..., 3] == 255).all()
    # In place either may have an alpha that the other has not.
    own = with_alpha.copy()
    to_srgb(own[..., :3], out=own)
    assert (own[..., 3] == 255).all() and same_bits(own[..., :3].copy(), expected)
    own = with_alpha.copy()
    to_srgb(own, out=own[..., :3])
    assert same_bits(own, kept)


def test_alpha_changes_its_type(to_srgb):
    image = np.array([[0, 0, 0, 51]], np.uint8)
    assert to_srgb(image, dtype=np.uint16)[0, 3] == 51 * 257
    assert to_srgb(image, dtype=np.float32)[0, 3] == pytest.approx(0.2, abs=1e-7)


def test_associated_alpha():
    encode = kxcms.Pipeline("srgb-linear", "srgb")
    # A linear half, times a half. Its encoding is 0.735357 (IEC 61966-2-1).
    image = np.array([[0.25, 0.25, 0.25, 0.5]], np.float32)
    both = encode(image, associated=True)
    assert both[0] == pytest.approx([0.735357 / 2] * 3 + [0.5], abs=1e-5)
    of_one = encode(image, associated=True, out_associated=False)
    assert of_one[0] == pytest.approx([0.735357] * 3 + [0.5], abs=1e-5)
    of_other = encode(np.array([[0.5, 0.5, 0.5, 0.5]], np.float32), out_associated=True)
    assert of_other[0] == pytest.approx([0.735357 / 2] * 3 + [0.5], abs=1e-5)
    without = encode(image[:, :3], associated=True, opaque=True)
    assert same_bits(without, encode(image[:, :3].copy()))


# ---- In place and overlapping -------------------------------------------------------------------


def overlapping(array):
    """Pairs of views that share memory in a way that no conversion bears."""
    yield array[:-1], array[1:]
    yield array[:, :-1], array[:, 1:]
    yield array, array[::-1]
    yield array, array[:, ::-1]
    yield array, array[..., ::-1]
    yield array[:5, :5], array[:5, :5].transpose(1, 0, 2)
    yield np.broadcast_to(array[:1], array.shape), array
    yield array.view(np.uint8)[..., :3], array


def test_overlaps_are_refused(to_srgb, noise):
    for n, (source, out) in enumerate(overlapping(noise((6, 7, 3), np.uint16))):
        before = out.copy()
        with pytest.raises(kxcms.ArgumentError):
            to_srgb(source, out=out)
        assert (out == before).all(), n


def test_overlaps_of_many_dimensions_are_refused(to_srgb, noise):
    base = noise((4, 5, 6, 7, 3))
    cut = base[::2, ::2, ::2, ::2]
    for source, out in ((base[:-1, ::2, ::2, ::2], base[1:, ::2, ::2, ::2]),
                        (cut, cut[::-1]), (cut, cut[..., ::-1])):
        before = base.copy()
        with pytest.raises(kxcms.ArgumentError, match="overlap"):
            to_srgb(source, out=out)
        assert (base == before).all()


def test_parts_between_one_another_are_no_overlap(to_srgb, noise):
    base = noise((6, 8, 3))
    expected = through_rows(to_srgb, base[::2])
    to_srgb(base[::2], out=base[1::2])
    assert same_bits(base[1::2].copy(), expected)
    base = noise((4, 5, 6, 8, 3))
    expected = through_rows(to_srgb, base[::2, ::2, ::2, ::2])
    to_srgb(base[::2, ::2, ::2, ::2], out=base[1::2, ::2, ::2, ::2])
    assert same_bits(base[1::2, ::2, ::2, ::2].copy(), expected)


def test_destinations_that_overlap_themselves_are_refused(to_srgb):
    memory = np.zeros(1000, np.uint8)
    for shape, strides in (((5, 3), (0, 1)), ((5, 3), (2, 1)), ((5, 3), (3, 0)),
                           ((4, 5, 3), (0, 3, 1)), ((4, 5, 3), (6, 3, 1)),
                           ((2, 3, 4, 5, 3), (0, 200, 50, 4, 1)),
                           ((2, 3, 4, 5, 3), (150, 200, 50, 4, 1))):
        out = as_strided(memory, shape, strides)
        with pytest.raises(kxcms.ArgumentError, match="share"):
            to_srgb(np.full(shape, 255, np.uint8), out=out)
        with pytest.raises(kxcms.ArgumentError, match="share"):
            to_srgb(np.broadcast_to(np.uint8(255), shape), out=out)
    assert not memory.any()


def test_read_only_results_are_refused(to_srgb, noise):
    out = noise((2, 3))
    out.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        to_srgb(noise((2, 3)), out=out)
    # As a source they serve.
    assert same_bits(to_srgb(out), to_srgb(out.copy()))


@pytest.mark.parametrize("shape", [(), (2,), (3, 2), (5, 5), (3, 0)])
def test_shapes_without_colours_are_refused(to_srgb, shape):
    with pytest.raises(kxcms.ArgumentError, match="RGB"):
        to_srgb(np.zeros(shape, np.uint8))
    with pytest.raises(kxcms.ArgumentError):
        to_srgb(np.zeros((2, 3), np.uint8), out=np.zeros(shape, np.uint8))


def test_results_of_another_shape_or_kind_are_refused(to_srgb):
    image = np.zeros((4, 5, 3), np.uint8)
    for shape in ((5, 4, 3), (20, 3), (1, 4, 5, 3), (4, 5)):
        with pytest.raises(kxcms.ArgumentError):
            to_srgb(image, out=np.zeros(shape, np.uint8))
    with pytest.raises(TypeError, match="no array"):
        to_srgb(image, out=bytearray(60))
    with pytest.raises(ValueError, match="another"):
        to_srgb(image, out=image, dtype=np.uint16)
    for threads in (-1, 1 << 32):
        with pytest.raises(ValueError, match="threads"):
            to_srgb(image, threads=threads)
    with pytest.raises(TypeError):
        to_srgb(image, threads=2.5)
