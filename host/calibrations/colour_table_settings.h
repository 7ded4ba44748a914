/// What a colour table is asked for.
#pragma once

#include <optional>
#include <string>

namespace cali::host {

enum class TableDomain { rgb, hsv };

[[nodiscard]] const char* table_domain_name(TableDomain domain);
/// Throws InputError.
[[nodiscard]] TableDomain parse_table_domain(const std::string& text, const std::string& where);

struct ColourTableSettings {
    TableDomain domain = TableDomain::rgb;
    int nodes = 33;                                 ///< per axis
    std::optional<double> strength = std::nullopt;  ///< 0 to 1; empty: chosen by leave-one-out
    std::optional<double> radius = std::nullopt;    ///< reach of a patch, in units of the axes; empty: chosen likewise
};

}  // namespace cali::host
