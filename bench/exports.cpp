#include <array>

#include "cali/cali.h"
#include "workload.h"

namespace cali::bench {
namespace {

struct BlackLevelResult {
    std::array<uint32_t, 4> offset{};
    std::array<float, 4> gain{};
};

}  // namespace

void register_exports() {
    Workload& load = Workload::get();
    static BlackLevelResult out;
    static uint32_t* scene = load.scene.data();
    static uint32_t* dark = load.dark.data();
    static uint32_t* work = load.work.data();
    static uint32_t* result = load.result.data();

    measure("cali_awb_calc, whole frame", {6.0, 0}, [&load] {
        static uint16_t gains[3];
        cali_awb_setROI(0, 0, kWidth - 2, kHeight - 2);
        cali_awb_calc(&scene, kWidth, kHeight, kPattern, kGridCols, kGridRows, load.red_grid.data(),
                      load.green_grid.data(), load.blue_grid.data(), 60, 60, 60, 60, 1.01F, 1.01F, 1.01F, 1.01F,
                      &gains[0], &gains[1], &gains[2]);
    });
    measure("cali_awb_verify", {}, [&load] {
        cali_awb_verify(&work, kWidth, kHeight, kPattern, kGridCols, kGridRows, load.red_grid.data(),
                        load.green_grid.data(), load.blue_grid.data(), 60, 60, 60, 60, 1.01F, 1.01F, 1.01F, 1.01F, 1900,
                        1024, 1500, &result);
    });
    measure("cali_blc_calc_by_median", {}, [] {
        cali_blc_calc_by_median(&dark, kWidth, kHeight, kPattern, &out.offset[3], &out.offset[2], &out.offset[1],
                                &out.offset[0], &out.gain[3], &out.gain[2], &out.gain[1], &out.gain[0]);
    });
    measure("cali_blc_calc_by_mean", {3.0, 3.0}, [] {
        cali_blc_calc_by_mean(&dark, kWidth, kHeight, kPattern, &out.offset[3], &out.offset[2], &out.offset[1],
                              &out.offset[0], &out.gain[3], &out.gain[2], &out.gain[1], &out.gain[0]);
    });
    measure("cali_blc_calc", {}, [] {
        cali_blc_calc(&dark, kWidth, kHeight, kPattern, &out.offset[3], &out.offset[2], &out.offset[1], &out.offset[0],
                      &out.gain[3], &out.gain[2], &out.gain[1], &out.gain[0], 1);
    });
    measure("cali_blc_calc_by_localblc, 16 blocks", {}, [] {
        static std::array<uint32_t, 64> blocks[4];
        cali_blc_calc_by_localblc(&dark, kWidth, kHeight, kPattern, blocks[3].data(), blocks[2].data(),
                                  blocks[1].data(), blocks[0].data(), nullptr, nullptr, nullptr, nullptr, 16);
    });
    measure("cali_blc_get_histogram", {}, [] {
        static std::array<uint32_t, 4096> histograms[4];
        cali_blc_get_histogram(&dark, kWidth, kHeight, kPattern, histograms[3].data(), histograms[2].data(),
                               histograms[1].data(), histograms[0].data());
    });
    measure("cali_blc_verify", {}, [] {
        cali_blc_verify(&scene, kWidth, kHeight, kPattern, 60, 60, 60, 60, 1.01F, 1.01F, 1.01F, 1.01F, &result);
    });
}

}  // namespace cali::bench
