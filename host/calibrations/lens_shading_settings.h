/// What a lens-shading calibration is asked for.
#pragma once

#include <cstdint>
#include <string>

namespace cali::host {

enum class ShadingType { chroma_and_luma, chroma, luma };

[[nodiscard]] const char* shading_type_name(ShadingType type);
/// Throws InputError.
[[nodiscard]] ShadingType parse_shading_type(const std::string& text, const std::string& where);

struct ShadingSettings {
    int cols = 33;  ///< mesh nodes
    int rows = 25;
    ShadingType type = ShadingType::chroma_and_luma;
    bool denoise = false;

    /// Throws InputError where the block's grid memory does not hold such a mesh.
    void set_grid(int64_t new_cols, int64_t new_rows, const std::string& where);
};

}  // namespace cali::host
