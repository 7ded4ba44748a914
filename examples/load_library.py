"""The library from Python: black levels of a dark frame, and means of a brightness series whose list it releases.

    python3 load_library.py path/to/cali.dll (or libcali.so)
"""
import ctypes
import os
import sys

# Before it is loaded: lines in place of message boxes. ctypes' Python sets it where the library sees it.
os.environ["CALI_WARNINGS"] = "stderr"
library = ctypes.CDLL(sys.argv[1])  # the C calling convention; the only one of 64-bit Windows

SIDE, FRAMES, POSITIONS = 16, 2, 4
Frame = ctypes.POINTER(ctypes.c_uint32)


class Level(ctypes.Structure):
    _fields_ = [("frames", ctypes.POINTER(Frame)), ("nframes", ctypes.c_uint32)]


class LevelList(ctypes.Structure):
    pass


Release = ctypes.CFUNCTYPE(None, ctypes.POINTER(LevelList))
LevelList._fields_ = [
    ("levels", ctypes.POINTER(Level)),
    ("count", ctypes.c_uint32),
    ("release", Release),
    ("owner", ctypes.c_void_p),
]
library.cali_isp_roi_mean_std_calc.argtypes = [
    LevelList, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_int32, ctypes.c_int32, ctypes.c_int32,
    ctypes.POINTER(ctypes.POINTER(ctypes.c_float)), ctypes.POINTER(ctypes.POINTER(ctypes.c_float)),
]

samples = (ctypes.c_uint32 * (SIDE * SIDE))(*[64 + i % 2 + 2 * (i // SIDE % 2) for i in range(SIDE * SIDE)])
frame = ctypes.cast(samples, Frame)
offsets = (ctypes.c_uint32 * 4)()
gains = (ctypes.c_float * 4)()


def items(array):
    size = ctypes.sizeof(array._type_)
    return [ctypes.byref(array, i * size) for i in range(len(array))]


if library.cali_blc_calc_by_median(ctypes.byref(frame), SIDE, SIDE, 3, *items(offsets), *items(gains)) != 0:
    sys.exit(1)
print("black level", *offsets)

released = []
release = Release(lambda _: released.append(True))  # Python frees the arrays itself, once nothing names them
frames = (Frame * FRAMES)(frame, frame)
levels = (Level * 1)(Level(frames, FRAMES))
series = LevelList(levels, 1, release, None)
means = [(ctypes.c_float * 1)() for _ in range(POSITIONS)]
deviations = [(ctypes.c_float * 1)() for _ in range(POSITIONS)]
Rows = ctypes.POINTER(ctypes.c_float) * POSITIONS
rows = [Rows(*[ctypes.cast(row, ctypes.POINTER(ctypes.c_float)) for row in lists]) for lists in (means, deviations)]
if library.cali_isp_roi_mean_std_calc(series, SIDE, SIDE, 1, POSITIONS, FRAMES, *rows) != 0:
    sys.exit(1)
print("means", *[f"{row[0]:.0f}" for row in means], end="")
print(f", released {len(released)}")
