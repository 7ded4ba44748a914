#include "results/codecs.h"

namespace cali::host {

void fields(Archive& archive, WhiteBalance& result) {
    constexpr double kGainUnity = 1024.0;
    constexpr const char* kGreyCard = "grey card";
    constexpr const char* kChart = "chart";
    archive.file("file", result.file);
    condition_fields(archive, result.taken);
    archive.file_or_unity("lens_shading", result.flat_field);
    std::string measured_on = result.from_chart ? kChart : kGreyCard;
    archive.field("measured_on", measured_on);
    result.from_chart = measured_on == kChart;
    window_fields(archive, "window", result.window);
    gain_fields(archive, result.gains);
    Json gain;
    gain["red"] = result.gains.red / kGainUnity;
    gain["green"] = result.gains.green / kGainUnity;
    gain["blue"] = result.gains.blue / kGainUnity;
    archive.derived("gain", std::move(gain));
    archive.object("unrounded", [&](Archive unrounded) {
        measured_fields(unrounded, "red", result.unrounded.red);
        measured_fields(unrounded, "blue", result.unrounded.blue);
    });
    record_fields(archive, result.record);
}

}  // namespace cali::host
