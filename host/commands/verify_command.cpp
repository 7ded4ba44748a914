#include <algorithm>
#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct VerifyOptions {
    std::string frame;
    std::string results;
    std::string out;
    std::string stage = "white-balance";
    double illuminant_k = 0;
    GeometryOptions geometry;
    OutputOptions output;
};

void run(const VerifyOptions& options) {
    const StoredResults stored = read_results(options.results);
    if (!stored.black_level) {
        throw InputError(options.results + ": holds no black level, expected results of cali blc or cali calibrate");
    }
    const bool whole_front_end = options.stage == "white-balance";
    const WhiteBalance white_balance =
        whole_front_end ? choose_white_balance(
                              stored, options.illuminant_k == 0 ? std::nullopt : std::optional(options.illuminant_k))
                        : WhiteBalance{};
    Capture frame = read_capture(options.frame, options.geometry.geometry());
    const LibraryOutput output = options.output.output();
    const LensShading* const shading = nearest_light(stored.lens_shading, white_balance.illuminant_k);
    const std::vector<uint32_t> corrected =
        whole_front_end
            ? apply_front_end(frame, *stored.black_level, shading != nullptr ? grids_of(*shading) : ShadingGrids{},
                              white_balance, output)
            : apply_black_level(frame, *stored.black_level, output);

    const auto above = std::ranges::count_if(corrected, [](uint32_t sample) { return sample > kLibraryFullScale; });
    const std::vector<uint16_t> samples = to_file_codes(corrected);
    const std::filesystem::path out = options.out;
    if (out.extension() == ".pgm") {
        write_pgm(out, frame.width, frame.height, kLibraryBits, samples);
    } else {
        write_raw(out, samples);
    }
    if (above != 0) {
        std::printf("%td samples above 4095 were limited to it\n", above);
    }
    std::printf("written: %s (%d x %d, %s, 12 bits)\n", options.out.c_str(), frame.width, frame.height,
                kPatternNames[static_cast<std::size_t>(frame.pattern)]);
}

}  // namespace

void add_verify_command(CLI::App& app) {
    auto options = std::make_shared<VerifyOptions>();
    CLI::App* command = app.add_subcommand("verify", "A capture through the ISP's front end with calibrated values");
    command->add_option("FRAME", options->frame, "capture, .raw or .pgm")->required();
    command->add_option("--results", options->results, "results file with the values to apply")
        ->type_name("FILE")
        ->required();
    command->add_option("--out", options->out, "corrected frame: .pgm, or else 16-bit little-endian samples; 12 bits")
        ->type_name("FILE")
        ->required();
    command->add_option("--stage", options->stage, "last stage to apply")
        ->check(CLI::IsMember({"black-level", "white-balance"}))
        ->capture_default_str();
    command->add_option("--illuminant", options->illuminant_k, "light whose gains are applied, in kelvin")
        ->check(NumberRange(1000.0, 40000.0));
    options->geometry.add_to(*command);
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali verify grey.raw --session shots/session.toml --results shots/results.json --illuminant 5000 "
        "--out corrected.pgm\n"
        "  cali verify dark.pgm --pattern RGGB --results results.json --stage black-level --out dark0.pgm");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
