#include <cstdio>

#include "base/text_file.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "outputs/tuning_rules.h"

namespace cali::host {
namespace {

struct ValidateOptions {
    std::filesystem::path file;
};

void describe(Command& command, ValidateOptions& options) {
    command.option("FILE", options.file, "tuning file of the rpi or rkisp1 stack").required();
    command.examples(
        "  cali validate imx.json\n"
        "Status 0 where the stack's reader takes it whole, 1 with a line for each fault.");
}

int act(const ValidateOptions& options, const Invocation&) {
    const std::vector<std::string> faults =
        tuning_faults(read_text_file(options.file, "tuning file"), options.file.string());
    for (const std::string& fault : faults) {
        std::printf("%s\n", fault.c_str());
    }
    return faults.empty() ? 0 : 1;
}

}  // namespace

void add_validate_command(CommandLine& line) {
    add_command<ValidateOptions>(line, "validate", "Whether a camera stack's reader takes a tuning file", describe,
                                 act);
}

}  // namespace cali::host
