/* The library of the Windows wheel, where there is no Python to load it: warnings and printed text reach the host, and
   nothing else does. Argument: the library. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>

static char warned[200];
static char printed[20000];
static char errors[2000];

static void on_warning(const char* caption, const char* text) {
    snprintf(warned, sizeof warned, "%s: %s", caption, text);
}

static void on_print(int32_t is_error, const char* text, uint64_t length) {
    strncat(is_error ? errors : printed, text, (size_t)length);
}

static int expect(const char* what, int holds) {
    if (!holds) {
        printf("%s: warned \"%s\", printed \"%.300s\", errors \"%s\"\n", what, warned, printed, errors);
    }
    return holds ? 0 : 1;
}

int main(int argc, char** argv) {
    HMODULE library = LoadLibraryA(argc > 1 ? argv[1] : "");
    if (library == NULL) {
        printf("the library is not loaded\n");
        return 1;
    }
    void (*listen)(void (*)(const char*, const char*), void (*)(int32_t, const char*, uint64_t)) =
        (void (*)(void (*)(const char*, const char*), void (*)(int32_t, const char*, uint64_t)))GetProcAddress(
            library, "cali_python_listen");
    int32_t (*by_mean)(uint32_t**, uint32_t, uint32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, float*,
                       float*, float*, float*) =
        (int32_t(*)(uint32_t**, uint32_t, uint32_t, int32_t, uint32_t*, uint32_t*, uint32_t*, uint32_t*, float*, float*,
                    float*, float*))GetProcAddress(library, "cali_blc_calc_by_mean");
    int32_t (*ccm)(const int32_t* const*, const void*, int32_t, uint32_t, uint32_t, int32_t, float, const float*,
                   float*, int32_t*) =
        (int32_t(*)(const int32_t* const*, const void*, int32_t, uint32_t, uint32_t, int32_t, float, const float*,
                    float*, int32_t*))GetProcAddress(library, "cali_ccm_calc");
    if (listen == NULL || by_mean == NULL || ccm == NULL) {
        printf("an export is missing\n");
        return 1;
    }
    uint32_t samples[4] = {64, 66, 65, 63};
    uint32_t* frame = samples;
    uint32_t offset[4];
    float gain[4];
    int bad = 0;
    listen(on_warning, on_print);
    int32_t status = by_mean(&frame, 2, 2, 3, &offset[0], &offset[1], &offset[2], &offset[3], &gain[0], &gain[1],
                             &gain[2], &gain[3]);
    listen(NULL, NULL);
    bad += expect("mean", status == 0 && offset[0] == 64 && offset[1] == 66 && offset[2] == 65 && offset[3] == 63);
    bad += expect("printed text", strcmp(printed, "blc result=0\n") == 0 && errors[0] == 0 && warned[0] == 0);
    listen(on_warning, on_print);
    status = by_mean(&frame, 2, 2, 9, &offset[0], &offset[1], &offset[2], &offset[3], &gain[0], &gain[1], &gain[2],
                     &gain[3]);
    listen(NULL, NULL);
    bad +=
        expect("rejection", status == -1 && strcmp(warned,
                                                   "BLC Calib Warning: cali_blc_calc_by_mean: pattern is 9, expected 0 "
                                                   "to 3") == 0);
    const int32_t black[3] = {0, 0, 0};
    const int32_t* patch = black;
    const float weight = 1;
    float matrix[9];
    int32_t q10[9];
    listen(on_warning, on_print);
    status = ccm(&patch, NULL, 1, 1, 1, 3, 1, &weight, matrix, q10);
    listen(NULL, NULL);
    bad += expect("standard error", status == 0 && strstr(errors, "determinant is equal 0") != NULL);
    printf(bad == 0 ? "load_library: as expected\n" : "load_library: failed\n");
    return bad;
}
