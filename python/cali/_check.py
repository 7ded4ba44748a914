"""Checks of arguments, before the library sees addresses and lengths that it cannot check itself."""
from __future__ import annotations

import ctypes
import operator
from collections.abc import Iterable, Sequence
from typing import Any, SupportsFloat, SupportsIndex

import numpy as np
from numpy.typing import ArrayLike, NDArray

from .values import Pattern

INT32_MAX = 2**31 - 1
UINT32_MAX = 2**32 - 1


def integer(name: str, value: SupportsIndex, low: int = -(2**31), high: int = INT32_MAX) -> int:
    """A whole number that the argument's C type holds; by default a signed one of 32 bits."""
    if isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{name} is {value!r}, expected a whole number")
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} is {type(value).__name__}, expected a whole number") from None
    if not low <= number <= high:
        raise ValueError(f"{name} is {number}, expected {low} to {high}")
    return number


def number(name: str, value: SupportsFloat) -> float:
    if isinstance(value, (bool, np.bool_, str, bytes, np.ndarray)):
        raise TypeError(f"{name} is {type(value).__name__}, expected a number")
    try:
        return float(value)
    except TypeError:
        raise TypeError(f"{name} is {type(value).__name__}, expected a number") from None
    except OverflowError:
        raise ValueError(f"{name} is larger than a float holds") from None


def pattern_code(value: Pattern | int | str) -> int:
    """0 BGGR, 1 GBRG, 2 GRBG, 3 RGGB."""
    if isinstance(value, str):
        try:
            return int(Pattern[value.upper()])
        except KeyError:
            raise ValueError(f"pattern is {value!r}, expected BGGR, GBRG, GRBG or RGGB") from None
    return integer("pattern", value, 0, 3)


def format_text(name: str, value: str) -> bytes:
    """A register format such as "U4.8". An empty one would end the process: the library throws on it."""
    if not isinstance(value, str):
        raise TypeError(f"{name} is {type(value).__name__}, expected a text such as 'U4.8'")
    if not value or not value.isascii() or "\0" in value:
        raise ValueError(f"{name} is {value!r}, expected a text such as 'U4.8'")
    return value.encode()


def _is_ready(array: NDArray[Any]) -> bool:
    return array.flags.c_contiguous and array.flags.aligned


def _array(name: str, value: object) -> NDArray[Any]:
    if not isinstance(value, np.ndarray):
        raise TypeError(f"{name} is {type(value).__name__}, expected a numpy array")
    return np.asarray(value)


def _converted(name: str, array: NDArray[Any], dtype: type[np.integer[Any]]) -> NDArray[Any]:
    """Whole numbers as another type; a copy only where type or layout do not fit."""
    if array.dtype == dtype and _is_ready(array):
        return array
    if array.dtype.kind not in "iu":
        raise TypeError(f"{name} has the type {array.dtype}, expected whole numbers")
    limits = np.iinfo(dtype)
    if array.size and (int(array.min()) < limits.min or int(array.max()) > limits.max):
        raise ValueError(f"{name} has values of {array.min()} to {array.max()}, expected {limits.min} to {limits.max}")
    return np.array(array, dtype, order="C")


def frame(name: str, value: object, channels: int | None = None,
          dtype: type[np.integer[Any]] = np.uint32) -> NDArray[Any]:
    """Rows and columns of samples (and colours, where there are `channels`): the array itself where it is ready."""
    array = _array(name, value)
    if array.ndim != (2 if channels is None else 3) or (channels is not None and array.shape[2] != channels):
        expected = "rows and columns" if channels is None else f"rows, columns and {channels} colours"
        raise ValueError(f"{name} has the shape {array.shape}, expected {expected}")
    if max(array.shape) > INT32_MAX:
        raise ValueError(f"{name} has the shape {array.shape}, expected sides of at most {INT32_MAX}")
    return _converted(name, array, dtype)


def writable_frame(name: str, value: object) -> NDArray[np.uint32]:
    """A frame that the call changes: a copy would hide the change, so that type and layout must fit."""
    array = _array(name, value)
    if array.dtype != np.uint32:
        raise TypeError(f"{name} has the type {array.dtype} and is changed by the call, expected uint32")
    _require_writable(name, array)
    return frame(name, array)


def _require_writable(name: str, array: NDArray[Any]) -> None:
    if not _is_ready(array) or not array.flags.writeable:
        raise ValueError(f"{name} is written by the call, expected a writeable, aligned, C-contiguous array")


def output(name: str, value: object, shape: tuple[int, ...], dtype: type[np.generic],
           beside: Iterable[NDArray[Any]]) -> NDArray[Any]:
    """Where results go: a new array, or the caller's, which may be one of `beside` itself but not overlap it."""
    if value is None:
        return np.empty(shape, dtype)
    array = _array(name, value)
    if array.dtype != dtype:
        raise TypeError(f"{name} has the type {array.dtype}, expected {np.dtype(dtype)}")
    if array.shape != shape:
        raise ValueError(f"{name} has the shape {array.shape}, expected {shape}")
    _require_writable(name, array)
    for other in beside:
        same = array.ctypes.data == other.ctypes.data and array.nbytes == other.nbytes
        if not same and np.may_share_memory(array, other):
            raise ValueError(f"{name} overlaps another argument in part, expected an array of its own")
    return array


def require_apart(name: str, arrays: Sequence[NDArray[Any]]) -> None:
    """Frames that a call changes, each once."""
    spans = sorted((array.ctypes.data, array.ctypes.data + array.nbytes) for array in arrays if array.size)
    if any(end > start for (_, end), (start, _) in zip(spans, spans[1:])):
        raise ValueError(f"{name} are changed by the call and share memory, expected each to be an array of its own")


def _sequence(name: str, value: Any) -> Sequence[Any]:
    if isinstance(value, np.ndarray) and value.ndim > 2:
        return list(value)
    if not isinstance(value, Sequence) or isinstance(value, (str, bytes)):
        raise TypeError(f"{name} is {type(value).__name__}, expected a sequence of frames or of levels")
    return value


def series(value: object, for_writing: bool) -> list[list[NDArray[np.uint32]]]:
    """Frames by level, all of one shape."""
    def check(name: str, one: object) -> NDArray[np.uint32]:
        return writable_frame(name, one) if for_writing else frame(name, one)

    levels = [[check(f"levels[{k}][{j}]", one) for j, one in enumerate(_sequence(f"levels[{k}]", level))]
              for k, level in enumerate(_sequence("levels", value))]
    frames = [one for level in levels for one in level]
    if not frames:
        raise ValueError("levels holds no frame, expected one or more in each")
    for one in frames:
        if one.shape != frames[0].shape:
            raise ValueError(f"levels has frames of {frames[0].shape} and {one.shape}, expected one shape")
    if for_writing:
        require_apart("levels", frames)
    return levels


def integers(name: str, value: ArrayLike, dtype: type[np.integer[Any]], shape: tuple[int, ...]) -> NDArray[Any]:
    """A small array; -1 in `shape` is any length."""
    return _converted(name, _shaped(name, value, shape), dtype)


def floats(name: str, value: ArrayLike, shape: tuple[int, ...]) -> NDArray[np.float32]:
    """A small array of single precision; -1 in `shape` is any length."""
    array = _shaped(name, value, shape)
    if array.dtype.kind not in "iuf":
        raise TypeError(f"{name} has the type {array.dtype}, expected numbers")
    with np.errstate(over="ignore"):
        return np.ascontiguousarray(array, np.float32)


def _shaped(name: str, value: ArrayLike, shape: tuple[int, ...]) -> NDArray[Any]:
    try:
        array = np.asarray(value)
    except ValueError:
        raise ValueError(f"{name} has rows of different lengths, expected the shape {_shape_text(shape)}") from None
    if array.ndim != len(shape) or any(want not in (-1, found) for want, found in zip(shape, array.shape)):
        raise ValueError(f"{name} has the shape {array.shape}, expected {_shape_text(shape)}")
    return array if array.size or array.dtype.kind != "f" else array.astype(np.int32)


def _shape_text(shape: tuple[int, ...]) -> str:
    return "(" + ", ".join("any" if side == -1 else str(side) for side in shape) + ")"


def weights(name: str, value: ArrayLike | None, count: int) -> NDArray[np.float32]:
    return np.ones(count, np.float32) if value is None else floats(name, value, (count,))


def address_list(arrays: Sequence[NDArray[Any]]) -> Any:
    """A C array of their addresses; the arrays must be kept alive beside it."""
    return (ctypes.c_void_p * max(len(arrays), 1))(*[array.ctypes.data for array in arrays])


def places(array: NDArray[Any]) -> list[int]:
    """The address of each element."""
    return [array.ctypes.data + i * array.itemsize for i in range(array.size)]
