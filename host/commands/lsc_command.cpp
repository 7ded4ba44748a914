#include "commands/commands.h"
#include "commands/run.h"
#include "commands/value_options.h"
#include "outputs/register_files.h"

namespace cali::host {
namespace {

struct LscOptions {
    std::filesystem::path frame;
    ValueOptions values;
    std::string grid;
    std::string type;
    std::optional<bool> denoise;
    LightOption light;
    ShadingFileChoice files;
    GeometryOptions geometry;
    RunOptions run;
};

void describe(Command& command, LscOptions& options) {
    command.option("FLAT", options.frame, "capture of an evenly lit surface").required();
    options.values.add_to(command, {ValueOptions::black_level});
    command.option("--grid", options.grid, "mesh nodes across and down, 4 to 129 each, 4761 in all; default 33x25")
        .type_name("COLSxROWS");
    command.option("--type", options.type, "what the gains correct: chroma_and_luma (default), chroma or luma")
        .suggests({"chroma_and_luma", "chroma", "luma"});
    command.flag("--denoise,!--no-denoise", options.denoise, "clean noise and dust before filtering");
    options.light.add_to(command, "colour temperature of the light, in kelvin");
    add_shading_options(command, options.files);
    options.geometry.add_to(command);
    options.run.add_to(command);
    command.examples(
        "  cali lsc flat.raw --size 1920x1080 --pattern RGGB --bits 12 --black-level 64\n"
        "  cali lsc shots/flat_5000K.raw --session shots/session.toml --grid 17x13 --registers --corrected");
}

ShadingSettings settings_of(const LscOptions& options) {
    const std::optional<Session> session = options.geometry.session();
    ShadingSettings settings = session ? session->shading : ShadingSettings{};
    if (!options.grid.empty()) {
        const auto [cols, rows] = parse_sides(options.grid, "--grid", "COLSxROWS such as 33x25");
        settings.set_grid(cols, rows, "--grid");
    }
    if (!options.type.empty()) {
        settings.type = parse_shading_type(options.type, "--type");
    }
    settings.denoise = options.denoise.value_or(settings.denoise);
    return settings;
}

int act(const LscOptions& options, const Invocation& invocation) {
    const ShadingSettings settings = settings_of(options);
    Run run(options.run, invocation, options.geometry.session());
    run.files().input(options.frame, "flat field");
    options.values.name_files(run.files());
    run.start();
    const std::filesystem::path folder = std::filesystem::path(options.run.results).parent_path();
    for (const std::filesystem::path& file : shading_file_names(folder, options.frame, options.files)) {
        run.own_output(file);
    }
    Capture flat = run.read(options.frame, options.geometry, options.light.kelvin());
    const Results known = options.values.values(flat, run);
    TuningValues values;
    (void)ValueChooser(known, options.run.force).black_level(flat.taken, values);
    Step<LensShading> step = flat_step(flat, values, settings, run.rules());
    if (step.usable()) {
        add_shading_files(
            run.outputs(), folder, *step.result, values.black_level, [&] { return std::move(flat); }, options.files);
    }
    run.take(step, [](Results& made, LensShading& result) { made.lens_shading.push_back(result); });
    return run.finish();
}

}  // namespace

void add_lsc_command(CommandLine& line) {
    add_command<LscOptions>(line, "lsc", "Lens shading from a flat field", describe, act);
}

}  // namespace cali::host
