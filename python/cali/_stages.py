"""Frames and stage values as several exports take them."""
from __future__ import annotations

import ctypes
from typing import Any

import numpy as np
from numpy.typing import NDArray

from ._check import UINT32_MAX, INT32_MAX, integer, integers, number, pattern_code
from .values import BlackLevel, Channels, Gains, Mesh, Pattern


def frame_arguments(samples: NDArray[np.uint32], pattern: Pattern | int | str, frame: str = "frame",
                    pattern_name: str = "pattern") -> dict[str, Any]:
    height, width = samples.shape
    return {frame: ctypes.byref(ctypes.c_void_p(samples.ctypes.data)), "width": width, "height": height,
            pattern_name: pattern_code(pattern)}


def _named(prefix: str, values: Channels[Any]) -> dict[str, Any]:
    return {f"{prefix}_{channel}": value for channel, value in zip(Channels._fields, values)}


def _four(name: str, values: Any) -> Channels[Any]:
    if not isinstance(values, tuple) or len(values) != 4:
        raise TypeError(f"{name} is {values!r}, expected four values in the order RR, GR, GB, BB")
    return Channels(*values)


def offsets_of(black_level: BlackLevel, low: int, high: int) -> Channels[int]:
    if not isinstance(black_level, BlackLevel):
        raise TypeError(f"black_level is {type(black_level).__name__}, expected cali.BlackLevel")
    offset = _four("black_level.offset", black_level.offset)
    return Channels(*[integer("black_level.offset", code, low, high) for code in offset])


def gains_of(black_level: BlackLevel) -> Channels[float]:
    gain = _four("black_level.gain", black_level.gain)
    return Channels(*[number("black_level.gain", value) for value in gain])


def black_level_arguments(black_level: BlackLevel) -> dict[str, Any]:
    return _named("offset", offsets_of(black_level, 0, UINT32_MAX)) | _named("gain", gains_of(black_level))


def signed_black_level(black_level: BlackLevel) -> dict[str, Any]:
    """Offsets alone, as cali_lsc_calc takes them."""
    return _named("blc", offsets_of(black_level, -(2**31), INT32_MAX))


def mesh_tables(mesh: Mesh | None) -> tuple[NDArray[np.uint32], NDArray[np.uint32], NDArray[np.uint32]]:
    """Red, green and blue of one shape; None is unity."""
    if mesh is None:
        mesh = Mesh.unity()
    if not isinstance(mesh, Mesh):
        raise TypeError(f"mesh is {type(mesh).__name__}, expected cali.Mesh")
    tables = []
    for name in ("red", "green", "blue"):
        table = np.asarray(getattr(mesh, name))
        if table.dtype == np.int32:  # the same bits; the library never makes negative gains
            table = table.view(np.uint32)
        tables.append(integers(f"mesh.{name}", table, np.uint32, (-1, -1)))
    shapes = {table.shape for table in tables}
    if len(shapes) != 1 or max(tables[0].shape) > INT32_MAX:
        raise ValueError(f"mesh has tables of {', '.join(map(str, sorted(shapes)))}, expected rows and columns, alike")
    return tables[0], tables[1], tables[2]


def mesh_arguments(tables: tuple[NDArray[np.uint32], ...]) -> dict[str, Any]:
    rows, cols = tables[0].shape
    return {"grid_cols": cols, "grid_rows": rows, "red_grid": tables[0], "green_grid": tables[1],
            "blue_grid": tables[2]}


def gain_arguments(gains: Gains) -> dict[str, Any]:
    if not isinstance(gains, Gains):
        raise TypeError(f"gains is {type(gains).__name__}, expected cali.Gains")
    return {"gain_" + name[0]: integer(f"gains.{name}", getattr(gains, name), 0, 65535)
            for name in ("red", "green", "blue")}


class GainOutputs:
    """Room for three registers."""

    def __init__(self) -> None:
        self.red, self.green, self.blue = (ctypes.c_uint16() for _ in range(3))

    def arguments(self) -> dict[str, Any]:
        return {"gain_r": ctypes.byref(self.red), "gain_g": ctypes.byref(self.green),
                "gain_b": ctypes.byref(self.blue)}

    def gains(self) -> Gains:
        return Gains(self.red.value, self.green.value, self.blue.value)
