#include <cmath>

#include "calibrations/chart_reference.h"
#include "results/codecs.h"

namespace cali::host {

void measured_fields(Archive& archive, const char* key, Measured& measured) {
    archive.object(key, [&](Archive figure) {
        figure.field("value", measured.value);
        figure.field("uncertainty", measured.uncertainty);
    });
}

void condition_fields(Archive& archive, Conditions& conditions) {
    archive.field("illuminant_k", conditions.illuminant_k);
    archive.field("analogue_gain", conditions.gain);
}

void window_fields(Archive& archive, const char* key, Window& window) {
    archive.object(key, [&](Archive sides) {
        sides.field("x", window.x, 0, kMaxSide);
        sides.field("y", window.y, 0, kMaxSide);
        sides.field("width", window.width, 0, kMaxSide);
        sides.field("height", window.height, 0, kMaxSide);
    });
}

void reference_field(Archive& archive, std::filesystem::path& file) {
    if (!archive.reading() || archive.holds("reference")) {
        archive.file_or("reference", file, kBuiltInReference);
    }
}

void patch_colours(Archive& archive, const char* key, std::vector<Colour>& colours) {
    archive.field(key, colours);
    if (colours.size() != kChartPatches) {
        archive.fail(key, std::to_string(colours.size()) + " colours", std::to_string(kChartPatches));
    }
}

void picture_numbers(Archive& archive, const char* key, std::vector<double>& values) {
    constexpr double kPerUnit = 1000;
    for (double& value : values) {
        value = std::round(value * kPerUnit) / kPerUnit;
    }
    archive.field(key, values);
}

void gain_fields(Archive& archive, GainRegisters& gains) {
    archive.object("gain_q10", [&](Archive colours) {
        colours.field("red", gains.red);
        colours.field("green", gains.green);
        colours.field("blue", gains.blue);
    });
}

}  // namespace cali::host
