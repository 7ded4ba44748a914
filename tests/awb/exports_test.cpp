#include <limits>

#include "support/export_calls.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

AwbCall random_call(Random& random, int turn) {
    // Now and then sums above 2^26, whose additions round.
    const int most = turn % 100 == 99 ? 330 : 40;
    const int least = turn % 100 == 99 ? 250 : 1;
    const int32_t width = random.within(least, most);
    const int32_t height = random.within(least, most);
    const int cols = random.within(3, 15);
    const int rows = random.within(3, 15);
    const uint32_t high = pick(random, std::array<uint32_t, 4>{600, 2500, 4095, 0xFFFFFFFFU});
    return {random_frame(random, width, height, turn % 4, high), plausible_grids(random, cols, rows)};
}

TEST(RecordedCalls, WhiteBalanceGains) {
    constexpr std::array kFar = {
        0, 4, -2, -90, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()};
    expect_recorded("awb.calc", 1000, [&](Random& random, int turn, Digest& digest) {
        AwbCall call = random_call(random, turn);
        const auto x = random.within(-1, call.input.width);
        const auto y = random.within(-1, call.input.height);
        std::array<int32_t, 4> window = {x, y, random.within(-1, call.input.width - x),
                                         random.within(-1, call.input.height - y)};
        if (turn % 5 == 0) {
            window[random() % 4] = pick(random, kFar);
            window[random() % 4] = pick(random, kFar);
        }
        digest << cali_awb_setROI(window[0], window[1], window[2], window[3]) << call.calc() << call.state();
    });
}

TEST(RecordedCalls, WhiteBalanceCheck) {
    expect_recorded("awb.verify", 1000, [](Random& random, int turn, Digest& digest) {
        AwbCall call = random_call(random, turn);
        call.applied_gains = {pick(random, std::array<uint16_t, 4>{0, 1024, 1700, 65535}), 0,
                              pick(random, std::array<uint16_t, 4>{0, 1023, 2999, 16383})};
        module_state().debug.awb_dump = turn % 10 == 0;
        call.output_pointer = turn % 7 == 0 ? call.input_pointer : call.output_pointer;
        digest << call.verify() << call.state();
        digest.take_files();
    });
}

}  // namespace
}  // namespace cali::test
