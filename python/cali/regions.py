"""Mean colours of chart regions, and what is done to them before a fit."""
from __future__ import annotations

import ctypes
import enum
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._check import frame as checked_frame, integer, integers, number
from ._declarations import GrayInterpSettings
from ._library import call
from .values import GreySettings

ROI_RGB_MEAN = np.dtype([("b", np.float64), ("g", np.float64), ("r", np.float64), ("valid", np.uint8),
                         ("reserved", np.int32)], align=True)
"""Mean colour of a region: b, g and r within 0..255, and whether it is valid."""

Records = NDArray[np.void]


class AdjustMode(enum.IntEnum):
    """What 24 records' six greys (18..23) get from `roi_rgb_adjust`."""

    GREY_LIGHTNESS = 0
    """The reference lightness at their measured chroma."""
    ONE_LINE = 1
    """The line of all records; as any other value, and any other count."""
    GREY_LINE = 2
    """A line of their own."""


def _records(name: str, value: Any) -> Records:
    """As they are, or made of rows of b, g, r."""
    array = np.asarray(value)
    if array.dtype == ROI_RGB_MEAN and array.ndim == 1:
        return np.require(array, requirements=["C", "A"])
    if array.ndim != 2 or array.shape[1] != 3 or array.dtype.kind not in "iuf":
        raise TypeError(f"{name} is {array.dtype} of {array.shape}, expected records of cali.ROI_RGB_MEAN or rows of "
                        "b, g, r")
    records = np.zeros(len(array), ROI_RGB_MEAN)
    records["b"], records["g"], records["r"], records["valid"] = *array.T, 1
    return records


def _pairs(measured: Any, reference: Any) -> tuple[Records, Records]:
    first, second = _records("measured", measured), _records("reference", reference)
    if first.shape != second.shape:
        raise ValueError(f"measured holds {first.size} colours, reference {second.size}; expected as many")
    return first, second


def roi_rgb_cal(image: NDArray[np.uint8], rois: ArrayLike) -> Records:
    """Mean colours of regions of an 8-bit image.

    image: rows, columns and 3 colours in the order B, G, R. rois: rows of x, y, width, height inside the image.
    Records of ROI_RGB_MEAN; a region without pixels gives NaN.
    """
    pixels = checked_frame("image", image, 3, np.uint8)
    height, width, _ = pixels.shape
    windows = integers("rois", rois, np.int32, (-1, 4))
    x, y, w, h = windows.astype(np.int64).T
    outside = (w > 0) & (h > 0) & ((x < 0) | (y < 0) | (x + w > width) | (y + h > height))
    if outside.any():
        first = int(np.argmax(outside))
        raise ValueError(f"rois[{first}] is {windows[first].tolist()}, expected x, y, width, height inside the image "
                         f"of {width} x {height}")
    means = np.zeros(len(windows), ROI_RGB_MEAN)
    call("cali_roi_rgb_cal", image=pixels, width=width, height=height, means=means, rois=windows,
         roi_count=integer("the number of rois", len(windows)))
    return means


def roi_rgb_adjust(measured: ArrayLike, reference: ArrayLike, mode: AdjustMode | int = AdjustMode.ONE_LINE) -> Records:
    """Pulls measured chart colours towards their reference by a line per channel, within 0..255.

    measured, reference: records of ROI_RGB_MEAN, or rows of b, g, r; as many of both. A new array is returned.
    """
    first, second = _pairs(measured, reference)
    adjusted = first.copy()
    call("cali_roi_rgb_adjust", measured=first, reference=second, adjusted=adjusted,
         count=integer("the number of colours", first.size), mode=integer("mode", mode, 0))
    return adjusted


def roi_rgb_interpolation(measured: ArrayLike, reference: ArrayLike, settings: GreySettings) -> tuple[Records, Records]:
    """Keeps the pairs whose measured colour is nearly neutral, orders them by brightness and appends interpolated pairs
    for the gaps between them.

    measured, reference: as for `roi_rgb_adjust`, measured within 0..255. New arrays with the appended pairs are
    returned. A plan above settings.max_add widens its step by 2, at most 30 times; then nothing is appended, and
    "ERROR" printed. Rejected where fewer than two pairs are neutral.
    """
    first, second = _pairs(measured, reference)
    if not isinstance(settings, GreySettings):
        raise TypeError(f"settings is {type(settings).__name__}, expected cali.GreySettings")
    if not all(np.all((first[name] >= 0) & (first[name] <= 255)) for name in "bgr"):
        raise ValueError("measured has colours outside 0..255")
    unsigned = 2**32 - 1
    most = integer("settings.max_add", settings.max_add, 0, unsigned)
    record = GrayInterpSettings(integer("settings.gray_tolerance", settings.gray_tolerance, 0, 65535),
                                integer("settings.step", settings.step, 0, unsigned),
                                number("settings.step_fraction", settings.step_fraction), most)
    # Brightness rises over 255 codes at most: at the least step that many pairs, and one more for each gap.
    room = first.size + min(most, 256 + first.size)
    both = []
    for given in (first, second):
        records = np.zeros(room, ROI_RGB_MEAN)
        records[:given.size] = given
        both.append(records)
    count = ctypes.c_uint32()
    call("cali_roi_rgb_interpolation", measured=both[0], reference=both[1], count=first.size,
         settings=ctypes.byref(record), out_count=ctypes.byref(count))
    return both[0][:count.value], both[1][:count.value]
