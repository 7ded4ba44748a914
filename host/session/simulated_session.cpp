#include "session/simulated_session.h"

#include <sstream>

#include "base/text.h"
#include "session/session_lists.h"

namespace cali::host {
namespace {

/// What the files of the plan's first form do not tell.
bool states_gain(const SimulationPlan& plan) {
    return plan.forms.front() != ShotForm::dng && plan.gains != std::vector<double>{1};
}

std::string list(const SimulationPlan& plan, const std::vector<ShotNames::Entry>& entries, bool levels = false) {
    std::vector<ListedCapture> listed;
    listed.reserve(entries.size());
    for (const ShotNames::Entry& entry : entries) {
        listed.push_back({entry.files,
                          {entry.illuminant_k > 0 ? std::optional(entry.illuminant_k) : std::nullopt,
                           states_gain(plan) ? std::optional(entry.gain) : std::nullopt}});
    }
    return toml_list(listed, levels);
}

}  // namespace

std::string session_text(const SimulationPlan& plan, const ShotNames& names) {
    const SensorModel& sensor = plan.sensor;
    std::ostringstream out;
    out << "# Captures of a simulated sensor, and what it is made of.\ntruth = \"truth.json\"\n\n"
        << "[sensor]\nwidth = " << sensor.width << "\nheight = " << sensor.height
        << "\npattern = " << toml_string(pattern_text(sensor)) << "\nbits = " << sensor.bits
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
