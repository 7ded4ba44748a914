#include "commands/commands.h"
#include "commands/run.h"
#include "results/gain_model.h"
#include "results/results_file.h"
#include "results/sections.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

struct ShowOptions {
    std::filesystem::path results;
    ReportOptions report;
};

void describe(Command& command, ShowOptions& options) {
    command.option("RESULTS", options.results, "results file").required();
    options.report.add_to(command);
    command.examples("  cali show shots/results.json");
}

void show(RunReport& report, const std::vector<WhiteBalance>& cards) {
    if (!cards.empty()) {
        report.section(describe(cards));
    }
}
template <typename T>
void show(RunReport& report, const T& section) {
    for_each_entry(section, [&](const auto& entry) { report.section(describe(entry)); });
}

int act(const ShowOptions& options, const Invocation& invocation) {
    const Results results = read_results(options.results);
    RunReport report = options.report.report(invocation.command);
    for_each_section(results, [&](const char*, const auto& section) { show(report, section); });
    if (const auto model = gain_model(results)) {
        report.section(describe(*model));
    }
    std::vector<Finding> findings = results.findings;
    std::ranges::move(stale_sections(results), std::back_inserter(findings));
    report.findings(findings);
    report.verdict(results);
    report.finish();
    return options.report.status(worst(findings));
}

}  // namespace

void add_show_command(CommandLine& line) {
    add_command<ShowOptions>(line, "show", "What a results file holds, as its runs printed it", describe, act);
}

}  // namespace cali::host
