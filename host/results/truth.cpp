#include "results/truth.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "results/codecs.h"
#include "results/results_file.h"
#include "results/sections.h"

namespace cali::host {
namespace {

void set(Section& section, const std::string& figure, double value) {
    const auto found = std::ranges::find(section.figures, figure, &Figure::name);
    if (found != section.figures.end()) {
        found->truth = value;
    }
}

const SimulatedGain* gain_of(const SimulatedTruth& truth, const Conditions& taken) {
    const auto found = std::ranges::find(truth.gains, taken.gain.value_or(1), &SimulatedGain::gain);
    return found == truth.gains.end() ? nullptr : &*found;
}

void add_black_level(const SimulatedGain& gain, Section& section) {
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        for (const char* const figure : {"mean_", "offset_"}) {
            set(section, figure + std::string(kChannelKeys[c]), gain.pedestal[c]);
        }
    }
}

void add_noise(const SimulatedGain& gain, bool mono, Section& section) {
    for (const ChannelLabel& label : channel_labels(mono)) {
        for (const char* const figure : {"codes_per_electron_", "weighted_codes_per_electron_"}) {
            set(section, figure + std::string(label.key), gain.codes_per_electron);
        }
        set(section, std::string("read_noise_") + label.key, std::sqrt(gain.read_variance));
    }
}

void add_white_balance(const SimulatedTruth& truth, const WhiteBalance& balance, Section& section) {
    const auto light =
        std::ranges::find(truth.lights, balance.taken.illuminant_k.value_or(0), &SimulatedLight::illuminant_k);
    if (light == truth.lights.end()) {
        return;
    }
    const std::string name = balance.file.filename().string();
    for (const char* const figure : {"_gain_", "_unrounded_gain_"}) {
        set(section, name + figure + "red", light->red);
        set(section, name + figure + "blue", light->blue);
    }
}

}  // namespace

void fields(Archive& archive, SimulatedTruth& truth) {
    archive.field("seed", truth.seed);
    archive.field("axis_x", truth.axis_x);
    archive.field("axis_y", truth.axis_y);
    archive.list("gains", truth.gains, [](Archive entry, SimulatedGain& gain) {
        entry.field("analogue_gain", gain.gain);
        // A truth file has all four, of a sensor without colours, too.
        entry.object("pedestal_codes", [&](Archive pedestal) {
            for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
                pedestal.field(kChannelKeys[c], gain.pedestal[c]);
            }
        });
        entry.field("codes_per_electron", gain.codes_per_electron);
        entry.field("read_variance_codes2", gain.read_variance);
    });
    archive.list("illuminants", truth.lights, [](Archive entry, SimulatedLight& light) {
        entry.field("illuminant_k", light.illuminant_k);
        entry.object("gain", [&](Archive gain) {
            gain.field("red", light.red);
            gain.field("blue", light.blue);
        });
    });
}

SimulatedTruth read_truth(const std::filesystem::path& file) {
    SimulatedTruth truth;
    try {
        const Json json = read_json(file, "truth file");
        Archive archive = Archive::reader(json, {});
        fields(archive, truth);
    } catch (const InputError& problem) {
        const std::string what = problem.what();
        throw InputError(what.starts_with(file.string()) ? what : file.string() + ": " + what);
    }
    return truth;
}

void add_truth(const Results& results, const std::string& key, const std::string& entry, Section& section) {
    if (!results.truth) {
        return;
    }
    const SimulatedTruth& truth = *results.truth;
    const auto at_gain = [&](const auto& sections, auto add) {
        for (const auto& result : sections) {
            const SimulatedGain* const gain = gain_of(truth, result.taken);
            if (entry_of(result) == entry && gain != nullptr) {
                add(*gain);
            }
        }
    };
    if (key == "black_level") {
        at_gain(results.black_level, [&](const SimulatedGain& gain) { add_black_level(gain, section); });
    } else if (key == "lens_shading") {
        set(section, "centre_x", truth.axis_x);
        set(section, "centre_y", truth.axis_y);
    } else if (key == "white_balance") {
        for (const WhiteBalance& balance : results.white_balance) {
            add_white_balance(truth, balance, section);
        }
    } else if (key == "noise") {
        at_gain(results.noise, [&](const SimulatedGain& gain) { add_noise(gain, results.sensor.mono, section); });
    }
}

}  // namespace cali::host
