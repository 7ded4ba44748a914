#include "results/choose_values.h"

#include <algorithm>

#include "base/error.h"
#include "captures/light.h"
#include "results/sections.h"
#include "results/value_digest.h"

namespace cali::host {
namespace {

void take_gains(const WhiteBalance& entry, TuningValues& values) {
    values.gains = entry.gains;
    values.gains_k = entry.illuminant_k;
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

bool ValueChooser::black_level(TuningValues& values) const {
    if (!results_.black_level) {
        return false;
    }
    if (!forced_ && results_.black_level->record.standing == Standing::rejected) {
        refuse("black_level", "");
    }
    values.black_level = results_.black_level->values;
    values.origin.push_back(value_record(*results_.black_level));
    return true;
}

void ValueChooser::grids(std::optional<double> illuminant_k, TuningValues& values) const {
    const std::vector<LensShading> shading = applicable(results_.lens_shading, "lens_shading");
    if (const LensShading* const nearest = nearest_light(shading, illuminant_k)) {
        values.grids = grids_of(*nearest);
        values.flat_field = nearest->file;
        values.origin.push_back(value_record(*nearest));
    }
}

void ValueChooser::gains(std::optional<double> illuminant_k, TuningValues& values) const {
    take_gains(choose_by_light(lights(), illuminant_k, results_.file, "white balance",
                               "results of cali awb, or of cali calibrate with a grey card"),
               values);
}

bool ValueChooser::nearest_gains(std::optional<double> illuminant_k, TuningValues& values) const {
    const std::vector<WhiteBalance> entries = lights();
    const WhiteBalance* const nearest = nearest_light(entries, illuminant_k);
    if (nearest != nullptr) {
        take_gains(*nearest, values);
    }
    return nearest != nullptr;
}

MatrixCalibration ValueChooser::matrix(std::optional<double> illuminant_k) const {
    return choose_by_light(applicable(results_.matrices, "colour_matrix"), illuminant_k, results_.file, "colour matrix",
                           "results of cali ccm, or of cali calibrate with a chart");
}

TableInput table_input(const MatrixCalibration& matrix) {
    return {matrix.file, matrix.illuminant_k, matrix.corrected, matrix.reference, matrix.limited};
}

}  // namespace cali::host
