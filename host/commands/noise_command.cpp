#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct NoiseOptions {
    std::string folder;
    std::vector<std::string> levels;
    std::string black_level;
    std::vector<int> window;
    std::optional<int> ref_level;
    std::string slope_format;
    std::string level_format;
    bool progress = false;
    std::string plot;
    std::string results = "noise.json";
    GeometryOptions geometry;
    OutputOptions output;
};

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
    for (const std::string& pattern : options.levels) {
        levels.push_back({matching_files(pattern)});
    }
    return levels;
}

void run(const NoiseOptions& options) {
    const std::optional<Session> session = options.geometry.session();
    const std::vector<SeriesLevel> series = series_of(options, session);
    NoiseSettings settings = session ? session->noise : NoiseSettings{};
    if (!options.window.empty()) {
        settings.window = Window{options.window[0], options.window[1], options.window[2], options.window[3]};
    }
    settings.ref_level = options.ref_level.value_or(settings.ref_level);
    settings.slope_format = options.slope_format.empty() ? settings.slope_format : options.slope_format;
    settings.level_format = options.level_format.empty() ? settings.level_format : options.level_format;
    settings.progress = options.progress;
    check_noise_format(settings.slope_format, "--slope-format");
    check_noise_format(settings.level_format, "--level-format");
    const BlackLevels black_level = read_black_level(options.black_level);
    const LibraryOutput output = options.output.output();
    Results results;
    results.noise =
        calibrate_noise(series, options.geometry.geometry(), black_level, settings, output, results.geometry);
    write_results(options.results, results);
    print_noise(*results.noise);
    std::printf("written: %s\n", options.results.c_str());
    if (!options.plot.empty()) {
        write_noise_plot(options.plot, *results.noise);
        std::printf("written: %s\n", options.plot.c_str());
    }
}

}  // namespace

void add_noise_command(CLI::App& app) {
    auto options = std::make_shared<NoiseOptions>();
    CLI::App* command = app.add_subcommand("noise", "Noise profile from a brightness series");
    command->add_option("FOLDER", options->folder,
                        "folder of levels: its subfolders, or its files grouped by name up to the last '_'; default: "
                        "the session's series");
    command
        ->add_option("--level", options->levels, "files of one level, such as 'l1_*.raw'; once per level, dark first")
        ->type_name("PATTERN");
    command->add_option("--black-level", options->black_level, "results file whose black level is subtracted")
        ->type_name("FILE");
    command
        ->add_option("--window", options->window,
                     "X Y WIDTH HEIGHT, even; default: the centre, at most 512 x 512 (docs/noise.md)")
        ->expected(4)
        ->check(CLI::Range(0, kMaxSide));
    command->add_option("--ref-level", options->ref_level, "code of the level register; default 1024")
        ->check(CLI::Range(0, 4095));
    command->add_option("--slope-format", options->slope_format, "register format of the slope; default U4.12");
    command->add_option("--level-format", options->level_format, "register format of the level; default U10.0");
    command->add_flag("--progress", options->progress, "show frames done, rate and time left also without a terminal");
    command->add_option("--plot", options->plot, "SVG of noise against level")->type_name("FILE");
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->geometry.add_to(*command);
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali noise --session shots/session.toml --black-level shots/results.json --plot shots/noise.svg\n"
        "  cali noise series --size 1920x1080 --pattern RGGB --bits 12 --black-level black.json\n"
        "  cali noise --level 'l1_*.pgm' --level 'l2_*.pgm' --pattern RGGB --slope-format U2.10");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
