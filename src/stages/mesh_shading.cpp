#include "stages/mesh_shading.h"

#include <algorithm>

#include "core/arithmetic.h"
#include "kernels/row_kernels.h"
#include "kernels/sample_math.h"

namespace cali {
namespace {

constexpr uint32_t kPhases = 64;
constexpr uint32_t kOriginMask = 0x3FFFFF;
constexpr int32_t kSumLimit = 0x3FFFFFF;

using Taps = std::array<int16_t, 4>;

/// Interpolation filter, 12 fractional bits; phase 64 - p is phase p reversed.
constexpr std::array<Taps, kPhases / 2 + 1> kHalfFilter = {{
    {679, 2725, 679, 10},   {650, 2723, 709, 11},  {621, 2720, 739, 12},   {594, 2715, 771, 13},
    {567, 2708, 803, 14},   {541, 2700, 836, 16},  {517, 2690, 870, 17},   {492, 2678, 904, 19},
    {469, 2664, 940, 20},   {446, 2649, 976, 22},  {425, 2632, 1013, 24},  {404, 2613, 1050, 26},
    {384, 2593, 1088, 28},  {364, 2571, 1127, 30}, {346, 2548, 1166, 33},  {328, 2524, 1206, 35},
    {311, 2497, 1247, 38},  {294, 2470, 1288, 41}, {278, 2441, 1329, 45},  {263, 2411, 1371, 48},
    {249, 2379, 1413, 52},  {235, 2347, 1456, 56}, {222, 2313, 1498, 60},  {209, 2278, 1541, 64},
    {197, 2242, 1585, 69},  {185, 2206, 1628, 74}, {174, 2168, 1671, 80},  {164, 2130, 1714, 85},
    {154, 2090, 1757, 91},  {145, 2050, 1800, 98}, {136, 2010, 1843, 105}, {127, 1969, 1885, 112},
    {119, 1927, 1927, 119},
}};

constexpr std::array<Taps, kPhases> make_filter() {
    std::array<Taps, kPhases> filter{};
    for (std::size_t p = 0; p < kPhases; ++p) {
        filter[p] = kHalfFilter[p < kHalfFilter.size() ? p : kPhases - p];
        if (p >= kHalfFilter.size()) {
            std::reverse(filter[p].begin(), filter[p].end());
        }
    }
    return filter;
}

constexpr std::array<Taps, kPhases> kFilter = make_filter();

constexpr int32_t largest_tap_sum() {
    int32_t largest = 0;
    for (const Taps& taps : kFilter) {
        largest = std::max(largest, taps[0] + taps[1] + taps[2] + taps[3]);
    }
    return largest;
}

/// Interpolated gains end at 16384, so that the vertical sum stays below the clamp.
static_assert(int64_t{16384} * largest_tap_sum() < kSumLimit, "the row kernel leaves out the clamp");
static_assert(int64_t{INT16_MAX} * largest_tap_sum() <= INT32_MAX);

const int16_t* phase_taps(int32_t position) { return kFilter[(static_cast<uint32_t>(position) >> 9U) & 63U].data(); }

int32_t round_gain(int32_t sum) { return wrap_add(std::min(sum, kSumLimit), 2048) >> 12; }

GridPlacement block_placement(int32_t nodes, int32_t size) {
    GridPlacement placement = place_grid(nodes, size);
    placement.origin = static_cast<int32_t>(static_cast<uint32_t>(placement.origin) & kOriginMask);
    return placement;
}

}  // namespace

MeshShading::MeshShading(int32_t width, int32_t height, int32_t pattern, const MeshGrids& grids)
    : pattern_(pattern),
      rows_(grids.rows),
      stride_(static_cast<std::size_t>(grids.cols) + 3),
      horizontal_(block_placement(grids.cols, width)),
      vertical_(block_placement(grids.rows, height)) {
    fill_grids(grids);
    set_columns(0, width);
}

void MeshShading::set_columns(int32_t first_column, int32_t count) {
    first_column_ = static_cast<uint32_t>(first_column);
    count_ = static_cast<std::size_t>(count);
    columns_ = Scratch<ColumnFilter>(count_);
    for (std::size_t c = 0; c < count_; ++c) {
        const int32_t x = horizontal_.step * (first_column + static_cast<int32_t>(c)) + horizontal_.origin;
        columns_[c] = {static_cast<uint32_t>(x / kNodeDistance), phase_taps(x)};
    }
    if (nodes_fit_16_bits_) {
        for (GainRows& rows : gain_rows_) {
            rows = {Scratch<int16_t>(2 * count_), Scratch<int16_t>(2 * count_)};
        }
    }
}

void MeshShading::fill_grids(const MeshGrids& grids) {
    const auto nodes = static_cast<std::size_t>(grids.cols) * static_cast<std::size_t>(grids.rows);
    const std::array<const uint32_t*, 3> sources = {grids.red, grids.green, grids.blue};
    for (std::size_t g = 0; g < sources.size(); ++g) {
        const auto node = [&](std::size_t n) {
            // Past its end a grid repeats its last row.
            const std::size_t source = n < nodes ? n
                                                 : nodes - static_cast<std::size_t>(grids.cols) +
                                                       (n - nodes) % static_cast<std::size_t>(grids.cols);
            const auto green = static_cast<int32_t>(grids.green[source]);
            if (g == 1) {
                return green;
            }
            return wrap_add(wrap_mul(static_cast<int32_t>(sources[g][source]), green), 256) >> 9;
        };
        const auto rows = static_cast<std::size_t>(rows_) + 1;
        grids_[g] = Scratch<int32_t>(rows * stride_);
        for (std::size_t j = 0; j < rows; ++j) {
            for (std::size_t k = 0; k < stride_; ++k) {
                const int32_t column = std::clamp(static_cast<int32_t>(k) - 1, 0, grids.cols);
                grids_[g][j * stride_ + k] =
                    node(j * static_cast<std::size_t>(grids.cols) + static_cast<std::size_t>(column));
            }
        }
        nodes_fit_16_bits_ = nodes_fit_16_bits_ && std::ranges::all_of(grids_[g].span(), [](int32_t value) {
                                 return value >= 0 && value <= INT16_MAX;
                             });
    }
    if (nodes_fit_16_bits_) {
        for (std::size_t g = 0; g < sources.size(); ++g) {
            small_grids_[g] = Scratch<int16_t>(grids_[g].size());
            std::ranges::transform(grids_[g].span(), small_grids_[g].data(),
                                   [](int32_t value) { return static_cast<int16_t>(value); });
        }
    }
}

template <typename Node>
const Node* MeshShading::grid_row(const PaddedGrids<Node>& grids, int32_t j, uint32_t y, std::size_t column) const {
    const Channel channel = bayer_channel(pattern_, y, first_column_ + static_cast<uint32_t>(column));
    return grids[colour_of(channel)].data() + static_cast<std::size_t>(std::clamp(j, 0, rows_)) * stride_;
}

void MeshShading::interpolate_grid_row(GainRows& rows, int32_t j, uint32_t y) {
    const auto slot = static_cast<uint32_t>(j + 1) & 3U;
    int16_t* const gains = (slot < 2 ? rows.slots01 : rows.slots23).data() + (slot & 1U);
    for (std::size_t parity = 0; parity < 2; ++parity) {
        const int16_t* const grid = grid_row(small_grids_, j, y, parity);
        for (std::size_t c = parity; c < count_; c += 2) {
            const int16_t* const node = grid + columns_[c].first;
            const int16_t* const taps = columns_[c].taps;
            const int32_t sum = node[0] * taps[0] + node[1] * taps[1] + node[2] * taps[2] + node[3] * taps[3];
            gains[2 * c] = static_cast<int16_t>(round_gain(sum));
        }
    }
    rows.held[slot] = j;
}

void MeshShading::row(uint32_t y, const uint32_t* source, uint32_t* destination) {
    if (!nodes_fit_16_bits_) {
        row_by_definition(y, source, destination);
        return;
    }
    const int32_t position = vertical_.step * static_cast<int32_t>(y) + vertical_.origin;
    const int32_t node_y = position / kNodeDistance;
    const int16_t* const taps = phase_taps(position);
    GainRows& rows = gain_rows_[y & 1U];
    Taps slot_taps{};
    for (std::size_t k = 0; k < kTaps; ++k) {
        const int32_t j = node_y - 1 + static_cast<int32_t>(k);
        const std::size_t slot = static_cast<std::size_t>(j + 1) & 3U;
        if (rows.held[slot] != j) {
            interpolate_grid_row(rows, j, y);
        }
        slot_taps[slot] = taps[k];
    }
    row_kernels().mesh_gain(source, destination, count_, {rows.slots01.data(), rows.slots23.data(), slot_taps});
}

int32_t MeshShading::gain(uint32_t y, std::size_t column) const {
    const int32_t position = vertical_.step * static_cast<int32_t>(y) + vertical_.origin;
    const int16_t* const taps = phase_taps(position);
    int32_t sum = 0;
    for (std::size_t k = 0; k < kTaps; ++k) {
        const int32_t* const node =
            grid_row(grids_, position / kNodeDistance - 1 + static_cast<int32_t>(k), y, column) +
            columns_[column].first;
        int32_t horizontal = 0;
        for (std::size_t i = 0; i < kTaps; ++i) {
            horizontal = wrap_add(horizontal, wrap_mul(node[i], columns_[column].taps[i]));
        }
        sum = wrap_add(sum, wrap_mul(round_gain(horizontal), taps[k]));
    }
    return round_gain(sum);
}

void MeshShading::row_by_definition(uint32_t y, const uint32_t* source, uint32_t* destination) const {
    for (std::size_t c = 0; c < count_; ++c) {
        destination[c] = sample::mesh_gain(source[c], gain(y, c));
    }
}

}  // namespace cali
