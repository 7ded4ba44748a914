#include "calibrations/flat_field_faults.h"
#include "captures/read_capture.h"
#include "commands/commands.h"
#include "outputs/console.h"
#include "outputs/register_files.h"
#include "results/choose_values.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct LscOptions {
    std::string frame;
    std::string black_level;
    std::string grid;
    std::string type;
    std::optional<bool> denoise;
    LightOption light;
    bool force = false;
    std::string results = "results.json";
    ShadingFileChoice files;
    GeometryOptions geometry;
    OutputOptions output;
};

void describe(Command& command, LscOptions& options) {
    command.option("FLAT", options.frame, "capture of an evenly lit surface, .raw or .pgm").required();
    command.option("--black-level", options.black_level, "results file whose black level is subtracted")
        .type_name("FILE");
    command.option("--grid", options.grid, "mesh nodes across and down, 4 to 129 each, 4761 in all; default 33x25")
        .type_name("COLSxROWS");
    command.option("--type", options.type, "what the gains correct: chroma_and_luma (default), chroma or luma");
    command.flag("--denoise,!--no-denoise", options.denoise, "clean noise and dust before filtering");
    options.light.add_to(command, "colour temperature of the light, in kelvin");
    command.flag("--force", options.force, "calibrate on a capture that is no flat field, after saying why not");
    add_results_option(command, options.results);
    add_shading_options(command, options.files);
    options.geometry.add_to(command);
    options.output.add_to(command);
    command.examples(
        "  cali lsc flat.raw --size 1920x1080 --pattern RGGB --bits 12 --black-level results.json --results lsc.json\n"
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

void act(const LscOptions& options) {
    const BlackLevels black_level = read_black_level(options.black_level);
    Capture flat = read_capture(options.frame, options.geometry.geometry());
    const ShadingSettings settings = settings_of(options);
    const LibraryOutput output = options.output.output();
    require_flat(flat, black_level, options.force);
    CorrectedFlat corrected;
    Results results;
    results.sensor = flat.sensor;
    LensShading& shading =
        results.lens_shading.emplace_back(calibrate_flat_field(flat, black_level, settings, output, corrected));
    shading.illuminant_k = options.light.kelvin();
    write_results(options.results, results);
    print(describe(shading));
    print_written(options.results);
    PendingFiles files;
    add_shading_files(files, std::filesystem::path(options.results).parent_path(), shading, flat.sensor, corrected,
                      options.files);
    for (const std::filesystem::path& file : files.commit()) {
        print_written(file);
    }
}

}  // namespace

void add_lsc_command(CommandLine& line) {
    add_command<LscOptions>(line, "lsc", "Lens shading from a flat field", describe, act);
}

}  // namespace cali::host
