/// The manual page, of groff's man macros.
#pragma once

#include <string>

#include "commands/command_table.h"

namespace cali::host {

/// cali(1). Bears no date: the same table gives the same bytes.
[[nodiscard]] std::string man_page(const CommandTable& table);

}  // namespace cali::host
