#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "outputs/register_files.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct LscOptions {
    std::string frame;
    std::string black_level;
    std::string grid;
    std::string type;
    std::optional<bool> denoise;
    double illuminant_k = 0;
    bool force = false;
    std::string results = "results.json";
    ShadingFileOptions files;
    GeometryOptions geometry;
    OutputOptions output;
};

ShadingSettings settings_of(const LscOptions& options, const std::optional<Session>& session) {
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

void run(const LscOptions& options) {
    const BlackLevels black_level = read_black_level(options.black_level);
    Capture flat = read_capture(options.frame, options.geometry.geometry());
    const ShadingSettings settings = settings_of(options, options.geometry.session());
    const LibraryOutput output = options.output.output();
    require_flat(flat, black_level, options.force);
    CorrectedFlat corrected;
    Results results;
    results.lens_shading.push_back(calibrate_flat_field(flat, black_level, settings, output, corrected));
    LensShading& shading = results.lens_shading.back();
    if (options.illuminant_k > 0) {
        shading.illuminant_k = options.illuminant_k;
    }
    flat.samples.clear();
    results.geometry = flat;
    write_results(options.results, results);
    print_lens_shading(results.lens_shading);
    std::printf("written: %s\n", options.results.c_str());
    write_shading_files(std::filesystem::path(options.results).parent_path(), shading, corrected, flat, options.files);
}

}  // namespace

void add_lsc_command(CLI::App& app) {
    auto options = std::make_shared<LscOptions>();
    CLI::App* command = app.add_subcommand("lsc", "Lens shading from a flat field");
    command->add_option("FLAT", options->frame, "capture of an evenly lit surface, .raw or .pgm")->required();
    command->add_option("--black-level", options->black_level, "results file whose black level is subtracted")
        ->type_name("FILE");
    command
        ->add_option("--grid", options->grid, "mesh nodes across and down, 4 to 129 each, 4761 in all; default 33x25")
        ->type_name("COLSxROWS");
    command->add_option("--type", options->type, "what the gains correct: chroma_and_luma (default), chroma or luma");
    command->add_flag("--denoise,!--no-denoise", options->denoise, "clean noise and dust before filtering");
    command->add_option("--illuminant", options->illuminant_k, "colour temperature of the light, in kelvin")
        ->check(NumberRange(1000.0, 40000.0));
    command->add_flag("--force", options->force, "calibrate on a capture that is no flat field, after saying why not");
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->files.add_to(*command);
    options->geometry.add_to(*command);
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali lsc flat.raw --size 1920x1080 --pattern RGGB --bits 12 --black-level results.json --results lsc.json\n"
        "  cali lsc shots/flat_5000K.raw --session shots/session.toml --grid 17x13 --registers --corrected");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
