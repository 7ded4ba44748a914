"""Calibration of a camera ISP's tuning values from raw Bayer captures: the library's exports on numpy arrays.

Each function is the export of cali.h of its name without "cali_". Frames are two-dimensional arrays of uint32, codes on
a 12-bit scale; arrays of another whole-number type or layout are converted, and those that a function changes must fit.
docs/python.md tells more.
"""
from . import results
from ._declarations import VERSION as __version__
from ._library import exclusive, printed
from .black_level import (blc_calc, blc_calc_by_localblc, blc_calc_by_mean, blc_calc_by_median, blc_get_histogram,
                          blc_verify)
from .captures import Capture, read_capture
from .colour_matrix import ccm_calc, isp_awb_ccm, isp_ccm_pipe_calc, isp_ccm_pipe_calc_v2
from .colour_tables import clut_calc, clut_calc_rgb
from .errors import CalibrationWarning, Rejected
from .lens_shading import ShadingType, lsc_calc, lsc_verify
from .noise import (isp_diff_img_calc, isp_np_fix_calc, isp_np_fix_to_fix_calc, isp_np_float_calc,
                    isp_np_float_calc_ainr, isp_np_float_to_fix_calc, isp_np_float_to_fix_calc_v2, isp_np_lr_calc,
                    isp_roi_mean_std_calc, isp_roi_mean_var_calc, isp_std_img_calc, isp_ynr_np_fix_calc)
from .regions import ROI_RGB_MEAN, AdjustMode, roi_rgb_adjust, roi_rgb_cal, roi_rgb_interpolation
from .results import Results, read_results
from .values import (BlackLevel, Channels, ColourMatrix, Curve, Gains, GreySettings, LensShading, Line, LineRegisters,
                     Mesh, Pattern, Radial)
from .white_balance import awb_BuildCurve, awb_calc, awb_getCurve, awb_setROI, awb_verify

__all__ = [
    "AdjustMode", "BlackLevel", "CalibrationWarning", "Capture", "Channels", "ColourMatrix", "Curve", "Gains",
    "GreySettings", "LensShading", "Line", "LineRegisters", "Mesh", "Pattern", "ROI_RGB_MEAN", "Radial", "Rejected",
    "Results", "ShadingType", "__version__", "awb_BuildCurve", "awb_calc", "awb_getCurve", "awb_setROI", "awb_verify",
    "blc_calc", "blc_calc_by_localblc", "blc_calc_by_mean", "blc_calc_by_median", "blc_get_histogram", "blc_verify",
    "ccm_calc", "clut_calc", "clut_calc_rgb", "exclusive", "isp_awb_ccm", "isp_ccm_pipe_calc", "isp_ccm_pipe_calc_v2",
    "isp_diff_img_calc", "isp_np_fix_calc", "isp_np_fix_to_fix_calc", "isp_np_float_calc", "isp_np_float_calc_ainr",
    "isp_np_float_to_fix_calc", "isp_np_float_to_fix_calc_v2", "isp_np_lr_calc", "isp_roi_mean_std_calc",
    "isp_roi_mean_var_calc", "isp_std_img_calc", "isp_ynr_np_fix_calc", "lsc_calc", "lsc_verify", "printed",
    "read_capture", "read_results", "results", "roi_rgb_adjust", "roi_rgb_cal", "roi_rgb_interpolation",
]
