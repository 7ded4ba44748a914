#include "commands/commands.h"
#include "commands/run.h"
#include "results/describe_results.h"
#include "results/results_file.h"
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

int act(const ShowOptions& options, const Invocation& invocation) {
    const Results results = read_results(options.results);
    RunReport report = options.report.report(invocation.command);
    for (const DescribedSection& described : describe_all(results)) {
        report.section(described.section);
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
