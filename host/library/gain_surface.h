/// What a mesh multiplies the frame by, anywhere on it.
#pragma once

#include "captures/geometry.h"
#include "library/tuning_values.h"
#include "math/colour_space.h"
#include "stages/mesh_shading.h"

namespace cali::host {

/// Gains of red, green and blue as the block applies them, behind its own interpolation: not the nodes, which have a
/// margin around the frame.
class GainSurface {
public:
    /// Throws std::bad_alloc. Sides of the sensor are 2 or more, and within what the block takes.
    GainSurface(const SensorGeometry& sensor, const ShadingGrids& grids);

    /// At a position in photosites, 0 at the centre of the first, limited to the frame: mean of a square that reaches
    /// up to `reach` to either side, less towards the frame's border, since the block's gains are whole 512ths.
    [[nodiscard]] Colour at(double x, double y, double reach) const;

private:
    SensorGeometry sensor_;
    MeshShading shading_;
};

}  // namespace cali::host
