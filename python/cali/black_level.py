"""Black level: estimators on dark frames, histograms, verification."""
from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from ._check import UINT32_MAX, frame as checked_frame, integer, output as checked_output, places
from ._library import call
from ._stages import black_level_arguments, frame_arguments
from .values import BlackLevel, Channels, Pattern

Frame = NDArray[np.uint32]


def _estimate(export: str, frame: Frame, pattern: Pattern | int | str, **more: Any) -> BlackLevel:
    samples = checked_frame("frame", frame)
    offset, gain = np.zeros(4, np.uint32), np.zeros(4, np.float32)
    names = Channels._fields
    status = call(export, **frame_arguments(samples, pattern),
                  **{f"offset_{name}": place for name, place in zip(names, places(offset))},
                  **{f"gain_{name}": place for name, place in zip(names, places(gain))}, **more)
    return BlackLevel(Channels(*offset.tolist()), Channels(*gain.tolist()), status == 0)


def blc_calc_by_median(frame: Frame, pattern: Pattern | int | str) -> BlackLevel:
    """Black level of a dark frame by the median of each channel.

    frame: rows by columns of codes, 12 bits; unchanged. Samples of 4096 or more are skipped.

    Offsets in codes, gains 4096 / (4096 - offset). `in_bounds` is False where a median is below 1 or not below 800; a
    line per such channel is printed.
    """
    return _estimate("cali_blc_calc_by_median", frame, pattern)


def blc_calc_by_mean(frame: Frame, pattern: Pattern | int | str) -> BlackLevel:
    """The same by the mean of each channel, summed row by row in single precision.

    Only the low 16 bits of the frame's sides are used. A channel without samples has no mean: its offset is then 2^31.
    """
    return _estimate("cali_blc_calc_by_mean", frame, pattern)


def blc_calc(frame: Frame, pattern: Pattern | int | str, *, is_12bit: bool = True) -> BlackLevel:
    """The same by the mean plus a tenth of the standard deviation, at most 4095, or 1023 where `is_12bit` is False. The
    sums of samples are 32-bit integers that wrap."""
    return _estimate("cali_blc_calc", frame, pattern, is_12bit=int(bool(is_12bit)))


def blc_calc_by_localblc(frame: Frame, pattern: Pattern | int | str, *, blocks: int = 8) -> Channels[Frame]:
    """Means of blocks, in codes: blocks * blocks // 4 of each channel, in the order the blocks are visited.

    Each channel's plane of half the frame's size is divided into blocks of width // blocks by height // blocks plane
    samples, from top left. When fewer than two blocks remain in a row or column of blocks, the block takes all that
    remains; a width so enlarged is kept for the block rows that follow. An odd last row or column is ignored; entries
    past the last visited block are 0.

    frame: unchanged. blocks: 1 or more, and small enough that a block has a size.
    """
    samples = checked_frame("frame", frame)
    count = integer("blocks", blocks, 0, UINT32_MAX)
    has_size = count <= min(samples.shape)  # else the library rejects it before it writes
    means = [np.zeros(count * count // 4 if has_size else 0, np.uint32) for _ in range(4)]
    call("cali_blc_calc_by_localblc", **frame_arguments(samples, pattern), blocks=count,
         **{f"offset_{name}": array for name, array in zip(Channels._fields, means)})
    return Channels(*means)


def blc_get_histogram(frame: Frame, pattern: Pattern | int | str) -> Channels[Frame]:
    """Histograms of a dark frame, which is unchanged: 4096 counts of each channel, by code. Samples of 4096 or more are
    skipped."""
    samples = checked_frame("frame", frame)
    counts = [np.zeros(4096, np.uint32) for _ in range(4)]
    call("cali_blc_get_histogram", **frame_arguments(samples, pattern),
         **{f"hist_{name}": array for name, array in zip(Channels._fields, counts)})
    return Channels(*counts)


def blc_verify(frame: Frame, pattern: Pattern | int | str, black_level: BlackLevel, *,
               output: Frame | None = None) -> Frame:
    """The frame after black level: max(sample - offset, 0) * gain, rounded and not limited above.

    frame: unchanged, unless it is `output` itself. output: uint32 of the frame's shape, or a new array. Returns it.
    """
    samples = checked_frame("frame", frame)
    result = checked_output("output", output, samples.shape, np.uint32, [samples])
    call("cali_blc_verify", **frame_arguments(samples, pattern), **black_level_arguments(black_level),
         output=frame_arguments(result, 0)["frame"])
    return result
