/// Tuning values as later steps apply them.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "base/record.h"
#include "captures/channels.h"

namespace cali::host {

/// Offsets in 12-bit codes, gains with 1.0 = unity.
struct BlackLevels {
    Channels<uint32_t> offset{};
    Channels<float> gain{1.0F, 1.0F, 1.0F, 1.0F};

    bool operator==(const BlackLevels&) const = default;
};

/// Lens-shading grids, row-major, 512 = 1.0; unity by default.
struct ShadingGrids {
    int cols = 3;
    int rows = 3;
    std::vector<uint32_t> red = std::vector<uint32_t>(9, 512);
    std::vector<uint32_t> green = std::vector<uint32_t>(9, 512);
    std::vector<uint32_t> blue = std::vector<uint32_t>(9, 512);

    bool operator==(const ShadingGrids&) const = default;
};

/// White-balance register gains, 1024 = 1.0.
struct GainRegisters {
    uint16_t red = 1024;
    uint16_t green = 1024;
    uint16_t blue = 1024;

    bool operator==(const GainRegisters&) const = default;
};

/// What the front end applies.
struct TuningValues {
    BlackLevels black_level;
    Source black_source = Source::results;  ///< of the black level
    ShadingGrids grids;
    std::filesystem::path flat_field;  ///< whose mesh the grids are; empty: unity grids
    GainRegisters gains;
    std::optional<double> gains_k;    ///< light of the grey card that the gains come from
    std::vector<ValueRecord> origin;  ///< of what is not the default
};

/// A colour-correction matrix, row-major, and its registers (1024 = 1.0).
struct MatrixRegisters {
    std::array<float, 9> value{};
    std::array<int32_t, 9> q10{};
};

}  // namespace cali::host
