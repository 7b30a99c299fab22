"""Colour differences."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt


def delta_e_2000(lab1: npt.ArrayLike, lab2: npt.ArrayLike) -> Any:
    """CIEDE2000 between colours in CIE Lab, kL = kC = kH = 1 (CIE 142-2001; the formula as Sharma,
    Wu and Dalal state it, Color Research and Application 30, 21, 2005).

    Args:
        lab1, lab2: of shape (..., 3): L*, a*, b*; any numbers, computed with as float64. They
            broadcast against one another as numpy's arithmetic does.

    Returns:
        The differences, float64, of the broadcast shape without the last dimension: a number for
        two colours. 0 for equal colours.

    Raises:
        ValueError: a shape that does not end in 3, or shapes that do not broadcast.
    """
    first, second = (np.asarray(lab, dtype=np.float64) for lab in (lab1, lab2))
    for lab in (first, second):
        if lab.ndim == 0 or lab.shape[-1] != 3:
            raise ValueError(f"the shape of the colours, {lab.shape}, does not end in 3")
    first, second = np.broadcast_arrays(first, second)
    l1, a1, b1 = np.moveaxis(first, -1, 0)
    l2, a2, b2 = np.moveaxis(second, -1, 0)

    # Chroma corrections turn over at C* = 25.
    mean_c7 = ((np.hypot(a1, b1) + np.hypot(a2, b2)) / 2) ** 7
    g = 0.5 * (1 - np.sqrt(mean_c7 / (mean_c7 + 25.0**7)))
    a1, a2 = (1 + g) * a1, (1 + g) * a2
    c1, c2 = np.hypot(a1, b1), np.hypot(a2, b2)
    # Hue angles in degrees, 0 up to 360; 0 for a grey.
    h1, h2 = np.degrees(np.arctan2(b1, a1)) % 360, np.degrees(np.arctan2(b2, a2)) % 360
    is_grey = c1 * c2 == 0
    # The way round is the other one beyond 180 degrees. Opposite hues are 180 apart, where the
    # formula has a step, however their angles are rounded.
    apart = np.abs(h2 - h1)
    is_opposite = (a1 * b2 == b1 * a2) & (apart < 270)
    turns = ~is_grey & (apart > 180) & ~is_opposite

    dh = np.where(is_grey, 0, h2 - h1)
    dh = np.where(turns, dh - np.copysign(360, dh), dh)
    delta_h = 2 * np.sqrt(c1 * c2) * np.sin(np.radians(dh / 2))
    total = h1 + h2
    turned = np.where(turns, np.where(total < 360, total + 360, total - 360), total)
    mean_h = np.where(is_grey, total, turned / 2)
    mean_c = (c1 + c2) / 2

    t = (1 - 0.17 * np.cos(np.radians(mean_h - 30)) + 0.24 * np.cos(np.radians(2 * mean_h))
         + 0.32 * np.cos(np.radians(3 * mean_h + 6)) - 0.20 * np.cos(np.radians(4 * mean_h - 63)))
    rotation = 30 * np.exp(-(((mean_h - 275) / 25) ** 2))
    r_c = 2 * np.sqrt(mean_c**7 / (mean_c**7 + 25.0**7))
    r_t = -np.sin(np.radians(2 * rotation)) * r_c
    l50 = ((l1 + l2) / 2 - 50) ** 2
    lightness = (l2 - l1) / (1 + 0.015 * l50 / np.sqrt(20 + l50))
    chroma = (c2 - c1) / (1 + 0.045 * mean_c)
    hue = delta_h / (1 + 0.015 * mean_c * t)
    return np.sqrt(lightness**2 + chroma**2 + hue**2 + r_t * chroma * hue)
