#include "commands/run.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/error.h"
#include "base/file_lock.h"
#include "base/text.h"
#include "captures/burst.h"
#include "outputs/report.h"
#include "results/merge.h"
#include "results/results_file.h"
#include "results/sections.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

constexpr std::array<std::pair<const char*, const char*>, 7> kSectionsOfCommands = {
    {{"blc", "black_level"},
     {"lsc", "lens_shading"},
     {"awb", "white_balance"},
     {"awb-curve", "white_balance_curve"},
     {"ccm", "colour_matrix"},
     {"clut", "colour_table"},
     {"noise", "noise"}}};

std::string section_of(const std::string& command) {
    const auto* const found =
        std::ranges::find(kSectionsOfCommands, command, [](const auto& entry) { return entry.first; });
    return found == kSectionsOfCommands.end() ? "" : found->second;
}

bool is_there(const std::filesystem::path& file) {
    std::error_code error;
    return !is_passed_on(file) && std::filesystem::exists(file, error);
}

/// Before any work: that it will be a file.
void require_writable(const std::filesystem::path& file) {
    std::error_code error;
    if (is_passed_on(file)) {
        return;
    }
    if (std::filesystem::is_directory(file, error)) {
        throw InputError(file.string() + ": is a folder, expected a file name to write to");
    }
    const std::filesystem::path folder = std::filesystem::absolute(file).parent_path();
    if (!std::filesystem::is_directory(folder, error)) {
        throw InputError(file.string() + ": cannot be written: there is no folder " + folder.filename().string());
    }
}

/// "size 640x480 (session), pattern RGGB (metadata)": what differs between captures stands there several times.
std::string settings_in_force(const Results& made) {
    std::vector<std::string> seen;
    for_each_record(made, [&](const char*, const std::string&, const Record& record) {
        for (const Setting& setting : record.in_force) {
            const std::string words = setting.name + " " + setting.value + " (" +
                                      kSourceNames[static_cast<std::size_t>(setting.source)] + ")";
            if (std::ranges::find(seen, words) == seen.end()) {
                seen.push_back(words);
            }
        }
    });
    std::string line;
    for (const std::string& words : seen) {
        line += (line.empty() ? "" : ", ") + words;
    }
    return line;
}

}  // namespace

void ReportOptions::add_to(Command& command) {
    command.flag("--strict", strict, "status 3 where a check only warns");
    command.flag("--json", json, "the whole run as one JSON document on standard output, and nothing else there");
    output.add_to(command);
}

RunReport ReportOptions::report(const std::string& command, const RunFiles& files) const {
    using Style = RunReport::Style;
    if (json || output.verbose()) {
        files.require_standard_output(json ? "--json" : "--verbose");
    }
    if (mute || files.standard_output_taken()) {
        return {command, mute ? Style::mute : Style::silent};
    }
    return {command, json ? Style::json : output.verbose() ? Style::verbose : Style::text};
}

int ReportOptions::status(Severity severity) const {
    constexpr int kFailed = 1;
    constexpr int kWarned = 3;
    return severity == Severity::fail ? kFailed : severity == Severity::warn && strict ? kWarned : 0;
}

void RunOptions::add_to(Command& command) {
    command.option("--results", results, "results file that earlier steps left, and that this one is added to")
        .type_name("FILE")
        .show_default();
    command.flag("--new", fresh, "start the results file afresh");
    add_rules_to(command);
}

void RunOptions::add_rules_to(Command& command) {
    command.flag("--force", force, "apply values, and write results, that fail their checks");
    command.option("--limits", limits, "limits of the checks (docs/limits.md), over those of the session")
        .type_name("FILE");
    report.add_to(command);
}

Run::Run(const RunOptions& options, Invocation invocation, const std::optional<Session>& session)
    : options_(options), invocation_(std::move(invocation)) {
    if (session) {
        limits_ = session->limits;
        session_black_level_ = session->black_level_offset;
        files_.input(session->file, "session");
    }
    if (!options.limits.empty()) {
        files_.input(options.limits, "--limits");
    }
    files_.log(options.report.output.log());
    require_writable(options.results);
    files_.growing(options.results, "--results");
}

void Run::start() {
    report_ = options_.report.report(invocation_.command, files_);
    if (!options_.limits.empty()) {
        read_limits(options_.limits, limits_);
    }
    if (options_.fresh) {
        earlier_outputs_ = outputs_to_replace(options_.results);
    } else if (is_there(options_.results)) {
        earlier_ = read_results(options_.results);
        earlier_outputs_ = earlier_.outputs;
    }
    made_.limits = limits_;
    made_.sensor = earlier_.sensor;
    output_ = options_.report.output.output();
}

void Run::own_output(const std::filesystem::path& file) {
    files_.output(file, "output");
    const bool known = std::ranges::any_of(earlier_outputs_, [&](const std::filesystem::path& output) {
        return output.lexically_normal() == file.lexically_normal();
    });
    if (is_there(file) && !known) {
        throw InputError(file.string() + ": is there already, and " + options_.results.string() +
                         " does not know it for an output of an earlier run: move it away");
    }
}

void Run::page(const std::filesystem::path& file) {
    page_ = file;
    if (!file.empty()) {
        require_writable(file);
        files_.output(file, "--report");
    }
}

StepRules Run::rules() const { return {*output_, limits_, invocation_.command, invocation_.options, options_.force}; }

void Run::require_sensor(const SensorGeometry& sensor, const std::filesystem::path& file) {
    const SensorGeometry before = std::exchange(made_.sensor, sensor);
    const bool known = before.width != 0;
    if (!known || same_sensor(before, sensor)) {
        return;
    }
    const auto name = [](const std::filesystem::path& path) { return path.filename().string(); };
    const std::string message = name(file) + ": " + to_text(sensor) + "; " + name(options_.results) +
                                (earlier_.file.empty() ? ", or what is applied" : "") + ": " + to_text(before);
    if (!options_.force) {
        throw InputError(message + ": expected one sensor; --new starts the results afresh, --force applies them");
    }
    Judge judge(limits_, {section_of(invocation_.command), file, {}});
    judge.say(Check::other_sensor, Severity::warn, message + ": applied all the same (--force)");
    take_findings(judge.findings());
}

Results Run::read_values(const std::filesystem::path& file) {
    std::error_code error;
    if (!earlier_.file.empty() && std::filesystem::equivalent(file, earlier_.file, error)) {
        return earlier_;
    }
    Results values = read_results(file);
    require_sensor(values.sensor, values.file);
    for_each_record(values, [&](const char*, const std::string&, Record& record) {
        record.given = values.file.filename().generic_string();
    });
    return values;
}

Capture Run::read(const std::filesystem::path& file, const GeometryOptions& geometry,
                  std::optional<double> illuminant_k) {
    Capture capture = geometry.capture(file);
    capture.taken.illuminant_k = illuminant_k;
    require_sensor(capture.sensor, capture.file);
    return capture;
}

CaptureRead Run::reader(const Geometry& geometry) {
    return [this, geometry](const CaptureEntry& entry) {
        Capture capture = read_entry(entry, geometry, rules().most_burst_difference());
        require_sensor(capture.sensor, capture.file);
        return capture;
    };
}

void Run::take(Results made) {
    made_.sensor = made.sensor.width != 0 ? made.sensor : made_.sensor;
    merge(made_, std::move(made));
}

void Run::take_findings(const std::vector<Finding>& findings) {
    report_->findings(findings);
    made_.findings.insert(made_.findings.end(), findings.begin(), findings.end());
}

int Run::conclude(Severity severity) {
    report_->written(options_.results);
    const LibraryOutput::Lines& lines = output_->lines();
    if (lines.warn > 0) {
        report_->note(text("the library printed %zu lines, %zu of them WARN: -v shows them, --log keeps them",
                           lines.all, lines.warn));
    }
    report_->verdict(all_);
    report_->finish();
    return options_.report.status(severity);
}

int Run::finish(const AddFiles& add_files) {
    const Severity severity = worst(made_.findings);
    if (const std::string settings = settings_in_force(made_); !settings.empty()) {
        report_->note("in force: " + settings);
    }
    std::vector<std::filesystem::path> written = outputs_.targets();
    made_.outputs = written;
    // What earlier runs wrote and this one did not stays known for its own.
    std::ranges::copy_if(earlier_outputs_, std::back_inserter(made_.outputs), is_there);
    {
        // Another step may have added to the file since it was read.
        const FileLock lock(options_.results);
        if (!options_.fresh && is_there(options_.results)) {
            all_ = read_results(options_.results);
        }
        if (!page_.empty()) {
            made_.outputs.push_back(page_);
        }
        merge(all_, std::move(made_));
        if (!page_.empty()) {
            // What the file will hold, so that a page made of the file later is the same.
            outputs_.add_text(page_, report_text({{"", from_json(to_json(all_, {}), {})}}));
            written.push_back(page_);
        }
        if (add_files) {
            add_files(all_, outputs_);
        }
        outputs_.add_text(options_.results, results_text(options_.results, all_));
        outputs_.commit();
    }
    for (const std::filesystem::path& file : written) {
        report_->written(file);
    }
    return conclude(severity);
}

}  // namespace cali::host
