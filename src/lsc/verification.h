/// A flat field through the ISP's front end with lens-shading parameters under test.
#pragma once

#include <cstdint>
#include <optional>

#include "core/frame.h"
#include "stages/front_end.h"

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

/// `frame`, not empty, is modified, once all memory is had: the black level is subtracted in it. Where the mesh runs,
/// the observer is told each row before its mesh stage. Throws std::bad_alloc.
void verify(const RawFrame& frame, const Parameters& parameters, const Outputs& outputs, RowObserver& observer);

}  // namespace cali::lsc
