#include "simulation/session_text.h"

#include <sstream>

namespace cali::host {
namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string lit_list(const std::vector<ShotNames::Lit>& captures) {
    std::ostringstream text;
    text << "[\n";
    for (const auto& [file, kelvin] : captures) {
        text << "    { file = " << quoted(file) << ", illuminant_k = " << kelvin << " },\n";
    }
    text << "]\n";
    return text.str();
}

}  // namespace

std::string session_text(const SensorModel& sensor, const ShotNames& names) {
    std::ostringstream text;
    text << "# Captures of a simulated sensor; truth.json tells what it is made of.\n"
         << "[sensor]\nwidth = " << sensor.width << "\nheight = " << sensor.height
         << "\npattern = " << quoted(pattern_name(sensor.pattern)) << "\nbits = " << sensor.bits
         << "\n\n[captures]\n# Lens capped.\ndark = [\n";
    for (const std::string& file : names.dark) {
        text << "    " << quoted(file) << ",\n";
    }
    text << "]\n# An evenly lit, bright surface.\nflat = " << lit_list(names.flat)
         << "# A grey card.\ngrey = " << lit_list(names.grey)
         << "# The 24-patch chart, filling the frame.\nchart = " << lit_list(names.chart)
         << "# Uniform light on the sensor, without a lens, from dark to bright.\nseries = [\n";
    for (const std::vector<std::string>& level : names.series) {
        text << "    { files = [";
        for (std::size_t i = 0; i < level.size(); ++i) {
            text << (i == 0 ? "" : ", ") << quoted(level[i]);
        }
        text << "] },\n";
    }
    text << "]\n\n[black_level]\nmethod = \"median\"\n\n[colour_matrix]\nfills_frame = true\n";
    return text.str();
}

}  // namespace cali::host
