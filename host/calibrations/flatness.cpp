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

BlockSums::BlockSums(const ConstRawFrame& frame, const Channels<uint32_t>& black)
    : pattern_(frame.pattern),
      cells_y_(frame.height / 2),
      rows_(block_count(kBlockRows, cells_y_)),
      black_(PerChannel<uint32_t>::from_red_first(black[kRR], black[kGR], black[kGB], black[kBB])) {
    const int cells_x = frame.width / 2;
    const int cols = block_count(kBlockCols, cells_x);
    for (int col = 0; col <= cols; ++col) {
        first_cell_.push_back((col * cells_x + cols - 1) / cols);
    }
    sum_.resize(static_cast<std::size_t>(cols) * static_cast<std::size_t>(rows_));
    cells_.resize(sum_.size());
}

void BlockSums::add_row(int y, const uint32_t* row) {
    if (y / 2 >= cells_y_) {
        return;  // the odd last one
    }
    const Channel even = bayer_channel(pattern_, static_cast<uint32_t>(y), 0);
    const Channel odd = bayer_channel(pattern_, static_cast<uint32_t>(y), 1);
    const std::size_t cols = first_cell_.size() - 1;
    std::size_t block = static_cast<std::size_t>(y / 2 * rows_ / cells_y_) * cols;
    for (std::size_t col = 0; col < cols; ++col, ++block) {
        const int cells = first_cell_[col + 1] - first_cell_[col];
        const uint32_t* const samples = row + 2 * static_cast<std::ptrdiff_t>(first_cell_[col]);
        uint64_t even_sum = 0;
        uint64_t odd_sum = 0;
        for (int cell = 0; cell < cells; ++cell) {
            even_sum += samples[2 * cell];
            odd_sum += samples[2 * cell + 1];
        }
        const auto add = [&](Channel channel, uint64_t sum) {
            sum_[block][colour_of(channel)] += static_cast<int64_t>(sum) - int64_t{black_[channel]} * cells;
        };
        add(even, even_sum);
        add(odd, odd_sum);
        cells_[block] += cells;
    }
}

BlockMeans BlockSums::means() const {
    BlockMeans means{static_cast<int>(first_cell_.size() - 1), rows_, {}};
    for (std::size_t block = 0; block < sum_.size(); ++block) {
        const double cells = static_cast<double>(cells_[block]) / 2;
        means.colour.push_back({static_cast<double>(sum_[block][0]) / cells,
                                static_cast<double>(sum_[block][1]) / (2 * cells),
                                static_cast<double>(sum_[block][2]) / cells});
    }
    return means;
}

BlockMeans block_means(const ConstRawFrame& frame, const Channels<uint32_t>& black) {
    BlockSums sums(frame, black);
    for (int y = 0; y < frame.height; ++y) {
        sums.add_row(y, frame.row(y));
    }
    return sums.means();
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
    result.blocks = means;
    return result;
}

}  // namespace cali::host
