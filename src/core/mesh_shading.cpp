#include "core/mesh_shading.h"

#include <algorithm>
#include <cstdio>

#include "core/arithmetic.h"
#include "core/export_call.h"
#include "core/row_kernels.h"
#include "core/sample_math.h"

namespace cali {
namespace {

constexpr uint32_t kPhases = 64;
constexpr uint32_t kOriginMask = 0x3FFFFF;
constexpr int32_t kSumLimit = 0x3FFFFFF;

using Taps = std::array<uint16_t, 4>;

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

/// Nodes up to here cannot overflow the filter sum, so that its clamp bounds every interpolated gain by 16384.
constexpr int32_t kMaxFastNode = 524287;
static_assert(int64_t{kMaxFastNode} * largest_tap_sum() <= INT32_MAX);
static_assert(int64_t{16384} * largest_tap_sum() < kSumLimit, "the vertical pass leaves out its clamp");

const uint16_t* phase_taps(int32_t position) { return kFilter[(static_cast<uint32_t>(position) >> 9U) & 63U].data(); }

int32_t round_gain(int32_t sum) { return wrap_add(std::min(sum, kSumLimit), 2048) >> 12; }

GridPlacement block_placement(int32_t nodes, int32_t size) {
    GridPlacement placement = place_grid(nodes, size);
    placement.origin = static_cast<int32_t>(static_cast<uint32_t>(placement.origin) & kOriginMask);
    return placement;
}

std::size_t grid_of(Channel channel) {
    constexpr std::array<std::size_t, kChannels> kGrid = {2, 1, 1, 0};
    return kGrid[channel];
}

}  // namespace

void check_mesh_size(ArgumentCheck& check, int32_t cols, int32_t rows, int32_t least) {
    check.range("grid_cols", cols, least, kMaxMeshSide);
    check.range("grid_rows", rows, least, kMaxMeshSide);
    if (check.ok()) {
        check.range("grid_cols * grid_rows", int64_t{cols} * rows, 1, kMaxMeshNodes);
    }
}

void check_mesh_grids(ArgumentCheck& check, const uint32_t* red, const uint32_t* green, const uint32_t* blue) {
    check.pointer("red_grid", red);
    check.pointer("green_grid", green);
    check.pointer("blue_grid", blue);
}

MeshShading::MeshShading(int32_t width, int32_t height, int32_t pattern, const MeshGrids& grids, int32_t first_column,
                         int32_t column_count)
    : pattern_(pattern),
      cols_(grids.cols),
      rows_(grids.rows),
      vertical_(block_placement(grids.rows, height)),
      first_column_(static_cast<uint32_t>(first_column)),
      count_(static_cast<std::size_t>(column_count)),
      columns_(count_) {
    const auto stride = static_cast<std::size_t>(cols_);
    const std::size_t nodes = stride * static_cast<std::size_t>(rows_);
    for (WorkingGrid& grid : grids_) {
        grid = WorkingGrid(nodes + 2 * stride);
    }
    for (std::size_t n = 0; n < nodes; ++n) {
        const auto green = static_cast<int32_t>(grids.green[n]);
        grids_[0][n] = wrap_add(wrap_mul(static_cast<int32_t>(grids.red[n]), green), 256) >> 9;
        grids_[1][n] = green;
        grids_[2][n] = wrap_add(wrap_mul(static_cast<int32_t>(grids.blue[n]), green), 256) >> 9;
    }
    for (const WorkingGrid& grid : grids_) {
        std::copy_n(grid.data() + nodes - stride, stride, grid.data() + nodes);
        std::copy_n(grid.data() + nodes - stride, stride, grid.data() + nodes + stride);
        gains_fit_16_bits_ = gains_fit_16_bits_ && std::ranges::all_of(grid.span(), [](int32_t node) {
                                 return node >= 0 && node <= kMaxFastNode;
                             });
    }

    const GridPlacement horizontal = block_placement(cols_, width);
    for (std::size_t c = 0; c < count_; ++c) {
        const int32_t x = horizontal.step * (first_column + static_cast<int32_t>(c)) + horizontal.origin;
        const int32_t node_x = x / kNodeDistance;
        for (std::size_t k = 0; k < kTaps; ++k) {
            const int32_t node = node_x - 1 + static_cast<int32_t>(k);
            columns_[c].node[k] = static_cast<uint16_t>(std::clamp(node, 0, cols_));
        }
        columns_[c].taps = phase_taps(x);
    }
    for (GainRows& rows : gain_rows_) {
        for (Scratch<uint32_t>* slots : {&rows.slots01, &rows.slots23}) {
            *slots = Scratch<uint32_t>(count_);
            std::ranges::fill(slots->span(), 0U);
        }
    }
}

const int32_t* MeshShading::grid_row(int32_t j, uint32_t y, std::size_t column) const {
    const Channel channel = bayer_channel(pattern_, y, first_column_ + static_cast<uint32_t>(column));
    return grids_[grid_of(channel)].data() + static_cast<std::ptrdiff_t>(std::clamp(j, 0, rows_)) * cols_;
}

int32_t MeshShading::horizontal_gain(const int32_t* grid_row, const ColumnFilter& filter) const {
    int32_t sum = 0;
    for (std::size_t k = 0; k < kTaps; ++k) {
        sum = wrap_add(sum, wrap_mul(grid_row[filter.node[k]], filter.taps[k]));
    }
    return round_gain(sum);
}

void MeshShading::interpolate_grid_row(GainRows& rows, int32_t j, uint32_t y) {
    const auto slot = static_cast<uint32_t>(j + 1) & 3U;
    const uint32_t shift = (slot & 1U) * 16U;
    const uint32_t keep = 0xFFFF0000U >> shift;
    uint32_t* const pairs = (slot < 2 ? rows.slots01 : rows.slots23).data();
    const std::array<const int32_t*, 2> grid_rows = {grid_row(j, y, 0), grid_row(j, y, 1)};
    for (std::size_t c = 0; c < count_; ++c) {
        const auto gain = static_cast<uint32_t>(horizontal_gain(grid_rows[c & 1], columns_[c]));
        pairs[c] = (pairs[c] & keep) | (gain << shift);
    }
    rows.held[slot] = j;
}

void MeshShading::row(uint32_t y, const uint32_t* source, uint32_t* destination) {
    const int32_t position = vertical_.step * static_cast<int32_t>(y) + vertical_.origin;
    const int32_t node_y = position / kNodeDistance;
    const uint16_t* const taps = phase_taps(position);
    if (!gains_fit_16_bits_) {
        row_by_definition(node_y, taps, y, source, destination);
        return;
    }
    GainRows& rows = gain_rows_[y & 1U];
    std::array<uint32_t, kTaps> slot_taps{};
    for (std::size_t k = 0; k < kTaps; ++k) {
        const int32_t j = node_y - 1 + static_cast<int32_t>(k);
        const std::size_t slot = static_cast<std::size_t>(j + 1) & 3U;
        if (rows.held[slot] != j) {
            interpolate_grid_row(rows, j, y);
        }
        slot_taps[slot] = taps[k];
    }
    row_kernels().mesh_gain(source, destination, count_,
                            {rows.slots01.data(), rows.slots23.data(), slot_taps[0] | (slot_taps[1] << 16U),
                             slot_taps[2] | (slot_taps[3] << 16U)});
}

void MeshShading::row_by_definition(int32_t node_y, const uint16_t* taps, uint32_t y, const uint32_t* source,
                                    uint32_t* destination) const {
    for (std::size_t c = 0; c < count_; ++c) {
        int32_t sum = 0;
        for (std::size_t k = 0; k < kTaps; ++k) {
            const int32_t j = node_y - 1 + static_cast<int32_t>(k);
            sum = wrap_add(sum, wrap_mul(horizontal_gain(grid_row(j, y, c), columns_[c]), taps[k]));
        }
        destination[c] = sample::mesh_gain(source[c], round_gain(sum));
    }
}

void print_shading_progress(int32_t row, int32_t height) { std::printf("LSC...%3d%%\r", 100 * (row + 1) / height); }

void end_shading_progress() { std::printf("\n"); }

void print_whole_shading_progress(int32_t height) {
    for (int32_t y = 0; y < height; ++y) {
        print_shading_progress(y, height);
    }
    if (height > 0) {
        end_shading_progress();
    }
}

void apply_lens_shading(const ConstRawFrame& source, const MeshGrids& grids, uint32_t* destination) {
    if (source.empty()) {
        return;
    }
    MeshShading stage(source.width, source.height, source.pattern, grids);
    const RawFrame output{destination, source.width, source.height, source.pattern};
    for (int32_t y = 0; y < source.height; ++y) {
        print_shading_progress(y, source.height);
        stage.row(static_cast<uint32_t>(y), source.row(y), output.row(y));
    }
    end_shading_progress();
}

}  // namespace cali
