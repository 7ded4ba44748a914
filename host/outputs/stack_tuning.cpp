#include "outputs/stack_tuning.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"
#include "cali/cali.h"

namespace cali::host {

std::string fragment_note(const CameraValues& values) {
    return "fragment of a tuning file: what cali " CALI_VERSION_STRING " measured, for the full area of " +
           by(values.sensor.width, values.sensor.height) +
           " photosites; put it into a whole file with cali export --update";
}

FoundSection find_section(const TuningNode& root, const std::string& name) {
    const TuningNode* const algorithms = root.find("algorithms");
    if (algorithms != nullptr) {
        for (const TuningNode& algorithm : algorithms->items) {
            for (const auto& [key, value] : algorithm.members) {
                if (key.text == name && (value.kind == TuningNode::Kind::map || value.is_empty())) {
                    return {&key, &value};
                }
            }
        }
    }
    return {};
}

void clip_modes(const TuningNode& modes, int low, int high, TuningEdits& edits) {
    for (const auto& [name, mode] : modes.members) {
        for (const char* const end : {"lo", "hi"}) {
            const TuningNode* const value = mode.find(end);
            if (value == nullptr || value->kind != TuningNode::Kind::scalar) {
                continue;
            }
            const double kelvin = std::strtod(value->text.c_str(), nullptr);
            if (kelvin < low || kelvin > high) {
                edits.replace(*value, std::to_string(kelvin < low ? low : high));
            }
        }
    }
}

}  // namespace cali::host
