#include "base/error.h"
#include "base/progress.h"
#include "captures/file_patterns.h"
#include "captures/headers.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "commands/value_options.h"
#include "outputs/svg_plot.h"

namespace cali::host {
namespace {

struct NoiseOptions {
    std::filesystem::path folder;
    std::vector<std::filesystem::path> levels;
    ValueOptions values;
    std::vector<int> window;
    std::optional<int> ref_level;
    std::string slope_format;
    std::string level_format;
    bool progress = false;
    std::filesystem::path plot;
    GeometryOptions geometry;
    RunOptions run;
};

void describe(Command& command, NoiseOptions& options) {
    command
        .option("FOLDER", options.folder,
                "folder of levels: its subfolders, or its files grouped by name up to the last '_'; default: the "
                "session's series")
        .takes(ValueKind::folder);
    command.option("--level", options.levels, "files of one level, such as 'l1_*.raw'; once per level, dark first")
        .type_name("PATTERN")
        .takes(ValueKind::file);
    options.values.add_to(command, {ValueOptions::black_level});
    command
        .option("--window", options.window,
                "X Y WIDTH HEIGHT, even; default: the centre, as large as the sums of the brightest level allow "
                "(docs/noise.md)")
        .expected(4)
        .whole_range(0, kMaxSide);
    command.option("--ref-level", options.ref_level, "code of the level register; default 1024").whole_range(0, 4095);
    command.option("--slope-format", options.slope_format, "register format of the slope; default U4.12");
    command.option("--level-format", options.level_format, "register format of the level; default U10.0");
    command.flag("--progress", options.progress, "show frames done, rate and time left also without a terminal");
    command.option("--plot", options.plot, "SVG of noise against level").type_name("FILE");
    options.geometry.add_to(command);
    options.run.add_to(command);
    command.examples(
        "  cali noise --session shots/session.toml --results shots/results.json --plot shots/noise.svg\n"
        "  cali noise series --size 1920x1080 --pattern RGGB --bits 12 --black-level 64\n"
        "  cali noise --level 'l1_*.pgm' --level 'l2_*.pgm' --pattern RGGB --slope-format U2.10");
}

/// For a black level by number, and for its gain.
Capture first_frame(const std::vector<SeriesLevel>& series, CaptureHeaders& headers) {
    for (const SeriesLevel& level : series) {
        if (!level.files.empty()) {
            Capture frame = headers.of(level.files.front());
            frame.taken.gain = level.gain ? level.gain : frame.metadata.gain;
            return frame;
        }
    }
    return {};
}

std::vector<SeriesLevel> series_of(const NoiseOptions& options, const std::optional<Session>& session) {
    if (!options.folder.empty() && !options.levels.empty()) {
        throw InputError("both a folder and --level are given, expected one of them");
    }
    if (!options.folder.empty()) {
        return levels_of_folder(options.folder);
    }
    if (options.levels.empty()) {
        if (!session || session->series.empty()) {
            throw InputError("no series is given, expected a folder, --level, or a session file with captures: series");
        }
        return session->series;
    }
    std::vector<SeriesLevel> levels;
    for (const std::filesystem::path& pattern : options.levels) {
        levels.push_back({matching_files(pattern)});
    }
    return levels;
}

NoiseSettings settings_of(const NoiseOptions& options, const std::optional<Session>& session) {
    NoiseSettings settings = session ? session->noise : NoiseSettings{};
    if (!options.window.empty()) {
        settings.window = Window{options.window[0], options.window[1], options.window[2], options.window[3]};
    }
    settings.ref_level = options.ref_level.value_or(settings.ref_level);
    settings.slope_format = options.slope_format.empty() ? settings.slope_format : options.slope_format;
    settings.level_format = options.level_format.empty() ? settings.level_format : options.level_format;
    check_noise_format(settings.slope_format, "--slope-format");
    check_noise_format(settings.level_format, "--level-format");
    return settings;
}

/// A line through levels of several gains is none.
void require_one_gain(const std::vector<SeriesLevel>& series, CaptureHeaders& headers) {
    auto gains = headers.series_by_gain(series);
    std::erase_if(gains, [](const auto& group) { return !group.first.gain; });
    if (gains.size() > 1) {
        throw InputError("the series has levels of " + to_text(gains[0].first) + " and " + to_text(gains[1].first) +
                         ", expected one gain: cali calibrate --only noise does each for itself");
    }
}

int act(const NoiseOptions& options, const Invocation& invocation) {
    const std::optional<Session> session = options.geometry.session();
    const std::vector<SeriesLevel> series = series_of(options, session);
    const NoiseSettings settings = settings_of(options, session);
    const Geometry geometry = options.geometry.geometry();
    Run run(options.run, invocation, session);
    for (const SeriesLevel& level : series) {
        for (const std::filesystem::path& file : level.files) {
            run.files().input(file, "frame");
        }
    }
    options.values.name_files(run.files());
    if (!options.plot.empty()) {
        run.files().output(options.plot, "--plot");
    }
    run.start();
    CaptureHeaders headers(geometry);
    require_one_gain(series, headers);
    SensorGeometry sensor;
    const Capture first = first_frame(series, headers);
    const Results known = options.values.values(first, run);
    TuningValues values;
    (void)ValueChooser(known, options.run.force).black_level(first.taken, values);
    Progress progress(frame_count(series), options.progress ? Progress::Lines::all : Progress::Lines::none);
    run.require_sensor(first.sensor, first.file);  // the others must be as the first
    const StepRules rules = run.rules();
    Step<NoiseResults> step =
        noise_step({series, geometry, values, settings, sensor, first.taken}, rules, [&](const CaptureEntry& entry) {
            Capture frame = read_entry(entry, geometry, rules.most_burst_difference());
            progress.step(frame.file.filename().string());
            return frame;
        });
    progress.finish();
    if (step.usable() && !options.plot.empty()) {
        run.outputs().add_text(options.plot, svg_text(describe(*step.result), "deviation"));
    }
    run.take(step, [](Results& made, NoiseResults& result) { made.noise.push_back(result); });
    return run.finish();
}

}  // namespace

void add_noise_command(CommandLine& line) {
    add_command<NoiseOptions>(line, "noise", "Noise profile from a brightness series", describe, act);
}

}  // namespace cali::host
