"""CIEDE2000 on arrays."""

import numpy as np
import pytest

import kxcms

# G. Sharma, W. Wu, E. N. Dalal: The CIEDE2000 color-difference formula: implementation notes,
# supplementary test data, and mathematical observations. Color Research and Application 30, 21
# (2005), table 1. The pairs lie about the formula's discontinuities and turning points.
PUBLISHED = (
    ((50.0000, 2.6772, -79.7751), (50.0000, 0.0000, -82.7485), 2.0425),
    ((50.0000, 3.1571, -77.2803), (50.0000, 0.0000, -82.7485), 2.8615),
    ((50.0000, 2.8361, -74.0200), (50.0000, 0.0000, -82.7485), 3.4412),
    ((50.0000, -1.3802, -84.2814), (50.0000, 0.0000, -82.7485), 1.0000),
    ((50.0000, -1.1848, -84.8006), (50.0000, 0.0000, -82.7485), 1.0000),
    ((50.0000, -0.9009, -85.5211), (50.0000, 0.0000, -82.7485), 1.0000),
    ((50.0000, 0.0000, 0.0000), (50.0000, -1.0000, 2.0000), 2.3669),
    ((50.0000, -1.0000, 2.0000), (50.0000, 0.0000, 0.0000), 2.3669),
    ((50.0000, 2.4900, -0.0010), (50.0000, -2.4900, 0.0009), 7.1792),
    ((50.0000, 2.4900, -0.0010), (50.0000, -2.4900, 0.0010), 7.1792),
    ((50.0000, 2.4900, -0.0010), (50.0000, -2.4900, 0.0011), 7.2195),
    ((50.0000, 2.4900, -0.0010), (50.0000, -2.4900, 0.0012), 7.2195),
    ((50.0000, -0.0010, 2.4900), (50.0000, 0.0009, -2.4900), 4.8045),
    ((50.0000, -0.0010, 2.4900), (50.0000, 0.0010, -2.4900), 4.8045),
    ((50.0000, -0.0010, 2.4900), (50.0000, 0.0011, -2.4900), 4.7461),
    ((50.0000, 2.5000, 0.0000), (50.0000, 0.0000, -2.5000), 4.3065),
    ((50.0000, 2.5000, 0.0000), (73.0000, 25.0000, -18.0000), 27.1492),
    ((50.0000, 2.5000, 0.0000), (61.0000, -5.0000, 29.0000), 22.8977),
    ((50.0000, 2.5000, 0.0000), (56.0000, -27.0000, -3.0000), 31.9030),
    ((50.0000, 2.5000, 0.0000), (58.0000, 24.0000, 15.0000), 19.4535),
    ((50.0000, 2.5000, 0.0000), (50.0000, 3.1736, 0.5854), 1.0000),
    ((50.0000, 2.5000, 0.0000), (50.0000, 3.2972, 0.0000), 1.0000),
    ((50.0000, 2.5000, 0.0000), (50.0000, 1.8634, 0.5757), 1.0000),
    ((50.0000, 2.5000, 0.0000), (50.0000, 3.2592, 0.3350), 1.0000),
    ((60.2574, -34.0099, 36.2677), (60.4626, -34.1751, 39.4387), 1.2644),
    ((63.0109, -31.0961, -5.8663), (62.8187, -29.7946, -4.0864), 1.2630),
    ((61.2901, 3.7196, -5.3901), (61.4292, 2.2480, -4.9620), 1.8731),
    ((35.0831, -44.1164, 3.7933), (35.0232, -40.0716, 1.5901), 1.8645),
    ((22.7233, 20.0904, -46.6940), (23.0331, 14.9730, -42.5619), 2.0373),
    ((36.4612, 47.8580, 18.3852), (36.2715, 50.5065, 21.2231), 1.4146),
    ((90.8027, -2.0831, 1.4410), (91.1528, -1.6435, 0.0447), 1.4441),
    ((90.9257, -0.5406, -0.9208), (88.6381, -0.8985, -0.7239), 1.5381),
    ((6.7747, -0.2908, -2.4247), (5.8714, -0.0985, -2.2286), 0.6377),
    ((2.0776, 0.0795, -1.1350), (0.9033, -0.0636, -0.5514), 0.9082),
)
FIRST, SECOND, DIFFERENCE = (np.array(column) for column in zip(*PUBLISHED))


def test_published_differences():
    # The table has four decimals.
    assert len(PUBLISHED) == 34
    assert np.abs(kxcms.delta_e_2000(FIRST, SECOND) - DIFFERENCE).max() <= 0.00005
    assert np.abs(kxcms.delta_e_2000(SECOND, FIRST) - DIFFERENCE).max() <= 0.00005


def test_shapes_broadcast():
    table = kxcms.delta_e_2000(FIRST[:, None], SECOND[None, :])
    assert table.shape == (34, 34)
    assert np.abs(np.diagonal(table) - DIFFERENCE).max() <= 0.00005
    one = kxcms.delta_e_2000(FIRST[16], SECOND[16:20])
    assert one == pytest.approx(DIFFERENCE[16:20], abs=0.00005)
    single = kxcms.delta_e_2000(list(FIRST[16]), tuple(SECOND[16]))
    assert np.ndim(single) == 0 and single == pytest.approx(27.1492, abs=0.00005)
    assert kxcms.delta_e_2000(np.zeros((0, 3)), [50, 0, 0]).shape == (0,)
    planes = np.moveaxis(np.ascontiguousarray(FIRST.T), 0, -1)
    assert (kxcms.delta_e_2000(planes, SECOND) == kxcms.delta_e_2000(FIRST, SECOND)).all()


def test_equal_colours_do_not_differ():
    colours = [[0, 0, 0], [100, 0, 0], [50, 20, -30], [50, -128, 127], [-3, 1e-9, 0]]
    assert not kxcms.delta_e_2000(colours, colours).any()


def test_lightness_alone():
    """Along the axis of grey SL is all there is, at a mean L* of 55."""
    expected = 10 / (1 + 0.375 / np.sqrt(45.0))
    assert kxcms.delta_e_2000([50, 0, 0], [60, 0, 0]) == pytest.approx(expected, abs=1e-12)


def test_integers_are_not_computed_with_as_such():
    dark, light = np.array([50, 0, 0], np.uint8), np.array([60, 0, 0], np.uint8)
    assert kxcms.delta_e_2000(dark, light) == kxcms.delta_e_2000([50.0, 0, 0], [60.0, 0, 0])
    assert kxcms.delta_e_2000(light, dark) == kxcms.delta_e_2000(dark, light)


@pytest.mark.parametrize("shape", [(), (2,), (4,), (3, 4)])
def test_other_shapes_are_refused(shape):
    with pytest.raises(ValueError):
        kxcms.delta_e_2000(np.zeros(shape), [50, 0, 0])
    with pytest.raises(ValueError):
        kxcms.delta_e_2000(np.zeros((2, 3)), np.zeros((4, 3)))
