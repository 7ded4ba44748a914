#include "base/conditions.h"

#include "base/text.h"

namespace cali::host {

std::string to_text(const Conditions& conditions) {
    std::string line = conditions.illuminant_k ? text("%g K", *conditions.illuminant_k) : "";
    if (conditions.gain) {
        line += (line.empty() ? "" : " at ") + text("gain %g", *conditions.gain);
    }
    return line;
}

}  // namespace cali::host
