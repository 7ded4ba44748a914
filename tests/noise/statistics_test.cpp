#include "noise/statistics.h"

#include <algorithm>
#include <cmath>

#include "support/export_calls.h"

namespace cali::test {
namespace {

/// By cell position, then level. The spread is the deviation, or the variance.
struct Plain {
    std::vector<std::vector<float>> mean, spread;
};

Plain plain_statistics(const SeriesCall& call, std::size_t positions, bool root) {
    Plain plain;
    plain.mean.assign(positions, std::vector<float>(call.series.size()));
    plain.spread = plain.mean;
    for (std::size_t k = 0; k < call.series.size(); ++k) {
        const auto for_each_sample = [&](const auto& visit) {
            for (const reference::Samples& frame : call.series[k]) {
                for (std::size_t i = 0; i < frame.size(); ++i) {
                    visit(i % call.width % 2 + i / call.width % 2 * 2, static_cast<float>(frame[i]));
                }
            }
        };
        const std::size_t n = call.width * call.height * call.series[k].size() / positions;
        for_each_sample([&](std::size_t c, float sample) { plain.mean[c][k] += sample; });
        for (auto& mean : plain.mean) {
            mean[k] /= static_cast<float>(n);
        }
        for_each_sample([&](std::size_t c, float sample) {
            const float deviation = sample - plain.mean[c][k];
            plain.spread[c][k] += deviation * deviation;
        });
        for (auto& spread : plain.spread) {
            spread[k] /= static_cast<float>(static_cast<int64_t>(n) - 1);
            spread[k] = root ? std::sqrt(spread[k]) : spread[k];
        }
    }
    return plain;
}

TEST(NoiseStatistics, MatchThePlainSums) {
    Random random(100);
    for (int turn = 0; turn < 150; ++turn) {
        // The last ones are large enough that every addition rounds.
        const bool large = turn >= 140;
        const auto width = static_cast<uint32_t>(large ? random.within(300, 308) : random.within(1, 40));
        const auto height = static_cast<uint32_t>(large ? 240 : random.within(1, 20));
        const SampleKind kind = large ? SampleKind::codes : pick(random, kSampleKinds);
        SeriesCall::Series series(static_cast<std::size_t>(random.within(1, 9)),
                                  std::vector<reference::Samples>(static_cast<std::size_t>(random.within(1, 3))));
        for (auto& level : series) {
            for (auto& frame : level) {
                frame = samples_of_kind(random, kind, std::size_t{width} * height);
            }
        }
        const std::size_t positions = turn % 7 == 0 ? 6 : 4;
        SCOPED_TRACE(::testing::Message() << width << " x " << height << ", turn " << turn);
        SeriesCall call(std::move(series), width, height);
        const Plain plain = plain_statistics(call, positions, turn % 2 == 0);
        ASSERT_EQ(call.measure(turn % 2 == 0 ? cali_isp_roi_mean_std_calc : cali_isp_roi_mean_var_calc, positions), 0);
        for (std::size_t c = 0; c < positions; ++c) {
            ASSERT_TRUE(same_bits(plain.mean[c], call.means[c])) << c;
            ASSERT_TRUE(same_bits(plain.spread[c], call.spreads[c])) << c;
        }
    }
}

}  // namespace
}  // namespace cali::test
