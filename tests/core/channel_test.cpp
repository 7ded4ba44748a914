#include "core/channel.h"

#include "support/support.h"

namespace cali::test {
namespace {

TEST(ChannelOf, KnowsEveryMosaic) {
    // The 4 x 4 mosaics are one, moved by columns and, from pattern 12 on, by a row.
    constexpr std::array<std::array<uint32_t, 4>, 4> kMosaic = {
        {{16, 3, 16, 0}, {19, 17, 18, 17}, {16, 0, 16, 3}, {18, 17, 19, 17}}};
    constexpr std::array<uint32_t, 8> kMoved = {0, 1, 2, 3, 0, 1, 3, 2};
    for (uint32_t row = 0xFFFFFFF8U; row != 12; ++row) {
        for (uint32_t column = 0xFFFFFFF8U; column != 12; ++column) {
            for (uint32_t pattern = 0; pattern < 16; ++pattern) {
                const uint32_t expected =
                    pattern < 4   ? pattern ^ ((row & 1U) * 2 + (column & 1U))
                    : pattern < 8 ? (row % 4 == 0 ? 7 : 0)
                                  : kMosaic[(row + (pattern < 12 ? 0 : 3)) % 4][(column + kMoved[pattern - 8]) % 4];
                ASSERT_EQ(channel_of(row, column, static_cast<int32_t>(pattern)), expected)
                    << pattern << ": " << row << ", " << column;
                if (pattern < 4) {
                    ASSERT_EQ(bayer_channel(static_cast<int32_t>(pattern), row, column), expected);
                }
            }
        }
    }
}

}  // namespace
}  // namespace cali::test
