/// What a simulated sensor is made of, as far as results have a figure for it.
#pragma once

#include <filesystem>
#include <vector>

#include "base/section.h"
#include "captures/channels.h"

namespace cali::host {

struct Results;
class Archive;

struct SimulatedGain {
    double gain = 1;
    Channels<double> pedestal{};  ///< codes of 12 bits
    double codes_per_electron = 0;
    double read_variance = 0;  ///< codes of 12 bits, squared
};

struct SimulatedLight {
    double illuminant_k = 0;
    double red = 1;  ///< gain that balances
    double blue = 1;
};

struct SimulatedTruth {
    uint64_t seed = 0;
    double axis_x = 0;  ///< the lens's, in photosites
    double axis_y = 0;
    std::vector<SimulatedGain> gains;
    std::vector<SimulatedLight> lights;
};

/// As truth.json has them, which has more.
void fields(Archive& archive, SimulatedTruth& truth);

/// Of truth.json. Throws InputError.
[[nodiscard]] SimulatedTruth read_truth(const std::filesystem::path& file);

/// Puts the truth beside the figures of a section, where the results know it; `key` and `entry` are the section's.
void add_truth(const Results& results, const std::string& key, const std::string& entry, Section& section);

}  // namespace cali::host
