/// Lens-shading tables as text: for the ISP's register tooling, and for spreadsheets.
#pragma once

#include <string>

#include "stages/shading_tables.h"

namespace cali {

/// `name = value` lines, tables as here-documents of 16 values to a line.
[[nodiscard]] std::string lsc_register_text(const ShadingTables& tables);

/// Radial tables one to a line, then mesh tables one grid row to a line.
[[nodiscard]] std::string lsc_coefficient_csv(const ShadingTables& tables);

}  // namespace cali
