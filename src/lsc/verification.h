/// A flat field through the ISP's front end with lens-shading parameters under test.
#pragma once

#include <cstdint>
#include <optional>

#include "core/frame.h"
#include "stages/black_level.h"
#include "stages/mesh_shading.h"
#include "stages/radial_shading.h"

namespace cali::lsc {

/// Stages without parameters leave their output as it is.
struct Parameters {
    BlackLevel black_level;
    std::optional<MeshGrids> mesh;
    std::optional<RadialTables> radial;
};

struct Outputs {
    uint32_t* mesh = nullptr;
    uint32_t* radial = nullptr;
};

/// `frame`, not empty, is modified: the black level is subtracted in it. Prints the mesh stage's progress; with the
/// debug switch on also writes pictures of all frames and prints how uniform the radial output is. Both outputs are
/// then read, whichever stages run. Throws std::bad_alloc.
void verify(const RawFrame& frame, const Parameters& parameters, const Outputs& outputs);

}  // namespace cali::lsc
