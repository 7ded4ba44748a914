#include "calibrations/colour_table_settings.h"

#include "base/choice.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 2> kDomainNames = {"rgb", "hsv"};

}  // namespace

const char* table_domain_name(TableDomain domain) { return kDomainNames[static_cast<std::size_t>(domain)]; }

TableDomain parse_table_domain(const std::string& text, const std::string& where) {
    return parse_choice<TableDomain>(kDomainNames, text, where);
}

}  // namespace cali::host
