"""What callers may get wrong, and what the process must not notice."""
import os
import pickle
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import cali

RNG = np.random.default_rng(2)


def frame(height=16, width=20):
    return RNG.integers(100, 3000, (height, width), np.uint32)


def read_only(array):
    array.flags.writeable = False
    return array


LEVELS = [[frame(), frame()], [frame(), frame()]]
ODD = np.zeros(4 * 16 * 20 + 1, np.uint8)[1:].view(np.uint32).reshape(16, 20)
MESH = cali.Mesh.unity()
WIDE_MESH = cali.Mesh(*[np.full((4, 500), 512, np.uint32)] * 3)
RADIAL = cali.Radial(8, 8, np.full((4, 32), 512, np.int32))
HUES = [[0.8, 0.2, 0.2], [0.2, 0.7, 0.3]]
ONE = frame()


@pytest.mark.parametrize("error, call", [
    (TypeError, lambda: cali.blc_calc([[1, 2], [3, 4]], 0)),
    (TypeError, lambda: cali.blc_calc(frame().astype(float), 0)),
    (TypeError, lambda: cali.blc_calc(frame() > 200, 0)),
    (ValueError, lambda: cali.blc_calc(frame().astype(np.int64) - 1000, 0)),
    (ValueError, lambda: cali.blc_calc(np.full((4, 4), 2**32), 0)),
    (ValueError, lambda: cali.blc_calc(frame().ravel(), 0)),
    (ValueError, lambda: cali.blc_calc(np.empty((0, 2**32), np.uint32), 0)),
    (ValueError, lambda: cali.blc_calc(frame(), "RGBW")),
    (ValueError, lambda: cali.blc_calc(frame(), 4)),
    (TypeError, lambda: cali.blc_calc(frame(), 1.5)),
    (cali.Rejected, lambda: cali.blc_calc_by_localblc(frame(), 0, blocks=0)),
    (cali.Rejected, lambda: cali.blc_calc_by_localblc(frame(), 0, blocks=2**32 - 1)),
    (TypeError, lambda: cali.blc_verify(frame(), 0, 64)),
    (ValueError, lambda: cali.blc_verify(frame(), 0, cali.BlackLevel(cali.Channels(-1, 0, 0, 0)))),
    (ValueError, lambda: cali.blc_verify(frame(), 0, cali.BlackLevel(), output=np.empty((16, 19), np.uint32))),
    (TypeError, lambda: cali.blc_verify(frame(), 0, cali.BlackLevel(), output=np.empty((16, 20), np.int32))),
    (ValueError, lambda: cali.blc_verify(ONE[:8], 0, cali.BlackLevel(), output=ONE[4:12])),
    (ValueError, lambda: cali.awb_setROI(0, 0, 2**31, 4)),
    (cali.Rejected, lambda: cali.awb_calc(frame(), 3, mesh=WIDE_MESH)),
    (ValueError, lambda: cali.awb_calc(frame(), 3, mesh=cali.Mesh(MESH.red, MESH.green, MESH.blue[:2]))),
    (TypeError, lambda: cali.awb_verify(frame().astype(np.int64), 3, cali.Gains())),
    (ValueError, lambda: cali.awb_verify(frame(16, 40)[:, ::2], 3, cali.Gains())),
    (ValueError, lambda: cali.awb_verify(read_only(frame()), 3, cali.Gains())),
    (ValueError, lambda: cali.awb_verify(ODD, 3, cali.Gains())),
    (ValueError, lambda: cali.awb_verify(frame(), 3, cali.Gains(red=65536))),
    (cali.Rejected, lambda: cali.awb_BuildCurve(1, 1, [1] * 8, [1] * 8, [5000] * 8)),
    (ValueError, lambda: cali.awb_BuildCurve(1, 1, [1] * 300, [1] * 300, [5000] * 300)),
    (ValueError, lambda: cali.awb_BuildCurve(1, 1, [1, 2, 3], [1, 2], [5000] * 3)),
    (ValueError, lambda: cali.awb_BuildCurve(1, 1, [1] * 3, [1] * 3, [5000] * 3, [256] * 3)),
    (cali.Rejected, lambda: cali.lsc_calc(frame(), 3, grid_cols=-5)),
    (cali.Rejected, lambda: cali.lsc_calc(frame(), 3, grid_cols=2**31 - 1, grid_rows=2**31 - 1)),
    (cali.Rejected, lambda: cali.lsc_calc(np.empty((0, 0), np.uint32), 3)),
    (ValueError, lambda: cali.lsc_verify(frame(), 3, radial=cali.Radial(0, 0, np.zeros((2, 32), np.int32)))),
    (ValueError, lambda: cali.lsc_verify(frame(), 3, mesh=MESH, radial=RADIAL, mesh_output=ONE, radial_output=ONE)),
    (ValueError, lambda: cali.ccm_calc([])),
    (ValueError, lambda: cali.ccm_calc([np.zeros((2, 2, 3), np.int32), np.zeros((2, 3, 3), np.int32)])),
    (ValueError, lambda: cali.ccm_calc([np.zeros((2, 2, 4), np.int32)])),
    (ValueError, lambda: cali.isp_ccm_pipe_calc(frame(), 3, cali.Gains(), chart_windows=[[0, 0, 4, 4]] * 23)),
    (cali.Rejected, lambda: cali.isp_ccm_pipe_calc(frame(), 3, cali.Gains(), chart_windows=[[99, 0, 4, 4]] * 24)),
    (TypeError, lambda: cali.isp_awb_ccm(frame(), 3, weights=["a"] * 24)),
    (cali.Rejected, lambda: cali.isp_ccm_pipe_calc_v2(frame(96, 96), 3, mesh=WIDE_MESH)),
    (cali.Rejected, lambda: cali.isp_ccm_pipe_calc_v2(frame(96, 96), 3, tone_curves=([], []))),
    (cali.Rejected, lambda: cali.isp_ccm_pipe_calc_v2(frame(96, 96), 3, tone_curves=([0, 5000], [1]))),
    (ValueError, lambda: cali.roi_rgb_cal(np.zeros((4, 4, 3), np.uint8), [[2, 0, 3, 1]])),
    (ValueError, lambda: cali.roi_rgb_cal(np.zeros((4, 4, 3), np.uint8), [[2**31 - 1, 0, 2**31 - 1, 1]])),
    (ValueError, lambda: cali.roi_rgb_adjust([[1, 2, 3]], [[1, 2, 3]] * 2)),
    (cali.Rejected, lambda: cali.roi_rgb_interpolation([[9, 9, 9]], [[9, 9, 9]], cali.GreySettings(5))),
    (cali.Rejected, lambda: cali.roi_rgb_interpolation([[9, 9, 9]], [[9, 9, 9]], cali.GreySettings(5, step=0))),
    (ValueError, lambda: cali.roi_rgb_interpolation([[1e30] * 3], [[9] * 3], cali.GreySettings(5))),
    (TypeError, lambda: cali.isp_roi_mean_std_calc(ONE)),
    (ValueError, lambda: cali.isp_roi_mean_std_calc([])),
    (ValueError, lambda: cali.isp_roi_mean_std_calc([[frame(), frame(20, 16)]])),
    (cali.Rejected, lambda: cali.isp_roi_mean_std_calc(LEVELS, nframes=3)),
    (cali.Rejected, lambda: cali.isp_roi_mean_std_calc(LEVELS, nframes=-1)),
    (ValueError, lambda: cali.isp_np_float_calc([[ONE, ONE]], 3)),
    (TypeError, lambda: cali.isp_np_float_calc([[ONE.astype(np.uint16)]], 3)),
    (ValueError, lambda: cali.isp_np_float_to_fix_calc_v2(1, 1, slope_format="")),
    (ValueError, lambda: cali.isp_np_float_to_fix_calc_v2(1, 1, level_format="\0U4.8")),
    (cali.Rejected, lambda: cali.isp_np_float_to_fix_calc_v2(1, 1, slope_format="U4")),
    (cali.Rejected, lambda: cali.isp_np_fix_calc([[frame()]], 3, formats="U4.8")),
    (ValueError, lambda: cali.isp_diff_img_calc(frame(), frame(20, 16))),
    (cali.Rejected, lambda: cali.isp_std_img_calc([frame()])),
    (cali.Rejected, lambda: cali.clut_calc(HUES, HUES, nodes=(2**31 - 1, 65, 65))),
    (cali.Rejected, lambda: cali.clut_calc(np.empty((0, 3)), np.empty((0, 3)))),
    (cali.Rejected, lambda: cali.clut_calc_rgb([[np.nan] * 3], [[0] * 3])),
    (ValueError, lambda: cali.clut_calc_rgb(HUES, HUES[:1])),
    (ValueError, lambda: cali.clut_calc_rgb([[1, 2, 3], [1, 2]], HUES)),
])
def test_wrong_arguments(error, call):
    with pytest.raises(error) as caught:
        call()
    assert isinstance(caught.value, cali.Rejected) == (error is cali.Rejected)
    assert str(caught.value)


def test_nothing_crashes_or_hangs_on_extreme_values():
    empty, huge = np.empty((0, 5), np.uint32), np.full((33, 47), 2**32 - 1, np.uint32)
    for one in (empty, huge, np.zeros((1, 1), np.uint32)):
        cali.blc_calc(one, 0), cali.blc_calc_by_mean(one, 1), cali.blc_calc_by_median(one, 2)
        cali.blc_verify(one, 3, cali.BlackLevel(gain=cali.Channels(np.nan, np.inf, -1.0, 1e300)))
        cali.awb_verify(one.copy(), 0, cali.Gains(65535, 0, 65535))
        cali.lsc_verify(one.copy(), 1, mesh=MESH, radial=RADIAL)
        cali.isp_np_float_calc([[one.copy()]], 2, black_bb=2**32 - 1)
        cali.isp_std_img_calc([one, one])
    for number in (np.nan, np.inf, -1e300, 0.0):
        cali.awb_BuildCurve(number, number, [number] * 3, [1] * 3, [number or 1] * 3)
        cali.awb_getCurve(number, number)
        cali.isp_np_float_to_fix_calc(number, number, slope_int_bits=2**32 - 1, slope_frac_bits=2**32 - 1)
        cali.isp_np_lr_calc([number] * 3, [1, 2, 3])
        cali.roi_rgb_adjust([[number] * 3] * 24, [[1] * 3] * 24, 0)
    most = cali.GreySettings(65535, step=1, step_fraction=-1e30, max_add=2**31)
    greys = [[0] * 3, [255] * 3, [0] * 3, [128] * 3] * 200
    measured, _ = cali.roi_rgb_interpolation(greys, greys, most)
    assert len(measured) <= len(greys) + 256 + len(greys)


def test_fitting_arrays_are_not_copied_and_others_are_converted():
    plain = frame(64, 64)
    for other in (plain.astype(np.uint16), plain.astype(">u4"), np.asfortranarray(plain), read_only(plain.copy())):
        assert cali.blc_calc(other, 3) == cali.blc_calc(plain, 3)
    from cali._check import frame as checked

    view = read_only(plain.copy())
    assert np.shares_memory(checked("frame", view), view)
    before, black = plain.copy(), cali.BlackLevel.of_offsets(64, 64, 64, 64)
    assert cali.awb_verify(plain, 3, cali.Gains(), black_level=black, output=plain) is plain
    changed = before.copy()
    separate = cali.awb_verify(changed, 3, cali.Gains(), black_level=black)
    assert (separate == plain).all() and not (changed == before).all()


def test_warnings_and_rejections_carry_the_librarys_text():
    cali.awb_setROI(0, 0, 8, 8)
    with pytest.warns(cali.CalibrationWarning, match="WB Calib Warning: Too Dark") as caught:
        cali.awb_calc(np.full((16, 16), 10, np.uint32), 3)
    assert caught[0].filename == __file__
    with pytest.warns(cali.CalibrationWarning, match="determinant is equal 0"):
        assert (cali.ccm_calc([np.zeros((1, 1, 3), np.int32)]).value == np.eye(3)).all()
    cali.awb_setROI(0, 0, 16, 8)
    with pytest.raises(cali.Rejected, match="ROI X,W is wrong") as rejected:
        cali.awb_calc(np.full((16, 16), 10, np.uint32), 3)
    assert rejected.value.caption == "WB Calib Warning"
    assert str(pickle.loads(pickle.dumps(rejected.value))) == str(rejected.value)
    assert cali.blc_calc_by_median(np.zeros((8, 8), np.uint32), 0).in_bounds is False


def test_printing_is_kept_off_the_process_and_given_when_asked_for():
    code = """if True:
        import os, numpy as np, cali
        frame = np.full((400, 300), 500, np.uint32)
        os.environ["CLUT_EXPORT_TABLE"] = "0"
        print("before", flush=True)
        with cali.printed() as text:
            cali.lsc_calc(frame, 3)
            cali.awb_verify(frame.copy(), 3, cali.Gains())
            cali.awb_BuildCurve(1, 1, [1, 2, 3], [1, 2, 3], [3000, 5000, 6500])
        cali.awb_verify(frame.copy(), 3, cali.Gains())
        cali.blc_calc_by_mean(frame, 3)
        lines = text.getvalue()
        assert lines.count("LSC...") == 400 and "\\nCenter [" in lines and "out[3~5]:" in lines, lines
        assert "blc result" not in lines
    """
    done = subprocess.run([sys.executable, "-W", "error", "-c", code], capture_output=True, text=True)
    assert (done.returncode, done.stdout, done.stderr) == (0, "before\n", "")


def test_threads_run_beside_a_call_and_calls_one_after_the_other():
    large = np.tile(frame(500, 500), (6, 6))
    beats = []

    def beat():
        while not done.is_set():
            beats.append(time.monotonic())
            time.sleep(0.001)

    done = threading.Event()
    other = threading.Thread(target=beat)
    other.start()
    begun = time.monotonic()
    cali.lsc_calc(large, 3, denoise=True)
    ended = time.monotonic()
    done.set()
    other.join()
    assert sum(begun < moment < ended for moment in beats) > 10

    windows = [(0, 0, 8, 8), (8, 8, 8, 8)]
    scene = np.full((32, 32), 1000, np.uint32)
    scene[8:16:2, 8:16:2] = 500  # red of the second window
    found = {window: set() for window in windows}

    def measure(window):
        for _ in range(200):
            with cali.exclusive():
                cali.awb_setROI(*window)
                found[window].add(cali.awb_calc(scene, "RGGB").red)

    threads = [threading.Thread(target=measure, args=(window,)) for window in windows]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == {windows[0]: {1024}, windows[1]: {2048}}


@pytest.mark.skipif(not hasattr(os, "fork"), reason="no copies of processes")
def test_a_copy_of_the_process_is_not_locked_by_a_thread_that_it_has_not():
    held, free = threading.Event(), threading.Event()

    def hold():
        with cali.exclusive():
            held.set()
            free.wait(30)

    holder = threading.Thread(target=hold)
    holder.start()
    held.wait(30)
    child = os.fork()
    if child == 0:
        cali.blc_calc(frame(), 0)
        os._exit(7)
    ended = [0]
    limit = time.monotonic() + 20
    while ended[0] == 0 and time.monotonic() < limit:
        ended = os.waitpid(child, os.WNOHANG)
        time.sleep(0.01)
    free.set()
    holder.join()
    if ended[0] == 0:
        os.kill(child, 9)
    assert ended[0] == child and os.waitstatus_to_exitcode(ended[1]) == 7
