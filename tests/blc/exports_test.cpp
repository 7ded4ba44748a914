#include "support/export_calls.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, BlackLevel) {
    expect_recorded("blc.all", 1000, [](Random& random, int turn, Digest& digest) {
        const int32_t width = random.within(1, 30);
        const int32_t height = random.within(1, 30);
        // Medians around both bounds, and samples past every histogram.
        const uint32_t low = pick(random, std::array<uint32_t, 4>{0, 60, 790, 4000});
        const uint32_t spread = pick(random, std::array<uint32_t, 4>{1, 10, 300, 70000});
        const auto blocks = static_cast<uint32_t>(random.within(1, std::min(width, height)));
        const auto count = static_cast<std::size_t>(width * height);
        BlcCall call({random_samples(random, count, low, low + spread), width, height, turn % 4}, blocks);
        call.is_12bit = turn % 3 - 1;
        module_state().debug.blc_report = turn % 5 == 0;
        digest << call.median() << call.offsets << call.gains;
        call.width += static_cast<uint32_t>(turn % 3) * 65536;  // the mean counts in 16 bits
        digest << call.mean() << call.offsets << call.gains;
        call.width %= 65536;
        digest << call.deviation() << call.offsets << call.gains << call.local() << call.block_offsets;
        digest << call.get_histogram() << call.histograms << call.verify() << call.state();
        digest.take_files();
    });
}

}  // namespace
}  // namespace cali::test
