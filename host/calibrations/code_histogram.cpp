#include "calibrations/code_histogram.h"

#include <algorithm>

namespace cali::host {

CodeHistogram::CodeHistogram(const ConstRawFrame& frame) : counts_(std::make_unique<Channels<Counts>>()) {
    // Dark frames hold few codes: hits on one counter would wait for each other, so that neighbours have tables of
    // their own.
    constexpr int kTables = 4;
    const auto tables = std::make_unique<std::array<Counts, kTables>>();
    const auto table = [&](int x) -> Counts& { return (*tables)[static_cast<std::size_t>(x % kTables)]; };
    for (int first = 0; first < std::min(frame.height, 2); ++first) {
        for (Counts& counts : *tables) {
            counts.fill(0);
        }
        for (int y = first; y < frame.height; y += 2) {
            const uint32_t* const row = frame.row(y);
            int x = 0;
            for (; x + kTables <= frame.width; x += kTables) {
                for (int i = 0; i < kTables; ++i) {
                    ++table(i)[std::min(row[x + i], kLibraryFullScale)];
                }
            }
            for (; x < frame.width; ++x) {
                ++table(x)[std::min(row[x], kLibraryFullScale)];
            }
        }
        for (int x = 0; x < kTables; ++x) {
            const Channel channel =
                bayer_channel(frame.pattern, static_cast<uint32_t>(first), static_cast<uint32_t>(x));
            std::ranges::transform((*counts_)[index_of(channel)], table(x), (*counts_)[index_of(channel)].begin(),
                                   std::plus<uint32_t>());
        }
    }
}

}  // namespace cali::host
