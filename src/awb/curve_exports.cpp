#include <algorithm>
#include <cstdio>
#include <span>

#include "awb/curve.h"
#include "boundary/export_call.h"
#include "boundary/module_state.h"
#include "cali/cali.h"

using namespace cali;

namespace {

constexpr int kMostWeight = 511;

void print_pack(const SCT_RB_CLBT_PACK& pack) {
    std::printf("out[3~5]:\t%d\t%d\t%d\n", static_cast<int32_t>(pack.word[0]), static_cast<int32_t>(pack.word[1]),
                static_cast<int32_t>(pack.word[2]));
    for (const uint32_t word : pack.word) {
        for (uint32_t shift = 0; shift < 32; shift += 8) {
            std::printf("%d\n", static_cast<int>((word >> shift) & 0xFFU));
        }
    }
}

}  // namespace

int32_t cali_awb_BuildCurve(float norm_a, float norm_b, const float* ratio_a, const float* ratio_b, const float* temp_k,
                            const uint8_t* weight, uint8_t count, AwbCurveRecord* record) {
    return run_export([&] {
        if (count > awb::kMostLights) {
            warn(Family::wb, "Amount is Over");
            return kRejected;
        }
        ArgumentCheck check(Family::wb, "cali_awb_BuildCurve");
        if (count != 0) {
            check.pointer("ratio_a", ratio_a);
            check.pointer("ratio_b", ratio_b);
            check.pointer("temp_k", temp_k);
            check.pointer("weight", weight);
        }
        check.pointer("record", record);
        if (!check.ok()) {
            return kRejected;
        }
        std::array<awb::LightSource, awb::kMostLights> lights{};
        int total = 0;
        for (std::size_t i = 0; i < count; ++i) {
            lights[i] = {ratio_a[i], ratio_b[i], temp_k[i], weight[i]};
            if (temp_k[i] == 0) {
                warn(Family::wb, "TempK is 0");
                return kRejected;
            }
            total += weight[i];
        }
        if (total > kMostWeight) {
            warn(Family::wb, "Total Weight is too big");
            return kRejected;
        }
        const std::span<const awb::LightSource> given(lights.data(), count);
        const auto words = awb::pack_lights(given);
        SCT_RB_CLBT_PACK pack{};
        std::ranges::copy(words, pack.word);
        print_pack(pack);
        const AwbCurve curve = awb::fit_curve(norm_a, norm_b, given);
        *record = {curve.a, curve.b, curve.c, pack};
        module_state().awb_curve = curve;
        return kOk;
    });
}

int32_t cali_awb_getCurve(float* table, const float* ref_a, const float* ref_b) {
    return run_export([&] {
        ArgumentCheck check(Family::wb, "cali_awb_getCurve");
        check.pointer("table", table);
        check.pointer("ref_a", ref_a);
        check.pointer("ref_b", ref_b);
        if (!check.ok()) {
            return kRejected;
        }
        awb::sample_curve(module_state().awb_curve, ref_a[1], ref_b[1],
                          std::span<float, awb::kCurveSamples>(table, awb::kCurveSamples));
        return kOk;
    });
}
