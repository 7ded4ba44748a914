#include <array>
#include <cstring>

#include "cali/cali.h"
#include "noise/profile.h"
#include "workload.h"

namespace cali::bench {
namespace {

constexpr std::size_t kLevels = 8;
constexpr std::size_t kFrames = 4;
constexpr std::size_t kFrameSize = std::size_t{kWidth} * kHeight;

/// 8 levels of 4 frames, made when first asked for: 1.5 GB.
struct NoiseSeries {
    std::vector<uint32_t> samples = std::vector<uint32_t>(kLevels * kFrames * kFrameSize);
    std::vector<uint32_t> copy = std::vector<uint32_t>(kFrameSize);
    std::array<std::array<uint32_t*, kFrames>, kLevels> frames{};
    std::array<Level, kLevels> levels{};
    LevelList list{};

    NoiseSeries() {
        const Workload& load = Workload::get();
        for (std::size_t k = 0; k < kLevels; ++k) {
            for (std::size_t j = 0; j < kFrames; ++j) {
                uint32_t* const frame = samples.data() + (k * kFrames + j) * kFrameSize;
                for (std::size_t i = 0; i < kFrameSize; ++i) {
                    frame[i] = static_cast<uint32_t>(300 + 400 * k) + load.dark[(i + 977 * j) % kFrameSize];
                }
                frames[k][j] = frame;
            }
            levels[k] = {frames[k].data(), kFrames};
        }
        list = {levels.data(), kLevels, nullptr, nullptr};
    }

    static NoiseSeries& get() {
        static NoiseSeries series;
        return series;
    }

    [[nodiscard]] noise::Series view() const { return {levels.data(), kLevels, kFrames, kWidth, kHeight}; }
};

}  // namespace

void register_noise() {
    measure(kSeriesCopyName, {}, [] {
        NoiseSeries& series = NoiseSeries::get();
        for (std::size_t f = 0; f < kLevels * kFrames; ++f) {
            std::memcpy(series.copy.data(), series.samples.data() + f * kFrameSize, kFrameSize * sizeof(uint32_t));
        }
    });
    measure("series: mean and deviation", {2.1, 3.0}, [] {
        static std::array<std::array<float, kLevels>, 8> values{};
        static std::array<float*, 4> means = {values[0].data(), values[1].data(), values[2].data(), values[3].data()};
        static std::array<float*, 4> spreads = {values[4].data(), values[5].data(), values[6].data(), values[7].data()};
        noise::measure_series(NoiseSeries::get().view(), noise::Spread::deviation, means, spreads);
    });
    measure("series: black subtraction", {1.3, 2.0}, [] {
        noise::subtract_black(NoiseSeries::get().view(), kPattern, {0, 0, 0});
    });
    measure("series: cali_isp_np_float_calc", {4.5, 0}, [] {
        static std::array<uint32_t, 8> out{};
        cali_isp_np_float_calc(&NoiseSeries::get().list, kWidth, kHeight, kLevels, kFrames, kPattern, 0, 0, 0, 0,
                               &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7]);
    });
}

}  // namespace cali::bench
