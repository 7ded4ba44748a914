#include "outputs/cube_file.h"

#include "base/text.h"
#include "captures/frame.h"

namespace cali::host {

std::string cube_text(const ColourTable& table) {
    constexpr double kFullScale = kLibraryFullScale;
    std::string cube = "# Encoded sRGB in and out.\nTITLE \"" + table.input.file.stem().string() + "\"\nLUT_3D_SIZE " +
                       std::to_string(table.settings.nodes) + "\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\n";
    for (std::size_t i = 0; i < table.value.size(); i += 3) {
        cube += text("%.6f %.6f %.6f\n", table.value[i] / kFullScale, table.value[i + 1] / kFullScale,
                     table.value[i + 2] / kFullScale);
    }
    return cube;
}

}  // namespace cali::host
