/* A call through the shared library from C11. */
#include <cali/cali.h>
#include <stdio.h>
#include <string.h>

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
