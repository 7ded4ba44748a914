/// What a colour table is asked for.
#pragma once

#include <string>

namespace cali::host {

enum class TableDomain { rgb, hsv };

[[nodiscard]] const char* table_domain_name(TableDomain domain);
/// Throws InputError.
[[nodiscard]] TableDomain parse_table_domain(const std::string& text, const std::string& where);

struct ColourTableSettings {
    TableDomain domain = TableDomain::rgb;
    int nodes = 33;       ///< per axis
    double strength = 1;  ///< 0 to 1
    double radius = 0.2;  ///< reach of a patch, in units of the axes
};

}  // namespace cali::host
