/* The header in C11, the records' layout, and a call through the shared library. */
#include <cali/cali.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#define AT(record, member, offset) (offsetof(record, member) == (offset))

_Static_assert(sizeof(SCT_RB_CLBT_PACK) == 12, "SCT_RB_CLBT_PACK");
_Static_assert(sizeof(AwbCurveRecord) == 24 && AT(AwbCurveRecord, pack, 12), "AwbCurveRecord");
_Static_assert(sizeof(RoiRect) == 16 && AT(RoiRect, w, 8) && AT(RoiRect, h, 12), "RoiRect");
_Static_assert(sizeof(RoiRgbMean) == 32 && AT(RoiRgbMean, r, 16) && AT(RoiRgbMean, valid, 24) &&
                   AT(RoiRgbMean, reserved, 28),
               "RoiRgbMean");
_Static_assert(sizeof(GrayInterpSettings) == 16 && AT(GrayInterpSettings, step, 4) &&
                   AT(GrayInterpSettings, step_fraction, 8) && AT(GrayInterpSettings, max_add, 12),
               "GrayInterpSettings");
_Static_assert(sizeof(Level) == 16 && AT(Level, nframes, 8), "Level");
_Static_assert(sizeof(LevelList) == 32 && AT(LevelList, count, 8) && AT(LevelList, release, 16) &&
                   AT(LevelList, owner, 24),
               "LevelList");
_Static_assert(sizeof(CcmPreprocess) == 32 && AT(CcmPreprocess, gain, 16), "CcmPreprocess");
_Static_assert(sizeof(CcmLensShading) == 20 + 12 * 1369 + 4 * 128 && AT(CcmLensShading, red_grid, 12) &&
                   AT(CcmLensShading, green_grid, 12 + 4 * 1369) && AT(CcmLensShading, blue_grid, 12 + 8 * 1369) &&
                   AT(CcmLensShading, center_x, 12 + 12 * 1369) && AT(CcmLensShading, radial_tables, 20 + 12 * 1369),
               "CcmLensShading");
_Static_assert(sizeof(CcmToneCurves) == 32 && AT(CcmToneCurves, first_count, 8) && AT(CcmToneCurves, second, 16) &&
                   AT(CcmToneCurves, second_count, 24),
               "CcmToneCurves");
_Static_assert(sizeof(ClutCell) == 16 && AT(ClutCell, weight, 12), "ClutCell");
_Static_assert(sizeof(ClutSettings) == 20 && AT(ClutSettings, strength, 12) && AT(ClutSettings, radius, 16),
               "ClutSettings");

int main(void) {
    uint32_t samples[8 * 8];
    uint32_t* frame = samples;
    uint32_t offset[4] = {0, 0, 0, 0};
    float gain[4] = {0, 0, 0, 0};
    char version[32];
    for (size_t i = 0; i < sizeof samples / sizeof samples[0]; ++i) {
        samples[i] = 64;
    }
    if (cali_blc_calc(&frame, 8, 8, 3, &offset[0], &offset[1], &offset[2], &offset[3], &gain[0], &gain[1], &gain[2],
                      &gain[3], 1) != 0) {
        fprintf(stderr, "cali_blc_calc rejected a frame\n");
        return 1;
    }
    for (size_t c = 0; c < 4; ++c) {
        if (offset[c] != 64 || gain[c] != 4096.0F / 4032.0F) {
            fprintf(stderr, "channel %u: offset %u, gain %f\n", (unsigned)c, offset[c], (double)gain[c]);
            return 1;
        }
    }
    snprintf(version, sizeof version, "%d.%d.%d", CALI_VERSION_MAJOR, CALI_VERSION_MINOR, CALI_VERSION_PATCH);
    if (strcmp(version, CALI_VERSION_STRING) != 0) {
        fprintf(stderr, "version macros disagree: %s and %s\n", version, CALI_VERSION_STRING);
        return 1;
    }
    printf("libcali %s from C\n", version);
    return 0;
}
