#include "calibrations/flatness.h"

#include <algorithm>
#include <cmath>

#include "core/channel.h"

namespace cali::host {
namespace {

constexpr int kBlockCols = 17;
constexpr int kBlockRows = 13;

/// Odd, so that a block lies at the centre.
int block_count(int wanted, int cells) {
    const int count = std::min(wanted, cells);
    return count % 2 == 0 ? count - 1 : count;
}

}  // namespace

BlockMeans block_means(const ConstRawFrame& frame, const Channels<uint32_t>& black) {
    const PerChannel<uint32_t> offset =
        PerChannel<uint32_t>::from_red_first(black[kRR], black[kGR], black[kGB], black[kBB]);
    const int cells_x = frame.width / 2;
    const int cells_y = frame.height / 2;
    BlockMeans means{block_count(kBlockCols, cells_x), block_count(kBlockRows, cells_y), {}};
    means.colour.resize(static_cast<std::size_t>(means.cols) * static_cast<std::size_t>(means.rows));
    std::vector<double> cells(means.colour.size());
    for (int y = 0; y < cells_y * 2; ++y) {
        const std::size_t block_row =
            static_cast<std::size_t>(y / 2 * means.rows / cells_y) * static_cast<std::size_t>(means.cols);
        const uint32_t* const row = frame.row(y);
        for (int x = 0; x < cells_x * 2; ++x) {
            const Channel channel = bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const std::size_t block = block_row + static_cast<std::size_t>(x / 2 * means.cols / cells_x);
            means.colour[block][colour_of(channel)] +=
                static_cast<double>(row[x]) - static_cast<double>(offset[channel]);
            cells[block] += 0.25;
        }
    }
    for (std::size_t block = 0; block < cells.size(); ++block) {
        means.colour[block][0] /= cells[block];
        means.colour[block][1] /= 2 * cells[block];
        means.colour[block][2] /= cells[block];
    }
    return means;
}

Flatness measure_flatness(const BlockMeans& means) {
    const auto& centre = means.centre();
    const int last_col = means.cols - 1;
    const int last_row = means.rows - 1;
    Flatness result;
    result.corner_to_centre = std::min({means.at(0, 0)[1], means.at(last_col, 0)[1], means.at(0, last_row)[1],
                                        means.at(last_col, last_row)[1]}) /
                              centre[1];
    double squares = 0;
    for (const auto& block : means.colour) {
        const double difference = block[1] / centre[1] - 1;
        squares += difference * difference;
        result.worst_luminance = std::max(result.worst_luminance, std::abs(difference));
        for (const std::size_t colour : {0U, 2U}) {
            const double shift = block[colour] / block[1] / (centre[colour] / centre[1]) - 1;
            result.worst_colour_shift = std::max(result.worst_colour_shift, std::abs(shift));
        }
    }
    result.luminance_rms = std::sqrt(squares / static_cast<double>(means.colour.size()));
    return result;
}

}  // namespace cali::host
