#include "simulation/session_text.h"

#include <sstream>

#include "base/text.h"

namespace cali::host {
namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

/// What the files of the plan's first form do not tell.
bool states_gain(const SimulationPlan& plan) {
    return plan.forms.front() != ShotForm::dng && plan.gains != std::vector<double>{1};
}

/// Of captures, or of the series' levels.
std::string list(const SimulationPlan& plan, const std::vector<ShotNames::Entry>& entries, bool levels = false) {
    std::ostringstream out;
    out << "[\n";
    for (const ShotNames::Entry& entry : entries) {
        std::string files;
        for (const std::string& file : entry.files) {
            files += (files.empty() ? "" : ", ") + quoted(file);
        }
        out << "    { " << (entry.files.size() == 1 && !levels ? "file = " + files : "files = [" + files + "]")
            << (entry.illuminant_k > 0 ? text(", illuminant_k = %g", entry.illuminant_k) : "")
            << (states_gain(plan) ? text(", gain = %g", entry.gain) : "") << " },\n";
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
        << "\npattern = " << quoted(pattern_text(sensor)) << "\nbits = " << sensor.bits
        << (plan.forms.front() == ShotForm::mipi ? text("\npacking = \"raw%d\"", sensor.bits) : "")
        << "\n\n[captures]\n# Lens capped.\ndark = " << list(plan, names.dark)
        << "# An evenly lit, bright surface.\nflat = " << list(plan, names.flat)
        << "# A grey card.\ngrey = " << list(plan, names.grey) << "# The 24-patch chart"
        << (plan.chart_view ? "" : ", filling the frame") << ".\nchart = " << list(plan, names.chart)
        << "# Uniform light on the sensor, without a lens, from dark to bright.\nseries = "
        << list(plan, names.series, true) << "\n[black_level]\nmethod = \"median\"\n"
        << (plan.chart_view ? "" : "\n[colour_matrix]\nfills_frame = true\n");
    return out.str();
}

}  // namespace cali::host
