/// How even a capture of an evenly lit surface is, in numbers a person understands.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "captures/channels.h"
#include "core/frame.h"

namespace cali::host {

/// Mean signal above black in blocks of whole 2 x 2 cells, red, green, blue; the middle block lies at the centre.
struct BlockMeans {
    int cols = 0;
    int rows = 0;
    std::vector<std::array<double, 3>> colour;  ///< row-major

    [[nodiscard]] const std::array<double, 3>& at(int col, int row) const {
        return colour[static_cast<std::size_t>(row) * static_cast<std::size_t>(cols) + static_cast<std::size_t>(col)];
    }
    [[nodiscard]] const std::array<double, 3>& centre() const { return at(cols / 2, rows / 2); }
};

/// Sums of 17 x 13 blocks, fewer on tiny frames, a row at a time: a corrected frame need not exist whole.
class BlockSums {
public:
    /// Of `frame`, 2 x 2 or more, only the geometry counts.
    BlockSums(const ConstRawFrame& frame, const Channels<uint32_t>& black);

    /// Frame row `y`, once each.
    void add_row(int y, const uint32_t* row);
    [[nodiscard]] BlockMeans means() const;

private:
    int pattern_;
    int cells_y_;
    int rows_;
    PerChannel<uint32_t> black_;
    std::vector<int> first_cell_;              ///< of each column of blocks, and the end of the last
    std::vector<std::array<int64_t, 3>> sum_;  ///< above black
    std::vector<int64_t> cells_;               ///< in half rows
};

[[nodiscard]] BlockMeans block_means(const ConstRawFrame& frame, const Channels<uint32_t>& black);

/// Shares of the centre's value: 0.01 is one percent.
struct Flatness {
    double corner_to_centre = 0;    ///< green of the darkest corner over green of the centre
    double luminance_rms = 0;       ///< root mean square of the blocks' differences from the centre's green
    double worst_luminance = 0;     ///< largest difference of a block's green from the centre's
    double worst_colour_shift = 0;  ///< largest difference of a block's R/G or B/G from the centre's
    BlockMeans blocks = {};         ///< that it was measured on
};

[[nodiscard]] Flatness measure_flatness(const BlockMeans& means);

}  // namespace cali::host
