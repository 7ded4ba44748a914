/// How flat a corrected flat field is.
#pragma once

#include <array>
#include <cstdint>

#include "core/frame.h"
#include "core/scratch.h"
#include "pictures/picture.h"

namespace cali::lsc {

/// Has all its memory before anything is modified. Throws std::bad_alloc.
class UniformityReport {
public:
    UniformityReport(int32_t width, int32_t height);

    /// Writes pictures of the three frames, balances the radial output by gains that are measured at the centre of the
    /// mesh output, writes pictures of the cells, and prints the balanced frame's mean differences: red and blue from
    /// green, and each colour from its value at the centre.
    void run(const ConstRawFrame& input, const ConstRawFrame& mesh_output, const ConstRawFrame& radial_output);

private:
    /// A picture in which every photosite has its cell's colour; the planes keep it.
    void write_cells(const char* name, const ConstRawFrame& frame);
    void print_statistics(int32_t width, int32_t height) const;

    OwnedPicture picture_;
    Scratch<uint32_t> balanced_;
    std::array<Scratch<uint32_t>, 3> cells_;  ///< red, green, blue
};

}  // namespace cali::lsc
