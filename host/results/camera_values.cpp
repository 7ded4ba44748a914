#include "results/camera_values.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"
#include "captures/capture_entry.h"
#include "results/sections.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

class Collector {
public:
    Collector(const Results& results, std::optional<double> gain) : results_(results) {
        made_.sensor = results.sensor;
        const Conditions wanted{{}, gain.value_or(1)};
        if (const auto black = usable(results.black_level, "black_level"); !black.empty()) {
            black_level(**std::ranges::min_element(black, {}, [&](const auto* entry) { return off(*entry, wanted); }));
        }
        if (const auto noise = usable(results.noise, "noise"); !noise.empty()) {
            made_.noise = **std::ranges::min_element(noise, {}, [&](const auto* entry) { return off(*entry, wanted); });
        }
        if (!results.sensor.mono) {
            for (const WhiteBalance* const entry : lit(results.white_balance, "white_balance")) {
                grey(*entry);
            }
            for (const MatrixCalibration* const entry : lit(results.matrices, "colour_matrix")) {
                matrix(*entry);
            }
        }
        for (const LensShading* const entry : lit(results.lens_shading, "lens_shading")) {
            made_.shading.push_back({kelvin_of(*entry), GainSurface(results.sensor, grids_of(*entry))});
        }
        for (const Finding& stale : stale_sections(results)) {
            note(stale.message);
        }
    }

    CameraValues take() { return std::move(made_); }

private:
    void note(std::string text) { made_.notes.push_back(std::move(text)); }

    template <typename Entry>
    static int kelvin_of(const Entry& entry) {
        return static_cast<int>(std::lround(*entry.taken.illuminant_k));
    }

    /// How far its gain is off, in stops; unknown ones last.
    template <typename Entry>
    static double off(const Entry& entry, const Conditions& wanted) {
        return entry.taken.gain ? std::abs(std::log2(*entry.taken.gain / *wanted.gain)) : HUGE_VAL;
    }

    template <typename Entry>
    std::vector<const Entry*> usable(const std::vector<Entry>& entries, const char* section) {
        std::vector<const Entry*> chosen;
        for (const Entry& entry : entries) {
            if (entry.record.usable()) {
                chosen.push_back(&entry);
            } else {
                const std::string name = entry_of(entry);
                note(section + (name.empty() ? "" : " for " + name) + ": rejected by its checks, left out");
            }
        }
        return chosen;
    }

    /// By rising temperature, one of each.
    template <typename Entry>
    std::vector<const Entry*> lit(const std::vector<Entry>& entries, const char* section) {
        std::vector<const Entry*> chosen = usable(entries, section);
        std::erase_if(chosen, [&](const Entry* entry) {
            if (!entry->taken.illuminant_k) {
                note(section +
                     text(" of %s: its light is not known, left out", entry->file.filename().string().c_str()));
            }
            return !entry->taken.illuminant_k;
        });
        const auto kelvin = [](const Entry* entry) { return kelvin_of(*entry); };
        std::ranges::stable_sort(chosen, {}, kelvin);
        std::vector<const Entry*> each;
        for (const Entry* const entry : chosen) {
            if (each.empty() || kelvin(each.back()) != kelvin(entry)) {
                each.push_back(entry);
            } else {
                note(section + text(" of %s: another one of %d K stands already, left out",
                                    entry->file.filename().string().c_str(), kelvin(entry)));
            }
        }
        return each;
    }

    void black_level(const BlackLevelResults& entry) {
        Channels<double> codes{};
        for (std::size_t c = 0; c < codes.size(); ++c) {
            const bool measured = entry.mean[c].value > 0;
            codes[c] = measured ? entry.mean[c].value : static_cast<double>(entry.values.offset[c]);
        }
        made_.black_level = codes;
        restoring_ = entry.values.gain;
    }

    /// Takes back what was applied where the ratios were measured: restoring gains and mesh.
    void grey(const WhiteBalance& entry) {
        const auto shading = std::ranges::find(results_.lens_shading, entry.flat_field, &LensShading::file);
        if (!entry.flat_field.empty() && shading == results_.lens_shading.end()) {
            note("white_balance of " + entry.file.filename().string() + ": measured behind a mesh of " +
                 entry.flat_field.filename().string() + " that these results do not hold, left out");
            return;
        }
        const auto ratio = [](const Measured& unrounded, uint16_t gain) {
            return unrounded.value > 0 ? 1 / unrounded.value : 1024.0 / gain;
        };
        LightGrey grey{kelvin_of(entry), ratio(entry.unrounded.red, entry.gains.red),
                       ratio(entry.unrounded.blue, entry.gains.blue), entry.window.x + (entry.window.width - 1) / 2.0,
                       entry.window.y + (entry.window.height - 1) / 2.0};
        const double green = (restoring_[kGR] + restoring_[kGB]) / 2.0;
        grey.red_over_green *= green / restoring_[kRR];
        grey.blue_over_green *= green / restoring_[kBB];
        if (!entry.flat_field.empty()) {
            const Colour gain = GainSurface(results_.sensor, grids_of(*shading))
                                    .at(grey.x, grey.y, std::min(entry.window.width, entry.window.height) / 2.0);
            grey.red_over_green *= gain[1] / gain[0];
            grey.blue_over_green *= gain[1] / gain[2];
        }
        made_.greys.push_back(grey);
    }

    void matrix(const MatrixCalibration& entry) {
        LightMatrix made{kelvin_of(entry), {}, entry};
        for (std::size_t row = 0; row < 9; row += 3) {
            const auto* const values = entry.matrix.value.data() + row;
            const double sum =
                static_cast<double>(values[0]) + static_cast<double>(values[1]) + static_cast<double>(values[2]);
            if (!(sum > 0)) {
                note(text("colour_matrix for %d K: a row of sum %g keeps no grey, left out", made.kelvin, sum));
                return;
            }
            for (std::size_t c = 0; c < 3; ++c) {
                made.value[row + c] = static_cast<double>(values[c]) / sum;
            }
        }
        made_.matrices.push_back(std::move(made));
    }

    const Results& results_;
    CameraValues made_;
    Channels<float> restoring_{1, 1, 1, 1};
};

}  // namespace

CameraValues camera_values(const Results& results, std::optional<double> gain) {
    return Collector(results, gain).take();
}

}  // namespace cali::host
