#include <algorithm>
#include <array>
#include <cstdio>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "commands/commands.h"
#include "session/simulated_session.h"
#include "simulation/truth.h"

namespace cali::host {
namespace {

constexpr const char* kTruthName = "truth.json";
constexpr const char* kSessionName = "session.toml";

struct SimulateOptions {
    std::filesystem::path folder;
    std::string size = "1920x1080";
    std::string pattern = "RGGB";
    std::string format = "both";
    std::string naming = "plain";
    std::string chart = "fills-frame";
    std::vector<double> axis;
    std::vector<std::string> faults;
    bool overwrite = false;
    SimulationPlan plan;
};

void describe(Command& command, SimulateOptions& options) {
    command.option("DIR", options.folder, "folder for captures, session.toml and truth.json")
        .required()
        .takes(ValueKind::folder);
    command.option("--size", options.size, "frame size, up to 8192x8192").type_name("WxH").show_default();
    command.option("--pattern", options.pattern, "BGGR, GBRG, GRBG, RGGB, or MONO: all photosites green")
        .suggests({"RGGB", "BGGR", "GRBG", "GBRG", "MONO"})
        .show_default();
    command.option("--bits", options.plan.sensor.bits, "bit depth of the files")
        .whole_range(kMinBits, kMaxBits)
        .show_default();
    command.option("--seed", options.plan.seed, "the same seed gives the same files").show_default();
    command
        .option("--format", options.format,
                "raw (16-bit little-endian), pgm, both of them, tiff, png, dng, or mipi (packed raw)")
        .one_of({"raw", "pgm", "both", "tiff", "png", "dng", "mipi"})
        .show_default();
    command
        .option("--names", options.naming,
                "plain; geometry: raw files tell it, as in dark_1_1920x1080_12bits_RGGB.raw; or tuning: as in "
                "alsc_5000k_1 and chart_5000k_120l, without grey cards")
        .one_of({"plain", "geometry", "tuning"})
        .show_default();
    command.option("--illuminants", options.plan.illuminants, "colour temperatures in kelvin")
        .range(kMinIlluminantK, kMaxIlluminantK)
        .show_default();
    command
        .option("--gains", options.plan.gains,
                "analogue gains, with commas: dark frames and series at each, all else at the lowest")
        .range(kLeastSimulatedGain, kMostSimulatedGain)
        .separated_by(',')
        .show_default();
    command.flag("--all-at-every-gain", options.plan.all_at_every_gain,
                 "flat fields, grey cards and charts at every gain as well");
    command.option("--burst", options.plan.burst, "frames of every flat field, grey card and chart, to be averaged")
        .whole_range(1, kMostSimulatedBurst)
        .show_default();
    command
        .option("--chart", options.chart,
                "fills-frame; or perspective: somewhere among other things, tilted, another place for another seed")
        .one_of({"fills-frame", "perspective"})
        .show_default();
    command.option("--axis", options.axis, "optical axis, photosites right of and below the centre").expected(2);
    command
        .option("--bend", options.plan.sensor.bend,
                "how far chart colours leave a linear response; 0: a matrix can mend them all")
        .range(-1.0, 1.0)
        .show_default();
    command.option("--read-noise", options.plan.sensor.read_noise, "standard deviation in 12-bit codes")
        .range(0.0, 200.0)
        .show_default();
    command.option("--conversion-gain", options.plan.sensor.conversion_gain, "12-bit codes per electron")
        .range(0.0, 100.0)
        .show_default();
    command.option("--dark-frames", options.plan.dark_frames, "how many").whole_range(1, 999).show_default();
    command.option("--series-levels", options.plan.series_levels, "brightness levels")
        .whole_range(0, 99)
        .show_default();
    command.option("--series-frames", options.plan.series_frames, "frames per brightness level")
        .whole_range(1, 999)
        .show_default();
    command
        .option("--fault", options.faults,
                "NAME or NAME=AMOUNT: captures that something is wrong with (docs/simulation.md)")
        .type_name("NAME[=AMOUNT]");
    command.flag("--overwrite", options.overwrite, "replace files of these names that the folder holds");
    command.examples(
        "  cali simulate shots\n"
        "  cali simulate shots --size 640x480 --pattern GRBG --bits 10 --format pgm --seed 7\n"
        "  cali simulate camera --format dng --names tuning\n"
        "  cali simulate real --gains 1,4 --burst 4 --chart perspective\n"
        "  cali simulate bad --fault tilt=8 --fault grey-on-chart");
}

/// Names have whole kelvin.
void require_distinct(std::vector<std::string> names) {
    std::ranges::sort(names);
    const auto twin = std::ranges::adjacent_find(names);
    if (twin != names.end()) {
        throw InputError("--illuminants: two lights would give files named " + *twin +
                         ", expected lights that differ by a kelvin or more");
    }
}

/// A folder of the user's own captures may have such names.
void require_no_files(const std::filesystem::path& folder, const std::vector<std::string>& names) {
    std::vector<std::filesystem::path> found;
    for (const std::string& name : names) {
        std::error_code error;
        if (std::filesystem::symlink_status(folder / path_of(name), error).type() !=
            std::filesystem::file_type::not_found) {
            found.push_back(folder / path_of(name));
        }
    }
    if (!found.empty()) {
        const std::string others =
            found.size() == 1 ? "" : text(", and %zu more of the files to be written", found.size() - 1);
        throw InputError(found[0].string() + ": exists already" + others +
                         "; expected a folder without them, or --overwrite");
    }
}

void require_no_shift(const SimulationPlan& plan) {
    if (std::ranges::find(plan.faults, FaultKind::chart_shift, &Fault::kind) != plan.faults.end()) {
        throw InputError(
            "--fault chart-shift: a chart in perspective has no place to be off, expected --chart fills-frame");
    }
}

std::vector<ShotForm> forms_of(const std::string& format) {
    if (format == "both") {
        return {ShotForm::raw, ShotForm::pgm};
    }
    constexpr std::array kNames = {"raw", "pgm", "tiff", "png", "dng", "mipi"};
    return {static_cast<ShotForm>(std::ranges::find(kNames, format) - kNames.begin())};
}

int act(const SimulateOptions& options, const Invocation& /*invocation*/) {
    SimulationPlan plan = options.plan;
    SensorModel& sensor = plan.sensor;
    plan.forms = forms_of(options.format);
    plan.naming = options.naming == "plain"      ? ShotNaming::plain
                  : options.naming == "geometry" ? ShotNaming::geometry
                                                 : ShotNaming::tuning;
    check_forms(plan);
    Geometry geometry;
    set_size(geometry, options.size);
    sensor.width = check_number(*geometry.width, 24, 8192, "width");
    sensor.height = check_number(*geometry.height, 16, 8192, "height");
    set_pattern(geometry, options.pattern, "--pattern");
    sensor.pattern = *geometry.pattern;
    if (geometry.mono) {
        sensor.take_colours_away();
    }
    sensor.axis_x = options.axis.empty() ? 0.008 * sensor.width : options.axis[0];
    sensor.axis_y = options.axis.empty() ? -0.006 * sensor.width : options.axis[1];
    sensor.round_pedestals();
    for (const std::string& fault : options.faults) {
        plan.faults.push_back(parse_fault(fault, "--fault"));
    }

    plan.gains = checked_gains(plan.gains, "--gains");
    if (options.chart == "perspective") {
        plan.chart_view = session_view(plan.seed);
        require_no_shift(plan);
    }

    const std::filesystem::path folder = options.folder;
    std::vector<std::string> files = shot_files(plan);
    require_distinct(files);
    if (!options.overwrite) {
        files.emplace_back(kTruthName);
        files.emplace_back(kSessionName);
        require_no_files(folder, files);
    }
    make_folder(folder);
    const ShotNames names = take_shots(plan, folder);
    write_text_file(folder / kTruthName, truth_text(plan));
    write_text_file(folder / kSessionName, session_text(plan, names));
    std::printf("written: %zu captures of %d x %d, %s, %d bits; %s; %s\n", names.count(), sensor.width, sensor.height,
                pattern_name(sensor.pattern), sensor.bits, (folder / kSessionName).string().c_str(),
                (folder / kTruthName).string().c_str());
    return 0;
}

}  // namespace

void add_simulate_command(CommandLine& line) {
    add_command<SimulateOptions>(line, "simulate", "Captures of a simulated sensor with known truth", describe, act);
}

}  // namespace cali::host
