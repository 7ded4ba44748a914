/// Black-level subtraction with restoring gain.
#pragma once

#include <cstdint>

#include "core/arithmetic.h"
#include "core/channel.h"
#include "core/frame.h"

namespace cali {

/// Offsets in sensor codes, gains with 1.0 = unity.
struct BlackLevel {
    PerChannel<uint32_t> offset;
    PerChannel<float> gain;

    /// From the red-first order of the exports.
    static constexpr BlackLevel from_red_first(const std::array<uint32_t, 4>& offsets,
                                               const std::array<float, 4>& gains) {
        return {PerChannel<uint32_t>::from_red_first(offsets[0], offsets[1], offsets[2], offsets[3]),
                PerChannel<float>::from_red_first(gains[0], gains[1], gains[2], gains[3])};
    }
};

/// The gain that restores full scale after subtracting `offset`: 4096 / (4096 - offset). Infinite at 4096.
[[nodiscard]] inline float restoring_gain(int32_t offset) {
    return 4096.0F / static_cast<float>(wrap_sub(4096, offset));
}

/// The stage for one pattern (0 to 3) and parameter set, row by row.
class BlackLevelStage {
public:
    BlackLevelStage(const BlackLevel& parameters, int32_t pattern);

    /// Frame row `y`, `count` samples from column `first_column`; source and destination may be the same row.
    void row(uint32_t y, uint32_t first_column, const uint32_t* source, uint32_t* destination, std::size_t count) const;

private:
    BlackLevel parameters_;
    int32_t pattern_;
    bool vectorised_;
};

/// In place. Takes every mosaic of the extended lookup; samples whose code is no channel stay as they are.
void apply_black_level(const RawFrame& frame, const BlackLevel& parameters);

}  // namespace cali
