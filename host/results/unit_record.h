/// What a run over many units keeps of each: enough to know it again, and to set it beside the others without its
/// results.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/output_file.h"
#include "base/record.h"
#include "results/units.h"

namespace cali::host {

/// Beside the unit's results.json.
inline constexpr const char* kUnitRecord = "unit.json";

struct UnitRecord {
    std::string name;     ///< of its folder, which has it instead of the file
    std::string version;  ///< of the program
    OptionRecord options;
    std::vector<InputRecord> inputs;  ///< by name alone: a unit may be looked at from elsewhere
    std::string error;                ///< why it was not calibrated; empty: it was
    Severity verdict = Severity::fail;
    std::vector<std::string> states;  ///< "pass", "warn", "fail", "not done": of kSectionNames, in their order
    std::vector<UnitFigure> figures;

    /// Whether the other is of the same inputs, read the same way by the same program.
    [[nodiscard]] bool same_inputs(const UnitRecord& other) const;
};

/// Of a unit that was calibrated; without inputs and options.
[[nodiscard]] UnitRecord unit_record(const std::string& name, const Results& results);

void add_unit_record(PendingFiles& files, const std::filesystem::path& folder, const UnitRecord& record);

/// Nothing where there is none, or where it is damaged or of another version's form.
[[nodiscard]] std::optional<UnitRecord> read_unit_record(const std::filesystem::path& folder);

/// Reads the file whole. Throws InputError.
[[nodiscard]] InputRecord input_record(const std::filesystem::path& file);

}  // namespace cali::host
