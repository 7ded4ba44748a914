/// Walks over the sections of results: what holds for every calibration is written once.
#pragma once

#include <array>
#include <string>

#include "results/results.h"
#include "results/value_digest.h"

namespace cali::host {

/// Keys of the results file, in its order.
inline constexpr std::array<const char*, 7> kSectionNames = {
    "black_level", "lens_shading", "white_balance", "white_balance_curve", "colour_matrix", "colour_table", "noise"};

template <typename Use>
void for_each_section_name(Use use) {
    for (const char* const name : kSectionNames) {
        use(name);
    }
}

/// Light or capture of an entry; empty for what a file has once.
[[nodiscard]] inline std::string entry_of(const BlackLevelResults& results) { return entry_name(results.taken, {}); }
[[nodiscard]] inline std::string entry_of(const CurveResult&) { return ""; }
[[nodiscard]] inline std::string entry_of(const NoiseResults& results) { return entry_name(results.taken, {}); }
[[nodiscard]] inline std::string entry_of(const ColourTable& table) {
    return entry_name(table.input.taken, table.input.file);
}
template <typename Lit>
[[nodiscard]] std::string entry_of(const Lit& entry) {
    return entry_name(entry.taken, entry.file);
}

/// Calls `use(key, section)` with every section: an optional, or a vector of entries.
template <typename AnyResults, typename Use>
void for_each_section(AnyResults& results, Use use) {
    use(kSectionNames[0], results.black_level);
    use(kSectionNames[1], results.lens_shading);
    use(kSectionNames[2], results.white_balance);
    use(kSectionNames[3], results.curve);
    use(kSectionNames[4], results.matrices);
    use(kSectionNames[5], results.tables);
    use(kSectionNames[6], results.noise);
}

template <typename T, typename Use>
void for_each_entry(std::optional<T>& section, Use use) {
    if (section) {
        use(*section);
    }
}
template <typename T, typename Use>
void for_each_entry(const std::optional<T>& section, Use use) {
    if (section) {
        use(*section);
    }
}
template <typename T, typename Use>
void for_each_entry(std::vector<T>& section, Use use) {
    for (T& entry : section) {
        use(entry);
    }
}
template <typename T, typename Use>
void for_each_entry(const std::vector<T>& section, Use use) {
    for (const T& entry : section) {
        use(entry);
    }
}

/// Calls `use(key, entry's name, record)` for everything that was calibrated.
template <typename AnyResults, typename Use>
void for_each_record(AnyResults& results, Use use) {
    for_each_section(results, [&](const char* name, auto& section) {
        for_each_entry(section, [&](auto& entry) { use(name, entry_of(entry), entry.record); });
    });
}

}  // namespace cali::host
