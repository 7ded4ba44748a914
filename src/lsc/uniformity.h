/// How flat a corrected flat field is.
#pragma once

#include <array>
#include <cstdint>

#include "core/frame.h"
#include "core/scratch.h"
#include "pictures/picture.h"

namespace cali::lsc {

/// Mean differences over a balanced frame, in codes.
struct Uniformity {
    double chroma_red = 0;  ///< of red and blue from green
    double chroma_blue = 0;
    std::array<double, 3> luma{};  ///< of red, green and blue from their value at the centre
    double total = 0;              ///< of all three
};

/// Has all its memory before anything is modified. Throws std::bad_alloc.
class UniformityReport {
public:
    UniformityReport(int32_t width, int32_t height);

    /// Writes pictures of the three frames, balances the radial output by gains that are measured at the centre of the
    /// mesh output, and writes pictures of the cells. Returns how uniform the balanced frame is.
    [[nodiscard]] Uniformity run(const ConstRawFrame& input, const ConstRawFrame& mesh_output,
                                 const ConstRawFrame& radial_output);

private:
    /// A picture in which every photosite has its cell's colour; the planes keep it.
    void write_cells(const char* name, const ConstRawFrame& frame);
    [[nodiscard]] Uniformity statistics(int32_t width, int32_t height) const;

    OwnedPicture picture_;
    Scratch<uint32_t> balanced_;
    std::array<Scratch<uint32_t>, 3> cells_;  ///< red, green, blue
};

}  // namespace cali::lsc
