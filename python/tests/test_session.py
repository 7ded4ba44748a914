"""What the package computes of a session is what the program has in its results, to the last bit."""
import subprocess
import sys
from dataclasses import replace

import calibrate_session
import numpy as np
from conftest import EXAMPLES

import cali


def same(found, expected, dtype):
    """The bytes of both as `dtype`; no number of the file is beyond it."""
    found, expected = np.asarray(found), np.asarray(expected)
    np.testing.assert_array_equal(expected.astype(dtype), expected)
    assert found.astype(dtype).tobytes() == expected.astype(dtype).tobytes()


def channels(record):
    return [record.rr, record.gr, record.gb, record.bb]


def pairs(lines):
    return [(line.slope, line.intercept) for line in lines]


def test_black_level(demo):
    [section] = demo.results.black_level
    same(demo.black.offset, channels(section.offset_codes), np.uint32)
    same(demo.black.gain, channels(section.restoring_gain), np.float32)
    methods = {"median": cali.blc_calc_by_median, "mean": cali.blc_calc_by_mean, "mean_deviation": cali.blc_calc}
    for frame in section.frames:
        for name, estimate in methods.items():
            found, expected = estimate(demo.read(frame.file), demo.pattern), getattr(frame, name)
            same(found.offset, channels(expected.offset_codes), np.uint32)
            same(found.gain, channels(expected.restoring_gain), np.float32)
            assert found.in_bounds
    blocks = cali.read_results(demo.folder / "blocks.json").black_level[0].frames[0].block_offset_codes
    same(cali.blc_calc_by_localblc(demo.read("dark_1.raw"), "RGGB", blocks=4), channels(blocks), np.uint32)


def test_lens_shading(demo):
    for light, section in zip(demo.lights, demo.results.lens_shading, strict=True):
        mesh, radial = light.shading.mesh, light.shading.radial
        assert (section.illuminant_k, section.radial.norm) == (light.kelvin, light.shading.norm)
        assert (radial.center_x, radial.center_y) == (section.radial.center_x, section.radial.center_y)
        for colour in ("red", "green", "blue"):
            same(getattr(mesh, colour).ravel(), getattr(section.mesh.gain_q9, colour), np.int32)
        gains = section.radial.gain_q9
        same(radial.gains, [gains.red, gains.green, gains.blue, gains.infrared], np.int32)

        flat = demo.read(section.file)
        corrected = cali.lsc_verify(flat, demo.pattern, mesh=mesh, radial=radial, black_level=demo.black)
        for name, frame in zip(("mesh", "radial"), corrected):
            written = cali.read_capture(demo.folder / section.file.replace(".raw", f"_{name}.pgm"))
            same(np.minimum(frame, 4095), written.frame, np.uint32)


def test_white_balance_and_its_curve(demo):
    for light, section in zip(demo.lights, demo.results.white_balance, strict=True):
        registers = section.gain_q10
        assert light.gains == cali.Gains(registers.red, registers.green, registers.blue)
    section = demo.results.white_balance_curve
    fitted, table = calibrate_session.curve(demo.lights)
    same([fitted.a, fitted.b, fitted.c], [section.a, section.b, section.c], np.float32)
    same(fitted.pack, section.pack, np.uint32)
    same(table, section.table, np.float32)


def test_colour_matrices_and_tables(demo):
    for light, section, table in zip(demo.lights, demo.results.colour_matrix, demo.results.colour_table, strict=True):
        same(light.matrix.value, section.matrix, np.float32)
        same(light.matrix.q10, section.matrix_q10, np.int32)
        np.testing.assert_allclose(light.corrected, section.patches.corrected, atol=1e-12)
        cells = [np.where(linear <= 0.0031308, linear * 12.92, 1.055 * np.power(linear, 1 / 2.4) - 0.055)
                 for linear in (section.patches.corrected, section.patches.reference)]
        made = cali.clut_calc_rgb(*cells, nodes=(table.nodes,) * 3, strength=table.strength, radius=table.radius)
        same(made.ravel(), table.table, np.int32)

    reference = np.rint(demo.results.colour_matrix[0].patches.reference * 4095).astype(np.int32)
    identity = cali.ccm_calc(np.tile(reference.reshape(24, 1, 1, 3), (1, 2, 3, 1)))
    np.testing.assert_allclose(identity.value, np.eye(3), atol=2e-3)

    light = demo.lights[1]
    mesh, chart = light.shading.mesh, demo.read("chart_5000K.raw")
    unbalanced = calibrate_session.patch_colours(chart, demo.pattern, cali.Gains(), demo.black, mesh)
    exposed = calibrate_session.exposed(demo.black, unbalanced)
    [optimised] = cali.read_results(demo.folder / "optimised.json").colour_matrix
    found = cali.isp_ccm_pipe_calc_v2(chart, demo.pattern, light.gains, black_level=exposed, mesh=mesh)
    same(found.value, optimised.matrix, np.float32)
    same(found.q10, optimised.matrix_q10, np.int32)
    [joint] = cali.read_results(demo.folder / "joint.json").colour_matrix
    gains, found = cali.isp_awb_ccm(chart, demo.pattern, black_level=exposed, mesh=mesh, chart_windows=joint.windows)
    assert gains == cali.Gains(joint.gain_q10.red, joint.gain_q10.green, joint.gain_q10.blue)
    same(found.value, joint.matrix, np.float32)


def test_noise(demo):
    [section] = demo.results.noise
    window = section.window
    found = calibrate_session.noise(demo.session, demo.black, (window.x, window.y, window.width, window.height))
    same(found.means, np.transpose([channels(level.mean) for level in section.levels]), np.float32)
    same(found.deviations, np.transpose([channels(level.deviation) for level in section.levels]), np.float32)
    lines = channels(section.deviation_line)
    same(pairs(found.lines), pairs(lines), np.float32)
    registers = section.registers
    assert [line.slope for line in found.registers] == channels(registers.slope)
    assert [line.level for line in found.registers] == channels(registers.level)
    luma = cali.isp_ynr_np_fix_calc(found.lines)
    assert luma == cali.LineRegisters(registers.luma_slope, registers.luma_level)

    # The exports over whole series give what their parts give.
    x, y, w, h = window.x, window.y, window.width, window.height
    levels = [[demo.read(name)[y:y + h, x:x + w].copy() for name in entry["files"]]
              for entry in demo.session.entries("series")]
    rr, gr, gb, bb = demo.black.offset
    black = {"black_bb": bb, "black_gb": gb, "black_gr_rr": gr}
    copies = [[frame.copy() for frame in level] for level in levels]
    assert cali.isp_np_fix_calc(copies, demo.pattern, **black) == found.registers
    assert cali.isp_np_float_calc(levels, demo.pattern, **black) == found.lines
    assert all((a == b).all() for first, second in zip(levels, copies) for a, b in zip(first, second))
    variances = cali.isp_np_float_calc_ainr(levels, demo.pattern)  # black is subtracted already
    same(pairs(variances), pairs(channels(section.variance_line)), np.float32)
    means, deviations = cali.isp_roi_mean_std_calc(levels)
    same(means[np.argsort(calibrate_session.channels_of(demo.pattern))], found.means, np.float32)
    same(deviations[np.argsort(calibrate_session.channels_of(demo.pattern))], found.deviations, np.float32)


def test_the_example_runs_and_draws(demo, tmp_path):
    done = subprocess.run([sys.executable, EXAMPLES / "calibrate_session.py", demo.folder / "session.toml", "--plot",
                           tmp_path / "demo.png"], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert "black level 64 66 65 63" in done.stdout
    assert (tmp_path / "demo.png").read_bytes().startswith(b"\x89PNG")


def test_the_tour_of_the_manual_runs(demo):
    manual = (EXAMPLES.parents[1] / "docs/python.md").read_text(encoding="utf-8")
    tour = manual.split("```python\n")[1].split("```")[0]
    done = subprocess.run([sys.executable, "-W", "error", "-c", tour], cwd=demo.folder.parent, capture_output=True,
                          text=True)
    assert done.stdout.startswith("pass ColourRegisters(red=") and not done.stderr, done.stderr


def test_exports_that_the_program_does_not_use():
    random = np.random.default_rng(1)
    frame = random.integers(0, 4096, (24, 36), np.uint32)
    histogram = cali.blc_get_histogram(frame, "GBRG")
    assert (histogram.gb == np.bincount(frame[0::2, 0::2].ravel(), minlength=4096)).all()
    assert (histogram.rr == np.bincount(frame[1::2, 0::2].ravel(), minlength=4096)).all()

    level = cali.BlackLevel.of_offsets(60, 61, 62, 63)
    verified = cali.blc_verify(frame, cali.Pattern.RGGB, level)
    below = np.tile([[60, 61], [62, 63]], (12, 18))
    gains = np.tile(np.array(level.gain, np.float32).reshape(2, 2), (12, 18))
    assert (verified == np.floor(np.maximum(frame.astype(np.int64) - below, 0) * gains + 0.5)).all()

    frames = random.integers(0, 4096, (5, 8, 8), np.uint32)
    np.testing.assert_allclose(cali.isp_std_img_calc(frames), frames.std(0, ddof=1), rtol=1e-5)
    difference = frames[0].astype(np.int64) - frames[1] + 2048
    assert (cali.isp_diff_img_calc(frames[0], frames[1]) == np.clip(difference, 0, 4095)).all()

    image = random.integers(0, 256, (20, 30, 3), np.uint8)
    means = cali.roi_rgb_cal(image, [[3, 4, 5, 6], [0, 0, 30, 20], [0, 0, 0, 0]])
    expected = image[4:10, 3:8].reshape(-1, 3).mean(0)
    np.testing.assert_allclose([means[0]["b"], means[0]["g"], means[0]["r"]], expected)
    assert np.isnan(means[2]["b"])
    greys = np.array([[20, 20, 20], [120, 121, 120], [220, 220, 219]], float)
    adjusted = cali.roi_rgb_adjust(greys, greys * 0.5)
    np.testing.assert_allclose(adjusted["g"], greys[:, 1] * 0.5)
    measured, reference = cali.roi_rgb_interpolation(greys, greys, cali.GreySettings(10, step=20))
    assert len(measured) == len(reference) > 3 and (measured[:3]["r"] == greys[:, 2]).all()

    fixed = cali.isp_np_float_to_fix_calc(0.5, 2.0, ref_level=100)
    assert fixed == cali.LineRegisters(2048, 52)
    assert cali.isp_np_fix_to_fix_calc(fixed, slope_format="U4.12", level_format="U10.0", new_slope_format="U4.8",
                                       new_level_format="U10.0") == replace(fixed, slope=128)
    hues = [[0.8, 0.2, 0.2], [0.2, 0.7, 0.3]]
    identity = cali.clut_calc(hues, hues, nodes=(5, 4, 3))
    assert identity.shape == (3, 4, 5, 3) and (identity == [0, 1024, 1024]).all()


def test_every_export_has_its_function():
    from cali._declarations import EXPORTS

    public = {f"cali_{name}": getattr(cali, name) for name in cali.__all__}
    assert len(EXPORTS) == 34
    for name in EXPORTS:
        assert public[name].__doc__, name
