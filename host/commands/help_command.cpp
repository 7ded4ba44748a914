#include <algorithm>
#include <array>
#include <cstdio>

#include "base/error.h"
#include "commands/commands.h"
#include "commands/completions.h"
#include "commands/man_page.h"

namespace cali::host {
namespace {

struct Topic {
    const char* name;
    const char* text;
};

constexpr std::array<Topic, 10> kTopics = {{
    {"results",
     "A results file grows: each step reads what earlier ones left, adds its own section, and keeps the rest. A "
     "section\n"
     "is known by its light, or by its capture where no light is given. --new starts afresh, as cali calibrate does.\n"
     "docs/results.md has every key."},
    {"verdict",
     "Each check measures a number and holds it against two limits: beyond the first it warns, beyond the second it\n"
     "fails. A section that fails is kept as 'rejected' for its figures and is not applied; --force applies it all "
     "the\n"
     "same. Exit status: 0 pass or warnings (3 with --strict), 1 a check failed, 2 wrong input. docs/limits.md has "
     "every\n"
     "check, its limits and what to do."},
    {"stale", "A section is stale where a value it was made with has changed since: run its command again."},
    {"exposure",
     "'exposure x 1.11' is the factor that brings the chart's greys (patches 20 to 23) to their reference brightness\n"
     "before the matrix is fitted. It is not written to any register."},
    {"luma",
     "The noise of brightness, 0.299 R + 0.587 G + 0.114 B, from the channels' noise at the reference level; for "
     "noise\n"
     "reduction blocks that work on luma."},
    {"registers",
     "'slope, level' are a noise block's two registers: the slope of the deviation's line in its format (U4.12: 4 "
     "whole\n"
     "bits, 12 fractional), and the deviation at the reference code. Gains: q10 means 1024 = 1.0, q9 means 512 = 1.0."},
    {"pack", "'pack' in white_balance_curve are the three words in which the camera stores the curve's coefficients."},
    {"uncertainty",
     "'+/-' is one standard deviation of the unrounded figure: the truth lies within twice that in 95 of 100 cases. A\n"
     "register adds the square root of a twelfth of its step. docs/uncertainty.md shows it."},
    {"leave-one-out",
     "A matrix or table judged on patches that it was not made with: each of the 24 is left out once, and the mean of\n"
     "their differences taken. Much above the fit's own mean, it hangs on single patches."},
    {"mired",
     "A million over the colour temperature: equal steps look equally different. 5000 K is 200 mired, 4000 K is 250."},
}};

struct HelpOptions {
    std::string topic;
    bool man = false;
    std::string shell;
};

std::vector<std::string> topics() {
    std::vector<std::string> names;
    std::ranges::transform(kTopics, std::back_inserter(names), &Topic::name);
    return names;
}

void describe(Command& command, HelpOptions& options) {
    const Option topic =
        command.option("TOPIC", options.topic, "a word of the program's output; without one, all of them are listed")
            .suggests(topics());
    const Option man = command.flag("--man", options.man, "the manual page cali(1) on standard output").excludes(topic);
    command.option("--completion", options.shell, "what completes the command line in a shell, on standard output")
        .type_name("SHELL")
        .one_of({kShells.begin(), kShells.end()})
        .excludes(topic)
        .excludes(man);
    command.examples(
        "  cali help verdict\n"
        "  cali help exposure\n"
        "  cali help --man > cali.1\n"
        "  source <(cali help --completion bash)");
}

int act(const HelpOptions& options, const CommandTable& table) {
    if (options.man) {
        std::fputs(man_page(table).c_str(), stdout);
        return 0;
    }
    if (!options.shell.empty()) {
        std::fputs(completions(table, options.shell).c_str(), stdout);
        return 0;
    }
    std::string names;
    for (const Topic& topic : kTopics) {
        names += (names.empty() ? "" : ", ") + std::string(topic.name);
        if (options.topic == topic.name) {
            std::printf("%s\n", topic.text);
            return 0;
        }
    }
    if (!options.topic.empty()) {
        throw InputError("there is no topic '" + options.topic + "', expected one of " + names);
    }
    std::printf("cali help TOPIC explains: %s\n", names.c_str());
    return 0;
}

}  // namespace

void add_help_command(CommandLine& line) {
    auto options = std::make_shared<HelpOptions>();
    Command command = line.add("help", "What words in the output mean; manual page and completions");
    describe(command, *options);
    command.run([options, &line] { return act(*options, line.table()); });
}

}  // namespace cali::host
