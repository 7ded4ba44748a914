/// The values of earlier calibrations that the next one applies.
#pragma once

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "base/conditions.h"
#include "captures/channels.h"
#include "captures/frame.h"
#include "library/tuning_values.h"
#include "results/results.h"

namespace cali::host {

/// Those that the checks did not reject.
template <typename Entry>
[[nodiscard]] std::vector<Entry> usable_entries(const std::vector<Entry>& entries) {
    std::vector<Entry> chosen;
    std::ranges::copy_if(entries, std::back_inserter(chosen), [](const Entry& entry) { return entry.record.usable(); });
    return chosen;
}

/// Chooses among results. What the checks rejected is not applied, but where it is forced: CalibrationError then says
/// what was rejected.
class ValueChooser {
public:
    ValueChooser(const Results& results, bool forced) : results_(results), forced_(forced) {}

    /// That of the nearest gain; false where there is none: then nothing is subtracted.
    bool black_level(const Conditions& taken, TuningValues& values) const;
    /// The mesh of the nearest light; unity grids where there is none.
    void grids(const Conditions& taken, TuningValues& values) const;
    /// The gains of a light: the only ones, or those of that temperature. Throws InputError.
    void gains(const Conditions& taken, TuningValues& values) const;
    /// The gains of the nearest light; false where there are none.
    bool nearest_gains(const Conditions& taken, TuningValues& values) const;
    /// All grey cards.
    [[nodiscard]] std::vector<WhiteBalance> lights() const {
        return applicable(results_.white_balance, "white_balance");
    }
    /// The matrix of a light: the only one, or that of the temperature. Throws InputError.
    [[nodiscard]] MatrixCalibration matrix(const Conditions& taken) const;

private:
    template <typename T>
    [[nodiscard]] std::vector<T> applicable(const std::vector<T>& entries, const char* section) const;
    [[noreturn]] void refuse(const std::string& section, const std::string& entry) const;

    const Results& results_;
    bool forced_;
};

/// Of the black levels that an option or a session gives by number, those `known`, and that of the capture's own file
/// the strongest; none where nothing tells. Throws InputError for codes beyond the capture's depth.
[[nodiscard]] std::vector<BlackLevelResults> strongest_black_level(const std::optional<Channels<uint32_t>>& option,
                                                                   const std::optional<Channels<double>>& session,
                                                                   std::vector<BlackLevelResults> known,
                                                                   const Capture& capture);
/// A chart's patches behind its matrix.
[[nodiscard]] TableInput table_input(const MatrixCalibration& matrix);

}  // namespace cali::host
