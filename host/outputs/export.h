/// Forms in which results leave: registers, tables, files of camera stacks.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "base/conditions.h"
#include "outputs/stack_tuning.h"
#include "results/results.h"

namespace cali::host {

/// A file into which values are to be put.
struct ExportBase {
    std::string text;
    std::string file;  ///< as messages name it
};

struct ExportForm {
    const char* name;
    const char* what;
    ExportText (*write)(const Results& results, const Conditions& chosen);
    /// Null where the form has none.
    ExportText (*update)(const Results& results, const Conditions& chosen, const ExportBase& base);
};

[[nodiscard]] std::span<const ExportForm> export_forms();

/// In the form of that name. A tuning file of a camera stack is held against its reader's rules: CalibrationError names
/// what they would refuse. Throws InputError where there is no such form, where `base` is none of it, or where a light
/// has to be chosen.
[[nodiscard]] ExportText export_results(const Results& results, const std::string& form, const Conditions& chosen,
                                        const ExportBase* base);

}  // namespace cali::host
