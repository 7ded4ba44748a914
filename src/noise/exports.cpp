// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"
#include "noise/level_list.h"

using cali::kRejected;
using cali::noise::LevelListRelease;

int32_t cali_isp_roi_mean_std_calc(LevelList levels, uint32_t, uint32_t, int32_t, int32_t, int32_t, float**, float**) {
    const LevelListRelease release_at_end(levels);
    return kRejected;
}

int32_t cali_isp_roi_mean_var_calc(LevelList levels, uint32_t, uint32_t, int32_t, int32_t, int32_t, float**, float**) {
    const LevelListRelease release_at_end(levels);
    return kRejected;
}

int32_t cali_isp_np_lr_calc(const float*, const float*, uint32_t, uint32_t*, uint32_t*) { return kRejected; }

int32_t cali_isp_np_float_calc(const LevelList*, uint32_t, uint32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t,
                               uint32_t, int64_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*,
                               uint32_t*, uint32_t*) {
    return kRejected;
}

int32_t cali_isp_np_float_to_fix_calc(float, float, int32_t, int32_t*, int32_t*, int64_t, uint32_t, uint32_t, int64_t,
                                      uint32_t, uint32_t) {
    return kRejected;
}

int32_t cali_isp_np_float_to_fix_calc_v2(float, float, int32_t, int32_t*, int32_t*, const char*, const char*) {
    return kRejected;
}

int32_t cali_isp_np_float_calc_ainr(const LevelList*, uint32_t, uint32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t,
                                    uint32_t, int64_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*, uint32_t*,
                                    uint32_t*, uint32_t*) {
    return kRejected;
}

int32_t cali_isp_np_fix_calc(const LevelList*, uint32_t, uint32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t,
                             uint32_t, int32_t, const char*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*,
                             int32_t*, int32_t*) {
    return kRejected;
}

int32_t cali_isp_np_fix_to_fix_calc(int32_t, int32_t, const char*, const char*, const char*, const char*, int32_t*,
                                    int32_t*) {
    return kRejected;
}

int32_t cali_isp_ynr_np_fix_calc(const float*, const float*, int32_t, const char*, const char*, int32_t*, int32_t*) {
    return kRejected;
}

int32_t cali_isp_diff_img_calc(uint32_t**, uint32_t**, uint32_t, uint32_t, uint32_t**) { return kRejected; }

int32_t cali_isp_std_img_calc(uint32_t**, int32_t, uint32_t, uint32_t, float*) { return kRejected; }
