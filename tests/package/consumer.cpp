// A project that knows libcali only as installed.

#include <cali/cali.h>

#include <cstdio>
#include <vector>

int main() {
    std::vector<uint32_t> samples(16, 100);
    uint32_t* frame = samples.data();
    std::vector<uint32_t> corrected(16);
    uint32_t* output = corrected.data();
    const int32_t status = cali_blc_verify(&frame, 4, 4, 0, 64, 64, 64, 64, 1.5F, 1.5F, 1.5F, 1.5F, &output);
    if (status != 0 || corrected != std::vector<uint32_t>(16, 54)) {
        std::fprintf(stderr, "status %d, first sample %u\n", status, corrected[0]);
        return 1;
    }

    // The owner type of C++ hosts: an export that takes a list by value releases it, the frames stay.
    const cali::LevelListOwner levels({{frame}, {frame, frame}});
    const LevelList list = levels.copy();
    if (list.count != 2 || list.levels[1].nframes != 2 || levels.get()->levels[0].frames[0] != frame) {
        std::fprintf(stderr, "the level list is wrong\n");
        return 1;
    }
    float statistic = 0;
    float* channel = &statistic;
    (void)cali_isp_roi_mean_std_calc(list, 4, 4, 0, 1, 1, &channel, &channel);
    std::printf("libcali %s\n", CALI_VERSION_STRING);
    return 0;
}
