#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/text.h"
#include "captures/pgm_file.h"
#include "captures/raw_file.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "library/front_end.h"
#include "results/results_file.h"
#include "session/proof.h"

namespace cali::host {
namespace {

struct VerifyOptions {
    std::filesystem::path frame;
    std::filesystem::path results;
    std::filesystem::path out;
    std::string stage = "white-balance";
    std::string kind;
    LightOption light;
    std::filesystem::path limits;
    bool fills_frame = false;
    bool force = false;
    GeometryOptions geometry;
    ReportOptions report;
};

void describe(Command& command, VerifyOptions& options) {
    command.option("FRAME", options.frame, "capture").required();
    command.option("--results", options.results, "results file with the values to apply").type_name("FILE").required();
    command
        .option("--out", options.out,
                "corrected frame: .pgm, or else 16-bit little-endian samples; 12 bits. Needed where nothing is judged")
        .type_name("FILE");
    command
        .option("--as", options.kind,
                "what the capture shows, to be judged: flat, grey or chart; default: what the session names it")
        .one_of({"flat", "grey", "chart"});
    command.option("--stage", options.stage, "last stage of the frame that is written")
        .one_of({"black-level", "white-balance"})
        .show_default();
    options.light.add_to(command, "light whose values are applied, in kelvin; default: what the session says");
    command.flag("--fills-frame", options.fills_frame,
                 "the chart fills the frame; default: what the session says, or else it is found");
    command.option("--limits", options.limits, "limits of the checks (docs/limits.md)").type_name("FILE");
    command.flag("--force", options.force, "apply values that were rejected, or that are another sensor's");
    options.geometry.add_to(command);
    options.report.add_to(command);
    command.examples(
        "  cali verify grey.raw --session shots/session.toml --results shots/results.json --as grey --illuminant 5000\n"
        "  cali verify shots/chart_5000K.raw --session shots/session.toml --results shots/results.json\n"
        "  cali verify dark.pgm --pattern RGGB --results results.json --stage black-level --out dark0.pgm");
}

/// What the session says of the capture, where it names it.
std::optional<ProofKind> kind_in(const Session& session, const std::filesystem::path& frame,
                                 std::optional<double>& illuminant_k) {
    const std::pair<ProofKind, const std::vector<CaptureEntry>*> lists[] = {
        {ProofKind::flat, &session.flat}, {ProofKind::grey, &session.grey}, {ProofKind::chart, &session.chart}};
    for (const auto& [kind, captures] : lists) {
        for (const CaptureEntry& lit : *captures) {
            std::error_code error;
            if (std::filesystem::equivalent(lit.file(), frame, error)) {
                illuminant_k = illuminant_k ? illuminant_k : lit.taken.illuminant_k;
                return kind;
            }
        }
    }
    return std::nullopt;
}

ProofKind parse_kind(const std::string& text) {
    return text == "flat" ? ProofKind::flat : text == "grey" ? ProofKind::grey : ProofKind::chart;
}

void write_frame(const VerifyOptions& options, Capture frame, const TuningValues& values, const LibraryOutput& output,
                 RunReport& report) {
    const Samples corrected = options.stage == "white-balance" ? apply_front_end(frame, values, output)
                                                               : apply_black_level(frame, values.black_level, output);
    const auto above = std::ranges::count_if(corrected, [](uint32_t sample) { return sample > kLibraryFullScale; });
    const Codes samples = to_file_codes(corrected);
    const std::filesystem::path out = options.out;
    const SensorGeometry& sensor = frame.sensor;
    if (out.extension() == ".pgm") {
        write_pgm(out, sensor.width, sensor.height, kLibraryBits, samples);
    } else {
        write_raw(out, samples);
    }
    if (above != 0) {
        report.note(text("%td samples above 4095 were limited to it", above));
    }
    report.written(out);
}

int act(const VerifyOptions& options, const Invocation& invocation) {
    const std::optional<Session> session = options.geometry.session();
    std::optional<double> light = options.light.kelvin();
    std::optional<ProofKind> kind = session ? kind_in(*session, options.frame, light) : std::nullopt;
    kind = options.kind.empty() ? kind : parse_kind(options.kind);
    if (!kind && options.out.empty()) {
        throw InputError("nothing to do with " + options.frame.string() +
                         ": expected --as, or --out for a corrected frame");
    }
    RunFiles files;
    files.input(options.frame, "capture");
    files.values(options.results, "--results");
    if (session) {
        files.input(session->file, "session");
    }
    if (!options.out.empty()) {
        files.output(options.out, "--out");
    }
    files.log(options.report.output.log());
    Limits limits = session ? session->limits : Limits{};
    if (!options.limits.empty()) {
        read_limits(options.limits, limits);
    }
    const Results stored = read_results(options.results);
    Capture frame = options.geometry.capture(options.frame);
    frame.taken.illuminant_k = light;
    RunReport report = options.report.report(invocation.command, files);
    const LibraryOutput output = options.report.output.output();
    const StepRules rules{output, limits, invocation.command, invocation.options, options.force};
    std::vector<Finding> findings;
    if (!same_sensor(frame.sensor, stored.sensor)) {
        if (!options.force) {
            require_same_sensor(frame.sensor, options.frame.string(), stored.sensor, options.results.string());
        }
        Judge judge(limits, {"", frame.file, {}});
        judge.say(Check::other_sensor, Severity::warn, to_text(frame.sensor) + "; values of " + to_text(stored.sensor));
        findings = judge.take();
    }
    const ValueChooser chooser(stored, options.force);
    TuningValues values;
    if (!chooser.black_level(frame.taken, values)) {
        throw InputError(options.results.string() +
                         ": holds no black level, expected results of cali blc or cali calibrate");
    }
    const bool whole_front_end = options.stage == "white-balance";
    if (kind ? *kind != ProofKind::flat : whole_front_end) {
        chooser.gains(frame.taken, values);
    }
    if (kind || whole_front_end) {
        chooser.grids({light ? light : values.gains_k, frame.taken.gain}, values);
    }
    report.note(applied_values(values));
    if (kind) {
        SessionPlaces places{session ? session->white_balance_window : std::nullopt,
                             session ? session->matrix.place : ChartPlace{}};
        if (options.fills_frame) {
            places.chart = {};
            places.chart.fills_frame = true;
        }
        Proof proof = prove(*kind, frame, stored, values, places, rules);
        report.section(proof.section);
        findings.insert(findings.end(), proof.findings.begin(), proof.findings.end());
    }
    report.findings(findings);
    if (!options.out.empty()) {
        write_frame(options, std::move(frame), values, output, report);
    }
    report.closing(kind.has_value());
    report.finish();
    return options.report.status(worst(findings));
}

}  // namespace

void add_verify_command(CommandLine& line) {
    add_command<VerifyOptions>(line, "verify", "A capture through the ISP's front end with calibrated values, judged",
                               describe, act);
}

}  // namespace cali::host
