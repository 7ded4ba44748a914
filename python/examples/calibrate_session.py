"""Calibrates the captures of a simulated session with the package, and draws what comes out.

    cali simulate demo --illuminants 2850 5000 6500
    python3 calibrate_session.py demo/session.toml --plot demo.png

The chain of `cali calibrate`, in its default settings: black level, lens shading, white balance and its curve, colour
matrix and table, noise. The values are those of the program, bit for bit; it alone chooses the
window of the noise by how bright the series is.
"""
from __future__ import annotations

import argparse
import tomllib
from dataclasses import replace
from pathlib import Path
from typing import Any, NamedTuple

import numpy as np

import cali

# Encoded sRGB of the chart's greys between white and black, by which charts are exposed.
GREYS = slice(19, 23)
GREY_GREEN = np.array([0.784314, 0.627451, 0.478431, 0.333333], np.float32)


class Light(NamedTuple):
    """What was calibrated for one light."""

    kelvin: float
    shading: cali.LensShading
    gains: cali.Gains
    matrix: cali.ColourMatrix
    corrected: np.ndarray  # 24 linear colours behind the matrix, within 0..1


class Noise(NamedTuple):
    means: np.ndarray  # codes, channels RR, GR, GB, BB by levels
    deviations: np.ndarray
    lines: cali.Channels[cali.Line]
    registers: cali.Channels[cali.LineRegisters]


class Session:
    """Captures as a session file names them."""

    def __init__(self, file: Path) -> None:
        with open(file, "rb") as stream:
            self.content = tomllib.load(stream)
        self.folder = file.parent
        self.pattern = cali.Pattern[self.content["sensor"]["pattern"]]

    def read(self, name: str) -> np.ndarray:
        sensor = self.content["sensor"]
        sides = {key: sensor[key] for key in ("width", "height", "bits")}
        return cali.read_capture(self.folder / name, **sides).frame

    def entries(self, kind: str) -> list[dict[str, Any]]:
        return self.content["captures"][kind]


def black_level(session: Session) -> cali.BlackLevel:
    """Medians of the dark frames, averaged with halves rounded up."""
    found = [cali.blc_calc_by_median(session.read(dark["file"]), session.pattern) for dark in session.entries("dark")]
    n = len(found)
    offsets = zip(*[one.offset for one in found])
    return cali.BlackLevel.of_offsets(*[(2 * sum(codes) + n) // (2 * n) for codes in offsets])


def middle(session: Session, side: int) -> tuple[int, int, int, int]:
    """A window of that side or less."""
    sizes = [session.content["sensor"][key] & ~1 for key in ("width", "height")]
    width, height = (min(size, side) for size in sizes)
    return (sizes[0] - width) // 2 & ~1, (sizes[1] - height) // 2 & ~1, width, height


def grey_gains(session: Session, name: str, black: cali.BlackLevel, mesh: cali.Mesh) -> cali.Gains:
    """Of a window of 256 x 256 amid the grey card."""
    grey = session.read(name)
    with cali.exclusive():
        cali.awb_setROI(*middle(session, 256))
        return cali.awb_calc(grey, session.pattern, black_level=black, mesh=mesh)


def chart_windows(width: int, height: int) -> np.ndarray:
    """Of a chart that fills the frame: 6 x 4 windows, each amid its cell and half as large."""
    return np.array([[width * (4 * (i % 6) + 1) // 24 & ~1, height * (4 * (i // 6) + 1) // 16 & ~1, width // 12 & ~1,
                      height // 8 & ~1] for i in range(24)])


def channels_of(pattern: cali.Pattern) -> list[int]:
    """Which of RR, GR, GB, BB each position of the 2 x 2 cell is, row by row."""
    rows = pattern.name[:2], pattern.name[2:]
    return [{"R": 0, "B": 3, "G": 1 if "R" in row else 2}[colour] for row in rows for colour in row]


def patch_colours(chart: np.ndarray, pattern: cali.Pattern, gains: cali.Gains, black: cali.BlackLevel,
                  mesh: cali.Mesh) -> np.ndarray:
    """Linear red, green and blue of each patch behind the front end, 1 = full scale."""
    corrected = cali.awb_verify(chart.copy(), pattern, gains, black_level=black, mesh=mesh)
    sums, counts = np.zeros((24, 3)), np.zeros((24, 3))
    for i, (x, y, w, h) in enumerate(chart_windows(*chart.shape[::-1])):
        cell = corrected[y:y + h, x:x + w]
        for position, channel in enumerate(channels_of(pattern)):
            plane = cell[position // 2::2, position % 2::2]
            sums[i, (channel + 1) // 2] += plane.sum(dtype=np.int64)
            counts[i, (channel + 1) // 2] += plane.size
    return sums / (counts * 4095)


def exposed(black: cali.BlackLevel, colours: np.ndarray) -> cali.BlackLevel:
    """With gains that bring the chart's greys to their reference."""
    linear = np.exp(np.log((GREY_GREEN.astype(float) + 0.055) / 1.055) * 2.4).astype(np.float32)
    factor = np.float32(sum(linear.tolist()) / sum(colours[GREYS, 1].tolist()))
    return replace(black, gain=cali.Channels(*[float(np.float32(gain) * factor) for gain in black.gain]))


def colour_matrix(session: Session, name: str, black: cali.BlackLevel, mesh: cali.Mesh,
                  gains: cali.Gains) -> tuple[cali.ColourMatrix, np.ndarray]:
    """The matrix, and the patches behind it."""
    chart = session.read(name)
    front_end = exposed(black, patch_colours(chart, session.pattern, cali.Gains(), black, mesh))
    matrix = cali.isp_ccm_pipe_calc(chart, session.pattern, gains, black_level=front_end, mesh=mesh)
    measured = patch_colours(chart, session.pattern, gains, front_end, mesh)
    value = matrix.value.astype(float)
    corrected = sum(value[:, c] * measured[:, c:c + 1] for c in range(3))
    return matrix, np.clip(corrected, 0, 1)


def curve(lights: list[Light], reference_k: float = 5000) -> tuple[cali.Curve, np.ndarray]:
    """The parabola through three lights and more, and its 200 samples."""
    one = np.float32(1024)
    ratio_a = np.array([one / np.float32(light.gains.red) for light in lights])
    ratio_b = np.array([one / np.float32(light.gains.blue) for light in lights])
    nearest = min(range(len(lights)), key=lambda i: abs(lights[i].kelvin - reference_k))
    with cali.exclusive():
        fitted = cali.awb_BuildCurve(ratio_a[nearest], ratio_b[nearest], ratio_a, ratio_b,
                                     [light.kelvin for light in lights])
        return fitted, cali.awb_getCurve()


def noise(session: Session, black: cali.BlackLevel, window: tuple[int, int, int, int] | None = None) -> Noise:
    """Lines through deviation and mean of every level, and their registers. `window`: x, y, width and height, even."""
    x, y, width, height = window or middle(session, 512)
    channels = channels_of(session.pattern)
    rr, gr, gb, bb = black.offset
    below = np.array([(gr, gr, gb, bb)[channel] for channel in channels]).reshape(2, 2)  # one level for GR and RR
    dark = np.tile(below, (height // 2, width // 2))
    levels = []
    for entry in session.entries("series"):
        frames = [session.read(name)[y:y + height, x:x + width] for name in entry["files"]]
        levels.append([np.clip(frame.astype(np.int64) - dark, 0, 4095).astype(np.uint32) for frame in frames])
    means, variances = cali.isp_roi_mean_var_calc(levels)
    order = np.argsort(channels)
    means, deviations = means[order], np.sqrt(variances[order])
    lines = cali.Channels(*[cali.isp_np_lr_calc(*each) for each in zip(means, deviations)])
    registers = cali.Channels(*[cali.isp_np_float_to_fix_calc_v2(line.slope, line.intercept) for line in lines])
    return Noise(means, deviations, lines, registers)


def calibrate_light(session: Session, black: cali.BlackLevel, kelvin: float) -> Light:
    files = {kind: next(entry["file"] for entry in session.entries(kind) if entry["illuminant_k"] == kelvin)
             for kind in ("flat", "grey", "chart")}
    shading = cali.lsc_calc(session.read(files["flat"]), session.pattern, black_level=black)
    gains = grey_gains(session, files["grey"], black, shading.mesh)
    matrix, corrected = colour_matrix(session, files["chart"], black, shading.mesh, gains)
    return Light(kelvin, shading, gains, matrix, corrected)


def plot(file: Path, lights: list[Light], table: np.ndarray, profile: Noise) -> None:
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(2, 2, figsize=(11, 8), layout="constrained")
    shading = lights[0].shading
    picture = axes[0, 0].imshow(shading.mesh.green / 512)
    figure.colorbar(picture, ax=axes[0, 0])
    axes[0, 0].set(title=f"Lens shading at {lights[0].kelvin:.0f} K: green gain", xlabel="node", ylabel="node")
    axes[0, 1].plot(np.arange(len(table)) / 100, table)
    axes[0, 1].set(title="White-balance curve", xlabel="x (red)", ylabel="y (blue)")
    axes[1, 0].imshow(np.concatenate([light.corrected.reshape(4, 6, 3) for light in lights], 1) ** (1 / 2.2))
    axes[1, 0].set(title="Charts behind the matrices", xticks=[], yticks=[])
    for name, means, deviations, line in zip("rr gr gb bb".split(), profile.means, profile.deviations, profile.lines):
        points = axes[1, 1].plot(means, deviations, "o", label=name)
        axes[1, 1].plot(means, line.slope * means + line.intercept, color=points[0].get_color())
    axes[1, 1].set(title="Noise", xlabel="mean, codes", ylabel="deviation, codes")
    axes[1, 1].legend()
    figure.savefig(file)


def main() -> None:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("session", type=Path)
    parser.add_argument("--plot", type=Path, help="PNG, PDF or SVG")
    arguments = parser.parse_args()
    session = Session(arguments.session)
    black = black_level(session)
    print("black level", *black.offset)
    lights = [calibrate_light(session, black, entry["illuminant_k"]) for entry in session.entries("flat")]
    for light in lights:
        print(f"{light.kelvin:.0f} K: gains {light.gains.red} {light.gains.green} {light.gains.blue}, matrix",
              *light.matrix.q10.ravel())
    fitted, table = curve(lights)
    print(f"curve y = {fitted.a:.5f} x^2 {fitted.b:+.5f} x {fitted.c:+.5f}")
    profile = noise(session, black)
    for name, line in zip(("rr", "gr", "gb", "bb"), profile.registers):
        print(f"noise {name}: slope {line.slope}, level {line.level}")
    if arguments.plot:
        plot(arguments.plot, lights, table, profile)


if __name__ == "__main__":
    main()
