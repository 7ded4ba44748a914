#include <algorithm>
#include <cstdio>

#include "base/error.h"
#include "captures/pgm_file.h"
#include "captures/raw_file.h"
#include "captures/read_capture.h"
#include "commands/commands.h"
#include "library/front_end.h"
#include "results/choose_values.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct VerifyOptions {
    std::string frame;
    std::string results;
    std::string out;
    std::string stage = "white-balance";
    LightOption light;
    GeometryOptions geometry;
    OutputOptions output;
};

void describe(Command& command, VerifyOptions& options) {
    command.option("FRAME", options.frame, "capture, .raw or .pgm").required();
    command.option("--results", options.results, "results file with the values to apply").type_name("FILE").required();
    command.option("--out", options.out, "corrected frame: .pgm, or else 16-bit little-endian samples; 12 bits")
        .type_name("FILE")
        .required();
    command.option("--stage", options.stage, "last stage to apply")
        .one_of({"black-level", "white-balance"})
        .show_default();
    options.light.add_to(command, "light whose gains are applied, in kelvin");
    options.geometry.add_to(command);
    options.output.add_to(command);
    command.examples(
        "  cali verify grey.raw --session shots/session.toml --results shots/results.json --illuminant 5000 "
        "--out corrected.pgm\n"
        "  cali verify dark.pgm --pattern RGGB --results results.json --stage black-level --out dark0.pgm");
}

int act(const VerifyOptions& options, const Invocation& /*invocation*/) {
    const Results stored = read_results(options.results);
    const ValueChooser chooser(stored, false);
    TuningValues values;
    if (!chooser.black_level(values)) {
        throw InputError(options.results + ": holds no black level, expected results of cali blc or cali calibrate");
    }
    const bool whole_front_end = options.stage == "white-balance";
    if (whole_front_end) {
        chooser.gains(options.light.kelvin(), values);
        chooser.grids(values.gains_k, values);
    }
    Capture frame = read_capture(options.frame, options.geometry.geometry());
    const LibraryOutput output = options.output.output();
    const std::vector<uint32_t> corrected =
        whole_front_end ? apply_front_end(frame, values, output) : apply_black_level(frame, values.black_level, output);

    const auto above = std::ranges::count_if(corrected, [](uint32_t sample) { return sample > kLibraryFullScale; });
    const std::vector<uint16_t> samples = to_file_codes(corrected);
    const std::filesystem::path out = options.out;
    const SensorGeometry& sensor = frame.sensor;
    if (out.extension() == ".pgm") {
        write_pgm(out, sensor.width, sensor.height, kLibraryBits, samples);
    } else {
        write_raw(out, samples);
    }
    if (above != 0) {
        std::printf("%td samples above 4095 were limited to it\n", above);
    }
    std::printf("written: %s (%d x %d, %s, 12 bits)\n", options.out.c_str(), sensor.width, sensor.height,
                pattern_name(sensor.pattern));
    return 0;
}

}  // namespace

void add_verify_command(CommandLine& line) {
    add_command<VerifyOptions>(line, "verify", "A capture through the ISP's front end with calibrated values", describe,
                               act);
}

}  // namespace cali::host
