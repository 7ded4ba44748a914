#include "calibrations/lens_shading_settings.h"

#include <array>

#include "base/choice.h"
#include "base/error.h"
#include "captures/geometry.h"
#include "stages/mesh_shading.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 3> kTypeNames = {"chroma_and_luma", "chroma", "luma"};
constexpr int kLeastGridSide = 4;

}  // namespace

const char* shading_type_name(ShadingType type) { return kTypeNames[static_cast<std::size_t>(type)]; }

ShadingType parse_shading_type(const std::string& text, const std::string& where) {
    return parse_choice<ShadingType>(kTypeNames, text, where);
}

void ShadingSettings::set_grid(int64_t new_cols, int64_t new_rows, const std::string& where) {
    cols = check_number(new_cols, kLeastGridSide, kMaxMeshSide, where + ": columns");
    rows = check_number(new_rows, kLeastGridSide, kMaxMeshSide, where + ": rows");
    if (cols * rows > kMaxMeshNodes) {
        throw InputError(where + " has " + std::to_string(cols * rows) + " nodes, expected at most " +
                         std::to_string(kMaxMeshNodes));
    }
}

}  // namespace cali::host
