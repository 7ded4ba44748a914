#include "simulation/session_text.h"

#include <sstream>

#include "base/text.h"

namespace cali::host {
namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string lit_list(const std::vector<ShotNames::Lit>& captures) {
    std::ostringstream out;
    out << "[\n";
    for (const auto& [file, kelvin] : captures) {
        out << "    { file = " << quoted(file) << ", illuminant_k = " << kelvin << " },\n";
    }
    out << "]\n";
    return out.str();
}

}  // namespace

std::string session_text(const SimulationPlan& plan, const ShotNames& names) {
    const SensorModel& sensor = plan.sensor;
    std::ostringstream out;
    out << "# Captures of a simulated sensor; truth.json tells what it is made of.\n"
        << "[sensor]\nwidth = " << sensor.width << "\nheight = " << sensor.height
        << "\npattern = " << quoted(pattern_name(sensor.pattern)) << "\nbits = " << sensor.bits
        << (plan.forms.front() == ShotForm::mipi ? text("\npacking = \"raw%d\"", sensor.bits) : "")
        << "\n\n[captures]\n# Lens capped.\ndark = [\n";
    for (const std::string& file : names.dark) {
        out << "    " << quoted(file) << ",\n";
    }
    out << "]\n# An evenly lit, bright surface.\nflat = " << lit_list(names.flat)
        << "# A grey card.\ngrey = " << lit_list(names.grey)
        << "# The 24-patch chart, filling the frame.\nchart = " << lit_list(names.chart)
        << "# Uniform light on the sensor, without a lens, from dark to bright.\nseries = [\n";
    for (const std::vector<std::string>& level : names.series) {
        out << "    { files = [";
        for (std::size_t i = 0; i < level.size(); ++i) {
            out << (i == 0 ? "" : ", ") << quoted(level[i]);
        }
        out << "] },\n";
    }
    out << "]\n\n[black_level]\nmethod = \"median\"\n\n[colour_matrix]\nfills_frame = true\n";
    return out.str();
}

}  // namespace cali::host
