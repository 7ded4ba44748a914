#include <memory>

#include "commands.h"
#include "error.h"
#include "output_file.h"
#include "results.h"

namespace cali::host {
namespace {

struct CalibrateOptions {
    std::string session;
    std::string folder;
    OutputOptions output;
};

/// Samples are dropped, the rest describes the sensor.
void keep_geometry(Results& results, Capture capture) {
    capture.samples.clear();
    results.geometry = std::move(capture);
}

BlackLevelResults calibrate_black_level(const Session& session, const LibraryOutput& output, Results& results) {
    BlackLevelResults black_level;
    black_level.method = session.black_level_method;
    for (const std::filesystem::path& file : session.dark) {
        Capture dark = read_capture(file, session.geometry);
        black_level.frames.push_back(measure_dark_frame(dark, 0, output));
        keep_geometry(results, std::move(dark));
    }
    black_level.values = combine(black_level.frames, black_level.method);
    return black_level;
}

void run(const CalibrateOptions& options) {
    const Session session = read_session(options.session);
    if (session.dark.empty()) {
        throw InputError(options.session + ": captures: dark names no file, expected one dark frame or more");
    }
    const LibraryOutput output = options.output.output();
    Results results;
    results.black_level = calibrate_black_level(session, output, results);
    results.shading_is_unity = true;
    const ShadingGrids grids;
    for (const LitCapture& lit : session.grey) {
        Capture grey = read_capture(lit.file, session.geometry);
        const Window window = session.white_balance_window.value_or(default_window(grey.width, grey.height));
        results.white_balance.push_back(measure_grey_card(grey, results.black_level->values, grids, window, output));
        results.white_balance.back().illuminant_k = lit.illuminant_k;
    }

    const std::filesystem::path folder =
        options.folder.empty() ? session.file.parent_path() : std::filesystem::path(options.folder);
    if (!folder.empty()) {
        make_folder(folder);
    }
    const std::filesystem::path file = folder / "results.json";
    write_results(file, results);
    print_black_level(*results.black_level);
    std::printf("Lens shading: not calibrated yet, unity grids are applied\n");
    if (results.white_balance.empty()) {
        std::printf("White balance: the session names no grey card\n");
    } else {
        print_white_balance(results.white_balance);
    }
    std::printf("written: %s\n", file.string().c_str());
}

}  // namespace

void add_calibrate_command(CLI::App& app) {
    auto options = std::make_shared<CalibrateOptions>();
    CLI::App* command = app.add_subcommand("calibrate", "The whole chain on the captures of a session file");
    command->add_option("SESSION", options->session, "session file (docs/session.md)")->required();
    command->add_option("--out", options->folder, "folder for results.json; default: the session file's")
        ->type_name("DIR");
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali calibrate shots/session.toml\n"
        "  cali calibrate shots/session.toml --out tuning --log tuning/library.log");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
