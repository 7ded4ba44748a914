/* cali.dll from a C program that is built without it: black levels of a dark frame, and means of a brightness series
   whose list the library releases. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#include "cali/cali.h" /* records and types alone; nothing is linked */

enum { kSide = 16, kFrames = 2, kPositions = 4 };

typedef int32_t (*Median)(uint32_t**, uint32_t, uint32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, float*,
                          float*, float*, float*);
typedef int32_t (*MeanStd)(LevelList, uint32_t, uint32_t, int32_t, int32_t, int32_t, float**, float**);

static int released = 0;

/* By this program's runtime, which made the list. The frames stay. */
static void release(LevelList* list) {
    for (uint32_t i = 0; i < list->count; ++i) {
        free(list->levels[i].frames);
    }
    free(list->levels);
    ++released;
}

int main(void) {
    SetEnvironmentVariableA("CALI_WARNINGS", "stderr"); /* lines in place of message boxes */
    const HMODULE library = LoadLibraryA("cali.dll");
    if (library == NULL) {
        fprintf(stderr, "cali.dll cannot be loaded: error %lu\n", (unsigned long)GetLastError());
        return 1;
    }
    const Median median = (Median)GetProcAddress(library, "cali_blc_calc_by_median");
    const MeanStd mean_std = (MeanStd)GetProcAddress(library, "cali_isp_roi_mean_std_calc");

    static uint32_t samples[kSide * kSide];
    uint32_t* frame = samples;
    for (uint32_t i = 0; i < kSide * kSide; ++i) {
        samples[i] = 64 + i % 2 + 2 * (i / kSide % 2);
    }
    uint32_t offset[4];
    float gain[4];
    if (median(&frame, kSide, kSide, 3, &offset[0], &offset[1], &offset[2], &offset[3], &gain[0], &gain[1], &gain[2],
               &gain[3]) != 0) {
        return 1;
    }
    printf("black level %u %u %u %u\n", offset[0], offset[1], offset[2], offset[3]);

    LevelList list = {malloc(sizeof(Level)), 1, release, NULL};
    list.levels[0].frames = malloc(kFrames * sizeof(uint32_t*));
    list.levels[0].nframes = kFrames;
    for (int i = 0; i < kFrames; ++i) {
        list.levels[0].frames[i] = samples;
    }
    float mean[kPositions];
    float deviation[kPositions];
    float* means[kPositions] = {&mean[0], &mean[1], &mean[2], &mean[3]};
    float* deviations[kPositions] = {&deviation[0], &deviation[1], &deviation[2], &deviation[3]};
    if (mean_std(list, kSide, kSide, 1, kPositions, kFrames, means, deviations) != 0) {
        return 1;
    }
    printf("means %.0f %.0f %.0f %.0f, released %d\n", (double)mean[0], (double)mean[1], (double)mean[2],
           (double)mean[3], released);
    return 0;
}
