#include "outputs/export.h"

#include <algorithm>
#include <array>

#include "base/error.h"
#include "base/text.h"
#include "captures/capture_entry.h"
#include "outputs/cube_file.h"
#include "outputs/dng_tags.h"
#include "outputs/figures_csv.h"
#include "outputs/register_values.h"
#include "outputs/rkisp1_tuning.h"
#include "outputs/rpi_tuning.h"
#include "outputs/ti3_file.h"
#include "outputs/tuning_rules.h"
#include "results/choose_values.h"

namespace cali::host {
namespace {

/// The colour table of the chosen light.
ExportText cube(const Results& results, const Conditions& chosen) {
    std::vector<ColourTable> tables = usable_entries(results.tables);
    std::erase_if(tables,
                  [](const ColourTable& table) { return !table.needed || table.settings.domain != TableDomain::rgb; });
    const ColourTable& table =
        choose_entry(tables, chosen, results.file, "colour table",
                     "an rgb table that is needed and passed its checks, of cali clut or cali calibrate");
    return {cube_text(table), {}};
}

ExportText ti3(const Results& results, const Conditions& chosen) {
    return {ti3_text(ValueChooser(results, false).matrix(chosen)), {}};
}

template <const RpiTarget& target>
ExportText rpi(const Results& results, const Conditions& chosen) {
    return rpi_tuning(camera_values(results, chosen.gain), target);
}
template <const RpiTarget& target>
ExportText rpi_update(const Results& results, const Conditions& chosen, const ExportBase& base) {
    return update_rpi_tuning(camera_values(results, chosen.gain), target, base.text, base.file);
}

const std::array<ExportForm, 9> kForms = {{
    {"registers", "register text of one light",
     [](const Results& results, const Conditions& chosen) -> ExportText {
         return {register_values_text(results, chosen), {}};
     },
     nullptr},
    {"header", "the same as a C header",
     [](const Results& results, const Conditions& chosen) -> ExportText {
         return {register_values_header(results, chosen), {}};
     },
     nullptr},
    {"cube", "the colour table of one light", cube, nullptr},
    {"csv", "every figure",
     [](const Results& results, const Conditions&) -> ExportText {
         return {figures_csv(results), {}};
     },
     nullptr},
    {"rpi-bcm2835", "JSON tuning file", rpi<kBcm2835>, rpi_update<kBcm2835>},
    {"rpi-pisp", "JSON tuning file", rpi<kPisp>, rpi_update<kPisp>},
    {"rkisp1", "YAML tuning file",
     [](const Results& results, const Conditions& chosen) {
         return rkisp1_tuning(camera_values(results, chosen.gain));
     },
     [](const Results& results, const Conditions& chosen, const ExportBase& base) {
         return update_rkisp1_tuning(camera_values(results, chosen.gain), base.text, base.file);
     }},
    {"dng", "tags of DNG files",
     [](const Results& results, const Conditions& chosen) { return dng_tags(camera_values(results, chosen.gain)); },
     nullptr},
    {"ti3", "patches of one light for profilers", ti3, nullptr},
}};

}  // namespace

std::span<const ExportForm> export_forms() { return kForms; }

ExportText export_results(const Results& results, const std::string& form, const Conditions& chosen,
                          const ExportBase* base) {
    const auto found = std::ranges::find(kForms, form, [](const ExportForm& known) { return std::string(known.name); });
    if (found == kForms.end()) {
        throw InputError("--format " + form + ": no such form of export");
    }
    if (base == nullptr && found->update == nullptr) {
        return found->write(results, chosen);
    }
    if (found->update == nullptr) {
        throw InputError("--update: " + form +
                         " has no file to put values into, expected rpi-bcm2835, rpi-pisp or rkisp1");
    }
    ExportText made = base == nullptr ? found->write(results, chosen) : found->update(results, chosen, *base);
    const std::vector<std::string> faults =
        tuning_faults(made.text, base == nullptr ? form : base->file + " with its new values");
    if (!faults.empty()) {
        throw CalibrationError(faults.front() + text(" (faults in all: %zu)", faults.size()));
    }
    return made;
}

}  // namespace cali::host
