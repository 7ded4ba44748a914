#include "results/choose_values.h"

#include <algorithm>

#include "base/error.h"
#include "calibrations/black_level.h"
#include "captures/capture_entry.h"
#include "results/sections.h"
#include "results/value_digest.h"

namespace cali::host {
namespace {

void take_gains(const WhiteBalance& entry, TuningValues& values) {
    values.gains = entry.gains;
    values.gains_k = entry.taken.illuminant_k;
    values.origin.push_back(value_record(entry));
}

}  // namespace

void ValueChooser::refuse(const std::string& section, const std::string& entry) const {
    std::string why;
    for (const Finding& finding : results_.findings) {
        const bool meant = finding.subject.calibration == section && finding.severity == Severity::fail;
        why += meant ? (why.empty() ? " (" : ", ") + finding.code : "";
    }
    throw CalibrationError((results_.file.empty() ? "" : results_.file.string() + ": ") + section +
                           (entry.empty() ? "" : " for " + entry) + " was rejected" + why + (why.empty() ? "" : ")") +
                           ": calibrate it again, or apply it all the same with --force");
}

template <typename T>
std::vector<T> ValueChooser::applicable(const std::vector<T>& entries, const char* section) const {
    std::vector<T> chosen;
    std::ranges::copy_if(entries, std::back_inserter(chosen),
                         [&](const T& entry) { return forced_ || entry.record.standing != Standing::rejected; });
    if (chosen.empty() && !entries.empty()) {
        refuse(section, entry_of(entries.front()));
    }
    return chosen;
}

bool ValueChooser::black_level(const Conditions& taken, TuningValues& values) const {
    const std::vector<BlackLevelResults> levels = applicable(results_.black_level, "black_level");
    const BlackLevelResults* const nearest = nearest_entry(levels, taken);
    if (nearest != nullptr) {
        values.black_level = nearest->values;
        values.black_source = nearest->record.source;
        values.origin.push_back(value_record(*nearest));
    }
    return nearest != nullptr;
}

void ValueChooser::grids(const Conditions& taken, TuningValues& values) const {
    const std::vector<LensShading> shading = applicable(results_.lens_shading, "lens_shading");
    if (const LensShading* const nearest = nearest_entry(shading, taken)) {
        values.grids = grids_of(*nearest);
        values.flat_field = nearest->file;
        values.origin.push_back(value_record(*nearest));
    }
}

void ValueChooser::gains(const Conditions& taken, TuningValues& values) const {
    take_gains(choose_entry(lights(), taken, results_.file, "white balance",
                            "results of cali awb, or of cali calibrate with a grey card"),
               values);
}

bool ValueChooser::nearest_gains(const Conditions& taken, TuningValues& values) const {
    const std::vector<WhiteBalance> entries = lights();
    const WhiteBalance* const nearest = nearest_entry(entries, taken);
    if (nearest != nullptr) {
        take_gains(*nearest, values);
    }
    return nearest != nullptr;
}

MatrixCalibration ValueChooser::matrix(const Conditions& taken) const {
    return choose_entry(applicable(results_.matrices, "colour_matrix"), taken, results_.file, "colour matrix",
                        "results of cali ccm, or of cali calibrate with a chart");
}

std::vector<BlackLevelResults> strongest_black_level(const std::optional<Channels<uint32_t>>& option,
                                                     const std::optional<Channels<double>>& session,
                                                     std::vector<BlackLevelResults> known, const Capture& capture) {
    const SensorGeometry& sensor = capture.sensor;
    const auto given = [&](const Channels<double>& codes, Source source, const char* name) {
        for (const double code : codes) {
            check_number(static_cast<int64_t>(code), 0, sensor.white_level.value_or((1 << sensor.bits) - 1), name);
        }
        std::vector<BlackLevelResults> levels = {given_black_level(codes, sensor.bits, source)};
        levels.front().record.given = kSourceNames[static_cast<std::size_t>(source)];
        return levels;
    };
    if (option) {
        Channels<double> codes{};
        std::ranges::copy(*option, codes.begin());
        return given(codes, Source::option, "--black-level");
    }
    if (session) {
        return given(*session, Source::session, "black_level: offset");
    }
    if (known.empty() && capture.metadata.black_level) {
        return given(*capture.metadata.black_level, Source::metadata, "black level of the file");
    }
    return known;
}

TableInput table_input(const MatrixCalibration& matrix) {
    return {matrix.file, matrix.taken, matrix.corrected, matrix.reference, matrix.limited, matrix.settings.reference};
}

}  // namespace cali::host
