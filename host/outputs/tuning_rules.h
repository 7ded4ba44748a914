/// What the readers of camera stacks refuse, or silently misread, in tuning files.
#pragma once

#include <string>
#include <vector>

namespace cali::host {

/// One line per fault, "FILE:LINE: ..."; empty where there is none. Files of the rpi stack (version 2.0, JSON) and of
/// the rkisp1 stack (version 1, YAML) are told apart by their version; what is no YAML or JSON has one fault.
[[nodiscard]] std::vector<std::string> tuning_faults(const std::string& text, const std::string& file);

}  // namespace cali::host
