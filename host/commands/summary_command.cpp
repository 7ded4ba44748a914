#include "commands/calibrate_units.h"
#include "commands/commands.h"

namespace cali::host {
namespace {

struct SummaryOptions {
    std::filesystem::path folder;
    bool strict = false;
};

void describe(Command& command, SummaryOptions& options) {
    command.option("DIR", options.folder, "folder that cali calibrate UNITS --out filled")
        .required()
        .takes(ValueKind::folder);
    command.flag("--strict", options.strict, "status 3 where a unit only warns");
    command.examples("  cali summary tuned");
}

int act(const SummaryOptions& options, const Invocation&) { return summarise_units(options.folder, options.strict); }

}  // namespace

void add_summary_command(CommandLine& line) {
    add_command<SummaryOptions>(line, "summary", "Many units' figures in one table, with those that lie off", describe,
                                act);
}

}  // namespace cali::host
