#include "results/codecs.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 3> kStandingNames = {"passed", "rejected", "forced"};

const char* standing_name(Standing standing) { return kStandingNames[static_cast<std::size_t>(standing)]; }
Standing parse_standing(const std::string& text, const std::string& where) {
    return parse_choice<Standing>(kStandingNames, text, where);
}

const char* source_name(Source source) { return kSourceNames[static_cast<std::size_t>(source)]; }
Source parse_source(const std::string& text, const std::string& where) {
    return parse_choice<Source>(kSourceNames, text, where);
}

}  // namespace

void option_fields(Archive& archive, OptionRecord& options) {
    archive.list("options", options, [](Archive entry, std::pair<std::string, std::string>& option) {
        entry.field("name", option.first);
        entry.field("value", option.second);
    });
}

void input_fields(Archive& archive, std::vector<InputRecord>& inputs) {
    archive.list("inputs", inputs, [](Archive entry, InputRecord& input) {
        entry.file("file", input.file);
        entry.field("bytes", input.bytes);
        entry.field("xxh3_128", input.digest);
    });
}

void record_fields(Archive& archive, Record& record) {
    archive.named("status", record.standing, standing_name, parse_standing);
    archive.object("made", [&](Archive made) {
        made.field("command", record.command);
        option_fields(made, record.options);
        input_fields(made, record.inputs);
        made.list("in_force", record.in_force, [](Archive entry, Setting& setting) {
            entry.field("name", setting.name);
            entry.field("value", setting.value);
            entry.named("source", setting.source, source_name, parse_source);
        });
        made.list("values", record.values, [](Archive entry, ValueRecord& value) {
            entry.field("section", value.section);
            entry.field("entry", value.entry);
            entry.field("xxh3_128", value.digest);
            entry.field("given", value.given);
        });
    });
}

void fields(Archive& archive, Finding& finding) {
    archive.field("code", finding.code);
    archive.named("severity", finding.severity, severity_name, parse_severity);
    archive.field("calibration", finding.subject.calibration);
    std::optional<std::filesystem::path> capture;
    if (!finding.subject.capture.empty()) {
        capture = finding.subject.capture;
    }
    archive.file("capture", capture);
    finding.subject.capture = capture.value_or("");
    condition_fields(archive, finding.subject.taken);
    archive.field("place", finding.place);
    archive.field("value", finding.value);
    archive.field("uncertainty", finding.uncertainty);
    archive.field("unit", finding.unit);
    archive.field("limit", finding.limit);
    archive.field("message", finding.message);
}

void limit_fields(Archive& archive, Limits& limits) {
    archive.object("limits", [&](Archive table) {
        for (std::size_t i = 0; i < kChecks; ++i) {
            const auto check = static_cast<Check>(i);
            const char* const code = record_of(check).code;
            if (table.reading() && !table.holds(code)) {
                continue;  // a check that came later
            }
            std::array<double, 2> pair = {limits[check].warn, limits[check].fail};
            table.field(code, pair);
            limits.set(code, {pair[0], pair[1]}, table.where(code));
        }
    });
}

}  // namespace cali::host
