/*
 * What version 0.1.0 declared, as a C compiler sees it: sizes, members and prototypes. Where one changes, hosts that
 * are built break, and this no longer compiles; docs/architecture.md says what such a change takes. Later releases add
 * to it.
 */
#include <cali/cali.h>
#include <stddef.h>

#define RECORD(record, size) _Static_assert(sizeof(record) == (size), #record " has another size")
#define MEMBER(record, member, pointer, offset)                                                                       \
    _Static_assert(offsetof(record, member) == (offset) && _Generic(&((record*)0)->member, pointer : 1, default : 0), \
                   #record "." #member " has changed")
#define EXPORT(name, ...) \
    _Static_assert(_Generic(&(name), int32_t(*)(__VA_ARGS__) : 1, default : 0), #name " has changed")

/* MEMBER takes the type of a pointer to the member. */
RECORD(SCT_RB_CLBT_PACK, 12);
MEMBER(SCT_RB_CLBT_PACK, word, uint32_t (*)[3], 0);

RECORD(AwbCurveRecord, 24);
MEMBER(AwbCurveRecord, a, float*, 0);
MEMBER(AwbCurveRecord, b, float*, 4);
MEMBER(AwbCurveRecord, c, float*, 8);
MEMBER(AwbCurveRecord, pack, SCT_RB_CLBT_PACK*, 12);

RECORD(RoiRect, 16);
MEMBER(RoiRect, x, int32_t*, 0);
MEMBER(RoiRect, y, int32_t*, 4);
MEMBER(RoiRect, w, int32_t*, 8);
MEMBER(RoiRect, h, int32_t*, 12);

RECORD(RoiRgbMean, 32);
MEMBER(RoiRgbMean, b, double*, 0);
MEMBER(RoiRgbMean, g, double*, 8);
MEMBER(RoiRgbMean, r, double*, 16);
MEMBER(RoiRgbMean, valid, uint8_t*, 24);
MEMBER(RoiRgbMean, reserved, int32_t*, 28);

RECORD(GrayInterpSettings, 16);
MEMBER(GrayInterpSettings, gray_tolerance, uint16_t*, 0);
MEMBER(GrayInterpSettings, step, uint32_t*, 4);
MEMBER(GrayInterpSettings, step_fraction, float*, 8);
MEMBER(GrayInterpSettings, max_add, uint32_t*, 12);

RECORD(Level, 16);
MEMBER(Level, frames, uint32_t***, 0);
MEMBER(Level, nframes, uint32_t*, 8);

RECORD(LevelList, 32);
MEMBER(LevelList, levels, Level**, 0);
MEMBER(LevelList, count, uint32_t*, 8);
MEMBER(LevelList, release, void (**)(LevelList*), 16);
MEMBER(LevelList, owner, void**, 24);

RECORD(CcmPreprocess, 32);
MEMBER(CcmPreprocess, offset, int32_t (*)[4], 0);
MEMBER(CcmPreprocess, gain, float (*)[4], 16);

RECORD(CcmLensShading, 16960);
MEMBER(CcmLensShading, mode, int32_t*, 0);
MEMBER(CcmLensShading, grid_cols, int32_t*, 4);
MEMBER(CcmLensShading, grid_rows, int32_t*, 8);
MEMBER(CcmLensShading, red_grid, uint32_t (*)[1369], 12);
MEMBER(CcmLensShading, green_grid, uint32_t (*)[1369], 5488);
MEMBER(CcmLensShading, blue_grid, uint32_t (*)[1369], 10964);
MEMBER(CcmLensShading, center_x, int32_t*, 16440);
MEMBER(CcmLensShading, center_y, int32_t*, 16444);
MEMBER(CcmLensShading, radial_tables, int32_t (*)[128], 16448);

RECORD(CcmToneCurves, 32);
MEMBER(CcmToneCurves, first, const uint32_t**, 0);
MEMBER(CcmToneCurves, first_count, uint32_t*, 8);
MEMBER(CcmToneCurves, second, const uint32_t**, 16);
MEMBER(CcmToneCurves, second_count, uint32_t*, 24);

RECORD(ClutCell, 16);
MEMBER(ClutCell, r, float*, 0);
MEMBER(ClutCell, g, float*, 4);
MEMBER(ClutCell, b, float*, 8);
MEMBER(ClutCell, weight, float*, 12);

RECORD(ClutSettings, 20);
MEMBER(ClutSettings, nodes, int32_t (*)[3], 0);
MEMBER(ClutSettings, strength, float*, 12);
MEMBER(ClutSettings, radius, float*, 16);

_Static_assert(CALI_CCM_SHADING_NONE == 0 && CALI_CCM_SHADING_MESH == 1 && CALI_CCM_SHADING_RADIAL == 2 &&
                   CALI_CCM_SHADING_MESH_RADIAL == 3 && CALI_WHITE_D50 == 50 && CALI_WHITE_D65 == 65 &&
                   CALI_ROI_GREY_LIGHTNESS == 0 && CALI_ROI_ONE_LINE == 1 && CALI_ROI_GREY_LINE == 2 &&
                   CALI_LSC_CHROMA_AND_LUMA == 0 && CALI_LSC_CHROMA == 1 && CALI_LSC_LUMA == 2,
               "a value of an argument has changed");

EXPORT(cali_awb_setROI, int32_t, int32_t, int32_t, int32_t);
EXPORT(cali_awb_calc, uint32_t**, int32_t, uint32_t, int32_t, int32_t, int32_t, const uint32_t*, const uint32_t*,
       const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t, float, float, float, float, uint16_t*, uint16_t*,
       uint16_t*);
EXPORT(cali_awb_verify, uint32_t**, int32_t, uint32_t, int32_t, int32_t, int32_t, const uint32_t*, const uint32_t*,
       const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t, float, float, float, float, uint16_t, uint16_t,
       uint16_t, uint32_t**);
EXPORT(cali_awb_BuildCurve, float, float, const float*, const float*, const float*, const uint8_t*, uint8_t,
       AwbCurveRecord*);
EXPORT(cali_awb_getCurve, float*, const float*, const float*);
EXPORT(cali_blc_calc_by_median, uint32_t**, uint32_t, uint32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*,
       float*, float*, float*, float*);
EXPORT(cali_blc_calc_by_mean, uint32_t**, uint32_t, uint32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*,
       float*, float*, float*, float*);
EXPORT(cali_blc_calc, uint32_t**, int32_t, int32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, float*, float*,
       float*, float*, int32_t);
EXPORT(cali_blc_calc_by_localblc, uint32_t**, int32_t, int32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*,
       void*, void*, void*, void*, uint32_t);
EXPORT(cali_blc_get_histogram, uint32_t**, uint32_t, uint32_t, uint32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*);
EXPORT(cali_blc_verify, uint32_t**, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, float, float,
       float, float, uint32_t**);
EXPORT(cali_ccm_calc, const int32_t* const*, const void*, int32_t, uint32_t, uint32_t, int32_t, float, const float*,
       float*, int32_t*);
EXPORT(cali_isp_ccm_pipe_calc, uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, const uint32_t*,
       const uint32_t*, const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t, float, float, float, float, uint16_t,
       uint16_t, uint16_t, const RoiRect*, float, const float*, float*, int32_t*);
EXPORT(cali_isp_awb_ccm, uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, const uint32_t*, const uint32_t*,
       const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t, float, float, float, float, const RoiRect*, float,
       const float*, uint16_t*, uint16_t*, uint16_t*, float*, int32_t*);
EXPORT(cali_isp_ccm_pipe_calc_v2, uint32_t*, int64_t, const RoiRect*, const CcmToneCurves*, int32_t, int32_t, int32_t,
       const CcmPreprocess*, const CcmLensShading*, int64_t, int64_t, const float*, int64_t, float*, int32_t*, int32_t,
       uint8_t);
EXPORT(cali_roi_rgb_cal, const uint8_t*, int32_t, int64_t, RoiRgbMean*, const RoiRect*, int32_t);
EXPORT(cali_roi_rgb_adjust, const RoiRgbMean*, const RoiRgbMean*, RoiRgbMean*, uint32_t, uint32_t);
EXPORT(cali_roi_rgb_interpolation, RoiRgbMean*, RoiRgbMean*, uint32_t, const GrayInterpSettings*, uint32_t*);
EXPORT(cali_lsc_calc, uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t,
       int32_t, int32_t, int32_t*, int32_t*, void*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*);
EXPORT(cali_lsc_verify, uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, int64_t, uint32_t, uint32_t, uint32_t,
       uint32_t, float, float, float, float, int32_t, int32_t, int64_t, int64_t, const int32_t*, const int32_t*,
       const int32_t*, const int32_t*, uint32_t**, uint32_t**);
EXPORT(cali_isp_roi_mean_std_calc, LevelList, uint32_t, uint32_t, int32_t, int32_t, int32_t, float**, float**);
EXPORT(cali_isp_roi_mean_var_calc, LevelList, uint32_t, uint32_t, int32_t, int32_t, int32_t, float**, float**);
EXPORT(cali_isp_np_lr_calc, const float*, const float*, uint32_t, uint32_t*, uint32_t*);
EXPORT(cali_isp_np_float_calc, const LevelList*, uint32_t, uint32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t,
       uint32_t, int64_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*);
EXPORT(cali_isp_np_float_to_fix_calc, float, float, int32_t, int32_t*, int32_t*, int64_t, uint32_t, uint32_t, int64_t,
       uint32_t, uint32_t);
EXPORT(cali_isp_np_float_to_fix_calc_v2, float, float, int32_t, int32_t*, int32_t*, const char*, const char*);
EXPORT(cali_isp_np_float_calc_ainr, const LevelList*, uint32_t, uint32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t,
       uint32_t, int64_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*);
EXPORT(cali_isp_np_fix_calc, const LevelList*, uint32_t, uint32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t,
       uint32_t, int32_t, const char*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*);
EXPORT(cali_isp_np_fix_to_fix_calc, int32_t, int32_t, const char*, const char*, const char*, const char*, int32_t*,
       int32_t*);
EXPORT(cali_isp_ynr_np_fix_calc, const float*, const float*, int32_t, const char*, const char*, int32_t*, int32_t*);
EXPORT(cali_isp_diff_img_calc, uint32_t**, uint32_t**, uint32_t, uint32_t, uint32_t**);
EXPORT(cali_isp_std_img_calc, uint32_t**, int32_t, uint32_t, uint32_t, float*);
EXPORT(cali_clut_calc, const ClutCell*, const ClutCell*, int32_t, const ClutSettings*, int32_t*);
EXPORT(cali_clut_calc_rgb, const ClutCell*, const ClutCell*, int32_t, const ClutSettings*, int32_t*);
