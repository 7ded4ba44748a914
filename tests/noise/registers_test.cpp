#include <cmath>
#include <stdexcept>

#include "cali/cali.h"
#include "support/support.h"

namespace cali::test {
namespace {

using Pair = std::array<int32_t, 2>;

Pair fixed(float slope, float intercept, int32_t ref_level, const char* slope_format, const char* level_format) {
    Pair out = {-7, -7};
    EXPECT_EQ(
        cali_isp_np_float_to_fix_calc_v2(slope, intercept, ref_level, &out[0], &out[1], slope_format, level_format), 0);
    return out;
}

TEST(NoiseRegisters, AreTruncatedAndLimited) {
    EXPECT_EQ(fixed(3.99F, 2, 64, "U2.8", "U9.0"), (Pair{1021, 257}));   // 1021.4 and 257.4
    EXPECT_EQ(fixed(4, 255.9F, 64, "U2.8", "U9.0"), (Pair{1023, 511}));  // one above each range
    EXPECT_EQ(fixed(-0.1F, 6, 64, "U2.8", "U9.0"), (Pair{0, 0}));        // negative slope, 6 - 6.4
    EXPECT_EQ(fixed(5, 2, 64, "U2.8", "U8.1"), (Pair{1023, 322}));       // a level's bits count together
    EXPECT_EQ(fixed(1e9F, NAN, 1, "U4.8", "U8.0"), (Pair{0, 0}));        // what no int32 holds is its least
    EXPECT_EQ(fixed(0.5F, 0, 1, "x1.3", "?31.0"), (Pair{4, 0}));         // any letter
    EXPECT_EQ(fixed(5, 2, 64, ".8", "U.12"), (Pair{255, 322}));          // no integer bits
}

TEST(NoiseRegisters, MoveToOtherFormatsRounded) {
    const auto moved = [](const Pair& from, const char* new_slope_format, const char* new_level_format) {
        Pair out = {-7, -7};
        EXPECT_EQ(cali_isp_np_fix_to_fix_calc(from[0], from[1], "U4.8", "U8.0", new_slope_format, new_level_format,
                                              &out[0], &out[1]),
                  0);
        return out;
    };
    EXPECT_EQ(moved({21, 200}, "U4.10", "U8.0"), (Pair{84, 200}));
    EXPECT_EQ(moved({21, 200}, "U4.6", "U4.3"), (Pair{5, 127}));  // 5.25
    EXPECT_EQ(moved({22, -1}, "U4.6", "U8.0"), (Pair{6, 0}));     // 5.5
    EXPECT_EQ(moved({1023, 0}, "U1.8", "U8.0"), (Pair{511, 0}));
}

TEST(NoiseRegisters, AnEmptyFormatIsAnException) {
    Pair out = {-7, -7};
    const auto convert = [&](const char* slope_format, const char* level_format) {
        return cali_isp_np_float_to_fix_calc_v2(5, 2, 64, &out[0], &out[1], slope_format, level_format);
    };
    EXPECT_THROW((void)convert("", "U8.0"), std::out_of_range);
    EXPECT_THROW((void)convert("U2.8", ""), std::out_of_range);
    const CapturedWarnings warnings;
    EXPECT_EQ(convert("U2.8", "U12"), -1);
    EXPECT_EQ(convert(nullptr, "U12"), -1);
    EXPECT_EQ(warnings.texts().size(), 2U);
    EXPECT_EQ(out, (Pair{-7, -7}));
}

}  // namespace
}  // namespace cali::test
