/// Mesh and radial gains from a filtered flat field.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "lsc/flat_field.h"
#include "stages/shading_tables.h"

namespace cali::lsc {

/// What the gains correct.
enum class ShadingKind { chroma_and_luma, chroma, luma };

/// What was read at each mesh node, before black subtraction; 0 at the border, which is extrapolated.
using NodeSamples = std::array<std::vector<uint32_t>, 3>;

/// 512 = 1.0
struct Gains {
    int32_t red = 0;
    int32_t green = 0;
    int32_t blue = 0;
};

/// Told of mesh nodes that darken.
class NodeObserver {
public:
    NodeObserver() = default;
    virtual ~NodeObserver() = default;
    NodeObserver(const NodeObserver&) = delete;
    NodeObserver& operator=(const NodeObserver&) = delete;

    /// A node inside the outer ring, counted from there, has a gain below 1; `sample` is what was read at it.
    virtual void below_unity(int32_t column, int32_t row, const Gains& gains, const CentreSignal& centre,
                             const PerChannel<float>& sample) = 0;
};

/// Fills `tables.mesh` for its node counts and frame size.
void calibrate_mesh(const FlatField& field, const CentreSignal& centre, ShadingKind kind, NodeObserver& observer,
                    ShadingTables& tables, NodeSamples& samples);

/// Continues the gains linearly onto the outer ring of nodes, each within 256..4095.
void lsc_extrapolate_border(ShadingTables& tables);

/// Fills the radial tables around `tables.center_x`, `center_y`, and their normaliser.
void calibrate_radial(const FlatField& field, const CentreSignal& centre, ShadingKind kind, ShadingTables& tables);

}  // namespace cali::lsc
