/// Mesh lens shading: a bit-exact model of the block that interpolates gains from a coarse grid.
#pragma once

#include <array>
#include <cstdint>

#include "core/channel.h"
#include "core/scratch.h"
#include "stages/grid_placement.h"

namespace cali {

/// Gain grids, row-major with stride `cols`, 512 = 1.0. Green is the absolute gain, red and blue are relative to it.
/// Owns nothing. Node values are not limited; sizes are: kMinMeshSide to kMaxMeshSide, kMaxMeshNodes in all.
struct MeshGrids {
    int32_t cols = 0;
    int32_t rows = 0;
    const uint32_t* red = nullptr;
    const uint32_t* green = nullptr;
    const uint32_t* blue = nullptr;
};

/// Largest frame side of the shading blocks, whose size fields have 13 bits.
inline constexpr int32_t kMaxShadedSide = 8192;

/// What the block's fields and its grid memory hold.
inline constexpr int32_t kMinMeshSide = 3;
inline constexpr int32_t kMaxMeshSide = 129;
inline constexpr int32_t kMaxMeshNodes = 4761;

/// The stage for one frame geometry and set of grids, row by row, over a range of columns.
class MeshShading {
public:
    /// `width` and `height` 1 to kMaxShadedSide, `pattern` 0 to 3. Copies the grids. Throws std::bad_alloc.
    MeshShading(int32_t width, int32_t height, int32_t pattern, const MeshGrids& grids);

    /// Rows are then `count` samples long and start at frame column `first_column`. Throws std::bad_alloc.
    void set_columns(int32_t first_column, int32_t count);

    /// Corrects frame row `y`; source and destination may be the same row. Cheapest with rows in ascending order.
    void row(uint32_t y, const uint32_t* source, uint32_t* destination);

    /// What a sample is multiplied by, 512 = 1.0; `column` of those that are set. Plain, for single positions.
    [[nodiscard]] int32_t gain(uint32_t y, std::size_t column) const;

private:
    static constexpr std::size_t kTaps = 4;

    /// The horizontal filter at one column: its first of four nodes in a padded grid row, and its taps.
    struct ColumnFilter {
        uint32_t first;
        const int16_t* taps;
    };

    /// The filter's view of one grid, red and blue already multiplied by green. Element k of a row is node k - 1,
    /// limited to 0..cols; the far tap of the last nodes reaches one beyond, where it reads the next node in
    /// row-major order. Row `rows` repeats the last one.
    template <typename Node>
    using PaddedGrids = std::array<Scratch<Node>, 3>;

    /// Horizontally interpolated gains of the four grid rows around one frame row, for the colours of one row
    /// parity. Grid row j sits in slot (j + 1) & 3; slots 0 and 1, 2 and 3 are interleaved as pairs of 16 bits.
    struct GainRows {
        Scratch<int16_t> slots01;
        Scratch<int16_t> slots23;
        std::array<int32_t, kTaps> held{kNone, kNone, kNone, kNone};
    };
    static constexpr int32_t kNone = -2;  ///< rows start at -1

    template <typename Node>
    [[nodiscard]] const Node* grid_row(const PaddedGrids<Node>& grids, int32_t j, uint32_t y, std::size_t column) const;
    void fill_grids(const MeshGrids& grids);
    void interpolate_grid_row(GainRows& rows, int32_t j, uint32_t y);
    void row_by_definition(uint32_t y, const uint32_t* source, uint32_t* destination) const;

    int32_t pattern_;
    int32_t rows_;
    std::size_t stride_;  ///< of a padded grid row
    GridPlacement horizontal_;
    GridPlacement vertical_;
    uint32_t first_column_ = 0;
    std::size_t count_ = 0;
    PaddedGrids<int32_t> grids_;        ///< red, green, blue
    PaddedGrids<int16_t> small_grids_;  ///< the same, where all nodes fit
    Scratch<ColumnFilter> columns_;
    std::array<GainRows, 2> gain_rows_;
    bool nodes_fit_16_bits_ = true;
};

}  // namespace cali
