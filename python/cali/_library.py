"""The library inside the package: one call at a time, its warnings as exceptions, its printing off the terminal."""
from __future__ import annotations

import contextlib
import contextvars
import ctypes
import io
import os
import sys
import threading
import warnings
from collections.abc import Iterator
from contextlib import AbstractContextManager
from pathlib import Path
from typing import Any, Protocol, TypeVar, overload

import numpy as np

from ._declarations import EXPORTS
from .errors import CalibrationWarning, Rejected


class Stream(Protocol):
    def write(self, text: str, /) -> object: ...


AnyStream = TypeVar("AnyStream", bound=Stream)

_LIBRARY = ctypes.CDLL(str(Path(__file__).parent / "_native" / ("cali.dll" if os.name == "nt" else "libcali.so")))
for _name, _arguments in EXPORTS.items():
    _export = getattr(_LIBRARY, _name)
    _export.argtypes = [_type for _, _type in _arguments]
    _export.restype = ctypes.c_int32

_Warned = ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_char_p)
_Printed = ctypes.CFUNCTYPE(None, ctypes.c_int32, ctypes.c_void_p, ctypes.c_uint64)
_listen = _LIBRARY.cali_python_listen
_listen.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
_listen.restype = None

_lock = threading.RLock()
_stream: contextvars.ContextVar[Stream | None] = contextvars.ContextVar("cali_printed", default=None)


class _Heard:
    """What the library said during the call that runs."""

    def __init__(self) -> None:
        self.running = False
        self.clear()

    def clear(self) -> None:
        self.warnings: list[tuple[str, str]] = []
        self.printed: list[bytes] = []
        self.errors: list[bytes] = []


_heard = _Heard()


def _warn(caption: bytes, text: bytes) -> None:
    _heard.warnings.append((caption.decode(errors="replace"), text.decode(errors="replace")))


def _print(is_error: int, text: int, length: int) -> None:
    (_heard.errors if is_error else _heard.printed).append(ctypes.string_at(text, length))


# Kept for the life of the process: the library may hold them.
_on_warning, _on_print = _Warned(_warn), _Printed(_print)
_EARS = ctypes.cast(_on_warning, ctypes.c_void_p), ctypes.cast(_on_print, ctypes.c_void_p)


def _renew_lock() -> None:
    """A copy of the process has no thread that would release the lock."""
    global _lock
    _lock = threading.RLock()
    _heard.running = False


if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_renew_lock)


@contextlib.contextmanager
def exclusive() -> Iterator[None]:
    """Keeps other threads from calling the library while several calls that belong together are made.

    Each call is made by itself under the same lock. Two have state in common that the library keeps for the process:
    `awb_setROI` sets what `awb_calc` measures, `awb_BuildCurve` what `awb_getCurve` samples.
    """
    with _lock:
        yield


@overload
def printed() -> AbstractContextManager[io.StringIO]: ...


@overload
def printed(to: AnyStream) -> AbstractContextManager[AnyStream]: ...


def printed(to: Any = None) -> Any:
    """Within a `with` block, what the library prints is written to `to`, or else to the io.StringIO that it gives.

    Without it, printed text is dropped. A call's text is written when the call has ended. Calls of the block's own
    thread or task count, not those of others.

        with cali.printed() as text:
            cali.lsc_calc(flat, "RGGB")
        print(text.getvalue())
    """
    return _writing_to(io.StringIO() if to is None else to)


@contextlib.contextmanager
def _writing_to(stream: Stream) -> Iterator[Stream]:
    token = _stream.set(stream)
    try:
        yield stream
    finally:
        _stream.reset(token)


def call(name: str, /, **given: Any) -> int:
    """Calls an export by its arguments' names in cali.h; reserved and spare ones may be left out.

    Arrays stand for their addresses: their types, layouts and lengths have been checked by then. Returns the status, 0
    or above; raises Rejected or MemoryError.
    """
    arguments = [argument for argument, _ in EXPORTS[name]]
    unknown = set(given).difference(arguments)
    lacking = {argument for argument in set(arguments).difference(given) if not _may_lack(argument)}
    if unknown or lacking:
        raise AssertionError(f"{name} has no argument {sorted(unknown)} and needs {sorted(lacking)}")
    values = [_value_of(given.get(argument, 0)) for argument in arguments]  # `given` keeps the arrays alive
    with _lock:
        if _heard.running:
            raise RuntimeError(f"{name} was called by what a running call of the library called")
        _heard.clear()
        _heard.running = True
        try:
            _listen(*_EARS)
            status = int(getattr(_LIBRARY, name)(*values))
        finally:
            _listen(None, None)
            _heard.running = False
        warned = list(_heard.warnings)
        text = b"".join(_heard.printed).decode(errors="replace")
        errors = b"".join(_heard.errors).decode(errors="replace")
    stream = _stream.get()
    if text and stream is not None:
        stream.write(text)
    if status < 0 and name == "cali_roi_rgb_interpolation" and text.startswith("No available"):
        warned.append(("ROI Calib Warning", text.strip()))  # the one reason that is printed in place of a warning
    if status < 0:
        raise Rejected(*warned[-1]) if warned else MemoryError(f"{name}: no memory")
    for message in [f"{caption}: {text}" for caption, text in warned] + errors.splitlines():
        warnings.warn(CalibrationWarning(message), stacklevel=_levels_to_user())
    return status


def _may_lack(argument: str) -> bool:
    return argument.startswith(("reserved", "spare"))


def _value_of(value: Any) -> Any:
    return value.ctypes.data if isinstance(value, np.ndarray) else value


def _levels_to_user() -> int:
    """How many calls up the package was entered."""
    level, frame = 1, sys._getframe(1)
    while frame.f_back is not None and frame.f_globals.get("__name__", "").split(".")[0] == __package__:
        level, frame = level + 1, frame.f_back
    return level
