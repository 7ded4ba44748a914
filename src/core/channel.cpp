#include "core/channel.h"

namespace cali {
namespace {

constexpr int kMosaics = 20;
constexpr int kMosaicEntries = 16;

constexpr uint8_t kMosaicTable[kMosaics][kMosaicEntries] = {
    {0, 1, 2, 3},
    {1, 0, 3, 2},
    {2, 3, 0, 1},
    {3, 2, 1, 0},
    {7, 7, 7, 7},
    {7, 7, 7, 7},
    {7, 7, 7, 7},
    {7, 7, 7, 7},
    {16, 3, 16, 0, 19, 17, 18, 17, 16, 0, 16, 3, 18, 17, 19, 17},
    {3, 16, 0, 16, 17, 18, 17, 19, 0, 16, 3, 16, 17, 19, 17, 18},
    {16, 0, 16, 3, 18, 17, 19, 17, 16, 3, 16, 0, 19, 17, 18, 17},
    {0, 16, 3, 16, 17, 19, 17, 18, 3, 16, 0, 16, 17, 18, 17, 19},
    {18, 17, 19, 17, 16, 3, 16, 0, 19, 17, 18, 17, 16, 0, 16, 3},
    {17, 19, 17, 18, 3, 16, 0, 16, 17, 18, 17, 19, 0, 16, 3, 16},
    {17, 18, 17, 19, 0, 16, 3, 16, 17, 19, 17, 18, 3, 16, 0, 16},
    {19, 17, 18, 17, 16, 0, 16, 3, 18, 17, 19, 17, 16, 3, 16, 0},
    {},
    {},
    {},
    {},
};

}  // namespace

uint32_t channel_of(uint32_t row, uint32_t column, int32_t pattern) {
    const uint32_t entry = pattern < kBayerPatterns ? (row & 1U) * 2 + (column & 1U) : (row & 3U) * 4 + (column & 3U);
    return kMosaicTable[pattern][entry];
}

}  // namespace cali
