"""Colour look-up tables from measured colours and what they should be."""
from __future__ import annotations

import ctypes

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._check import floats, integer, number, weights as checked_weights
from ._declarations import ClutSettings
from ._library import call


def _table(export: str, measured: ArrayLike, target: ArrayLike, weights: ArrayLike | None, nodes: tuple[int, int, int],
           strength: float, radius: float) -> NDArray[np.int32]:
    colours = floats("measured", measured, (-1, 3))
    wanted = floats("target", target, colours.shape)
    cells = np.column_stack([colours, checked_weights("weights", weights, len(colours))]).astype(np.float32)
    targets = np.column_stack([wanted, np.ones(len(wanted), np.float32)]).astype(np.float32)
    if not isinstance(nodes, (tuple, list)) or len(nodes) != 3:
        raise TypeError(f"nodes is {nodes!r}, expected three numbers")
    sides = [integer("nodes", count) for count in nodes]
    fits = all(2 <= count <= 65 for count in sides)  # else the library rejects it before it writes
    table = np.zeros((*sides[::-1], 3) if fits else (1, 1, 1, 3), np.int32)
    settings = ClutSettings((ctypes.c_int32 * 3)(*sides), number("strength", strength), number("radius", radius))
    call(export, measured=cells, target=targets, cell_count=integer("the number of colours", len(cells)),
         settings=ctypes.byref(settings), table=table)
    return table


def clut_calc(measured: ArrayLike, target: ArrayLike, *, weights: ArrayLike | None = None,
              nodes: tuple[int, int, int] = (17, 17, 17), strength: float = 1.0,
              radius: float = 0.2) -> NDArray[np.int32]:
    """Look-up table that takes measured colours to their targets, over hue, saturation and value.

    measured, target: rows of r, g, b, encoded sRGB within 0..1; one or more. weights: 0 or more, all 1 by default.
    nodes: of hue, saturation and value, 2..65. strength: 0 leaves the identity, 1 is the full correction.
    radius: reach of one colour in units of the axis range; above 0, at most 1.

    An array [value, saturation, hue, 3], in memory hue fastest: the hue shift in 1/64 degree, and scales of saturation
    and value with 1024 = 1.0. Node i of n sits at i / (n - 1) of its axis, on the hue circle at i / n. Rejected where
    no measured colour has a saturation of 0.02 or more.

    The environment variable CLUT_EXPORT_TABLE above 0 writes text files of the phases into the working directory.
    """
    return _table("cali_clut_calc", measured, target, weights, nodes, strength, radius)


def clut_calc_rgb(measured: ArrayLike, target: ArrayLike, *, weights: ArrayLike | None = None,
                  nodes: tuple[int, int, int] = (17, 17, 17), strength: float = 1.0,
                  radius: float = 0.2) -> NDArray[np.int32]:
    """The same over red, green and blue: an array [blue, green, red, 3], in memory red fastest, of output colours,
    codes 0..4095. Takes greys too."""
    return _table("cali_clut_calc_rgb", measured, target, weights, nodes, strength, radius)
