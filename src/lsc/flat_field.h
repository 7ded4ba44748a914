/// The filtered flat field and what the calibrations read from it.
#pragma once

#include <cstdint>
#include <vector>

#include "core/channel.h"
#include "lsc/channel_planes.h"

namespace cali::lsc {

/// Sums of the plane's columns and rows.
struct LightProfiles {
    std::vector<float> columns;
    std::vector<float> rows;
};

/// Of the GR plane; sums run in ascending order in single precision.
[[nodiscard]] LightProfiles measure_profiles(const ChannelPlanes& planes);

/// Centroid of the light, in plane positions, truncated.
struct LightCentre {
    int32_t x = 0;
    int32_t y = 0;
    bool found = false;  ///< false where the plane holds no light, or none that has a centre inside
};
[[nodiscard]] LightCentre find_light_centre(const LightProfiles& profiles);

/// Signal above black at the centre, from which all gains are reckoned.
struct CentreSignal {
    PerChannel<int32_t> measured;  ///< may be negative
    PerChannel<float> signal;      ///< 0 or more
    float green = 0;               ///< sum of both greens
    float red_ratio = 0;           ///< mean green over red; infinite or NaN without red
    float blue_ratio = 0;
};

/// Channel planes and the black level that they stand on. Owns nothing.
struct FlatField {
    const ChannelPlanes* planes;
    int32_t black = 0;
    int32_t width = 0;  ///< of the frame, as is height
    int32_t height = 0;

    [[nodiscard]] CentreSignal at_centre(const LightCentre& centre) const;

    /// Bilinear, at a position in frame photosites within the frame.
    [[nodiscard]] PerChannel<float> sample_at(float x, float y) const;

    /// Asks for what `sample_at` will read.
    void prefetch(float x, float y) const;

    /// A sample above black, at least 1.
    [[nodiscard]] PerChannel<float> above_black(const PerChannel<float>& sample) const;
};

}  // namespace cali::lsc
