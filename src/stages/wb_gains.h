/// White-balance gain stage.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cali {

/// Register gains, 1024 = 1.0. Green is never scaled.
struct WbGains {
    uint32_t red = 1024;
    uint32_t blue = 1024;
};

/// The register gain that lifts `mean` to `green_mean`: rounded in single precision, limited after its narrowing to
/// 16 bits. A mean of 0 gives 0.
[[nodiscard]] uint16_t wb_gain_register(float green_mean, float mean);

/// The stage for one pattern (0 to 3), row by row: red and blue scaled, rounded and limited to 4095, greens copied.
/// Source and destination may be the same row.
class WbGainStage {
public:
    WbGainStage(const WbGains& gains, int32_t pattern);

    /// Frame row `y`, `count` samples from column `first_column`.
    void row(uint32_t y, uint32_t first_column, const uint32_t* source, uint32_t* destination, std::size_t count) const;

private:
    float red_;
    float blue_;
    int32_t pattern_;
};

}  // namespace cali
