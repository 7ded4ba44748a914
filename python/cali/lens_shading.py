"""Lens shading: mesh and radial gains of a flat field, verification."""
from __future__ import annotations

import ctypes
import enum

import numpy as np
from numpy.typing import NDArray

from ._check import frame as checked_frame, integer, integers, output as checked_output, writable_frame
from ._library import call
from ._stages import black_level_arguments, frame_arguments, mesh_tables, signed_black_level
from .values import NO_BLACK_LEVEL, BlackLevel, LensShading, Mesh, Pattern, Radial

Frame = NDArray[np.uint32]


class ShadingType(enum.IntEnum):
    """What the gains of `lsc_calc` correct."""

    CHROMA_AND_LUMA = 0
    CHROMA = 1
    """Colour alone: green stays at 512."""
    LUMA = 2
    """Brightness alone: one gain for all colours."""


def lsc_calc(raw: Frame, pattern: Pattern | int | str, *, grid_cols: int = 33, grid_rows: int = 25,
             calib_type: ShadingType | int = ShadingType.CHROMA_AND_LUMA, denoise: bool = False,
             black_level: BlackLevel = NO_BLACK_LEVEL) -> LensShading:
    """Mesh grids and radial tables from one flat field.

    raw: unchanged; 1 to 8192 either way. A last odd row or column is not read.
    grid_cols, grid_rows: 4..129 each, at most 4761 nodes.
    calib_type: above 2 is taken as 0, and printed.
    denoise: cleans each channel plane first. Samples of 4096 and more do not count in its thresholds.
    black_level: offsets in codes; only their mean is used.

    Mesh gains, 512 = 1.0: green (512..4095) absolute, red and blue (0..4095) relative to it; the outer ring (256..4095)
    is extrapolated. Radial gains 512..4095, the centre in photosites and even. Prints the filter's taps, the centre,
    and nodes with a gain below 1. Rejected where the GR plane holds no light to centre on.
    """
    samples = checked_frame("raw", raw)
    cols, rows = integer("grid_cols", grid_cols), integer("grid_rows", grid_rows)
    has_room = 0 < cols <= 129 and 0 < rows <= 129  # else the library rejects it before it writes
    tables = [np.zeros((rows, cols) if has_room else (1, 1), np.int32) for _ in range(3)]
    lut = np.zeros((4, 32), np.int32)
    center_x, center_y, norm = ctypes.c_int32(), ctypes.c_int32(), ctypes.c_int32()
    call("cali_lsc_calc", **frame_arguments(samples, pattern, "raw", "bayer_pattern"), grid_cols=cols, grid_rows=rows,
         calib_type=integer("calib_type", calib_type), denoise=int(bool(denoise)), **signed_black_level(black_level),
         center_x=ctypes.byref(center_x), center_y=ctypes.byref(center_y), norm=ctypes.byref(norm), rtbl=tables[0],
         gtbl=tables[1], btbl=tables[2], radius_lut=lut)
    mesh = Mesh(*[table.view(np.uint32) for table in tables])
    return LensShading(mesh, Radial(center_x.value, center_y.value, lut), norm.value)


def lsc_verify(raw: Frame, pattern: Pattern | int | str, *, mesh: Mesh | None = None, radial: Radial | None = None,
               black_level: BlackLevel = NO_BLACK_LEVEL, mesh_output: Frame | None = None,
               radial_output: Frame | None = None) -> tuple[Frame | None, Frame | None]:
    """The frame after black level and mesh shading, and after black level and radial shading: the one is no input of
    the other. None for a stage without tables.

    raw: CHANGED, the black level is subtracted in it: uint32, C-contiguous and writeable; at most 8192 either way.
    mesh: 3..129 nodes either way, at most 4761 in all, 512 = 1.0. radial: the infrared table is not read.
    black_level: offsets in codes, restoring gains.
    mesh_output, radial_output: uint32 of the frame's shape, the frame itself, or new arrays.
    """
    samples = writable_frame("raw", raw)
    given = frame_arguments(samples, pattern, "raw", "bayer_pattern") | black_level_arguments(black_level)
    beside: list[NDArray[np.generic]] = [samples]
    given |= dict.fromkeys(("grid_cols", "grid_rows", "rtbl", "gtbl", "btbl", "mesh_output", "center_x", "center_y",
                            "radius_lut", "radial_output"), 0)
    mesh_result = radial_result = None
    if mesh is not None:
        tables = mesh_tables(mesh)
        beside += tables
        rows, cols = tables[0].shape
        given |= {"grid_cols": cols, "grid_rows": rows, "rtbl": tables[0], "gtbl": tables[1], "btbl": tables[2]}
    if radial is not None:
        lut = _radial_gains(radial)
        beside.append(lut)
        given |= {"center_x": integer("radial.center_x", radial.center_x),
                  "center_y": integer("radial.center_y", radial.center_y), "radius_lut": lut}
    if mesh is not None:
        mesh_result = checked_output("mesh_output", mesh_output, samples.shape, np.uint32, beside)
        given["mesh_output"] = frame_arguments(mesh_result, 0)["frame"]
    if radial is not None:
        radial_result = checked_output("radial_output", radial_output, samples.shape, np.uint32, beside)
        given["radial_output"] = frame_arguments(radial_result, 0)["frame"]
    if mesh_result is not None and radial_result is not None and np.may_share_memory(mesh_result, radial_result):
        raise ValueError("mesh_output and radial_output share memory, expected arrays of their own")
    call("cali_lsc_verify", **given)
    return mesh_result, radial_result


def _radial_gains(radial: Radial) -> NDArray[np.int32]:
    if not isinstance(radial, Radial):
        raise TypeError(f"radial is {type(radial).__name__}, expected cali.Radial")
    return integers("radial.gains", radial.gains, np.int32, (4, 32))
