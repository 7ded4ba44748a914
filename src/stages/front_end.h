/// The front end's stages, fused: a row goes through all of them while it is in the cache.
#pragma once

#include <cstdint>
#include <optional>

#include "core/frame.h"
#include "stages/black_level.h"
#include "stages/mesh_shading.h"
#include "stages/radial_shading.h"
#include "stages/wb_gains.h"

namespace cali {

/// Stages in the order in which they run. Absent ones are not run.
struct FrontEnd {
    std::optional<BlackLevel> black_level;
    std::optional<MeshGrids> mesh;
    std::optional<RadialTables> radial;
    std::optional<WbGains> wb_gains;
    bool gains_before_shading = false;
};

/// The stages for one frame geometry, row by row, over all columns or a range of them.
class FrontEndRows {
public:
    /// Of `frame` only the geometry counts: sides of 1 or more, with shading at most kMaxShadedSide. Copies the tables.
    /// Throws std::bad_alloc.
    FrontEndRows(const ConstRawFrame& frame, const FrontEnd& front_end);

    /// Rows are then `count` samples long and start at frame column `first_column`. Throws std::bad_alloc.
    void set_columns(int32_t first_column, int32_t count);

    /// Takes frame row `y` through the stages; source and destination may be the same row. Without a stage it is
    /// copied. Cheapest with rows in ascending order.
    void row(int32_t y, const uint32_t* source, uint32_t* destination);

private:
    uint32_t first_column_ = 0;
    std::size_t count_;
    bool gains_before_shading_;
    std::optional<BlackLevelStage> black_level_;
    std::optional<MeshShading> mesh_;
    std::optional<RadialShading> radial_;
    std::optional<WbGainStage> wb_gains_;
};

/// The whole frame. `destination` may be its buffer. Not of an empty one. Throws std::bad_alloc.
void apply_front_end(const ConstRawFrame& frame, const FrontEnd& front_end, uint32_t* destination);

/// Told how far a walk over a frame's rows has come.
class RowObserver {
public:
    RowObserver() = default;
    virtual ~RowObserver() = default;
    RowObserver(const RowObserver&) = delete;
    RowObserver& operator=(const RowObserver&) = delete;

    /// Before row `y` is processed.
    virtual void row_begins(int32_t y) = 0;
    /// After the last one.
    virtual void rows_end() = 0;
};

}  // namespace cali
