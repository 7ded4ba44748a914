#include "base/error.h"
#include "base/text.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "results/comparison.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct DiffOptions {
    std::filesystem::path golden;
    std::filesystem::path results;
    std::filesystem::path limits;
    ReportOptions report;
};

void describe(Command& command, DiffOptions& options) {
    command.option("GOLDEN", options.golden, "results file of a sample that is known to be good").required();
    command.option("RESULTS", options.results, "results file of the unit under test").required();
    command.option("--limits", options.limits, "limits of the differences, under [diff] (docs/limits.md)")
        .type_name("FILE");
    options.report.add_to(command);
    command.examples("  cali diff golden.json unit_17.json --limits line.toml");
}

Section section_of(const Comparison& comparison) {
    Section section;
    section.title = "Golden sample, unit, and their difference";
    Table& table = section.tables.emplace_back();
    table.columns = {{"calibration", 20, true}, {"light", 16, true}, {"figure", 34, true}, {"golden", 12}, {"unit", 12},
                     {"difference", 18},        {"", 5, true}};
    for (const Difference& difference : comparison.differences) {
        const auto number = [](double value) { return std::isnan(value) ? std::string("-") : text("%.5g", value); };
        table.rows.push_back(
            {{difference.section, difference.entry, difference.figure, number(difference.golden),
              number(difference.found),
              text("%+.3g%s%s", difference.difference, difference.unit.empty() ? "" : " ", difference.unit.c_str()),
              severity_name(difference.severity)},
             ""});
        section.figures.push_back(
            {difference.section + (difference.entry.empty() ? "" : " " + difference.entry) + " " + difference.figure,
             difference.difference, difference.unit});
    }
    return section;
}

int act(const DiffOptions& options, const Invocation& invocation) {
    Limits limits;
    if (!options.limits.empty()) {
        read_limits(options.limits, limits);
    }
    const Results golden = read_results(options.golden);
    const Results results = read_results(options.results);
    require_same_sensor(results.sensor, options.results.string(), golden.sensor, options.golden.string());
    RunReport report = options.report.report(invocation.command);
    const Comparison comparison = compare(golden, results, limits);
    report.section(section_of(comparison));
    report.findings(comparison.findings);
    // Of the differences, not of what the unit's own checks said.
    Results judged = results;
    judged.findings = comparison.findings;
    report.verdict(judged);
    report.finish();
    return options.report.status(worst(comparison.findings));
}

}  // namespace

void add_diff_command(CommandLine& line) {
    add_command<DiffOptions>(line, "diff", "Two results files side by side, and whether they agree", describe, act);
}

}  // namespace cali::host
