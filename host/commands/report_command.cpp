#include <algorithm>
#include <set>

#include "base/error.h"
#include "base/output_file.h"
#include "commands/calibrate_units.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "outputs/console.h"
#include "outputs/report.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct ReportCommandOptions {
    std::vector<std::filesystem::path> results;
    std::filesystem::path list;
    std::filesystem::path out = "report.html";
};

void describe(Command& command, ReportCommandOptions& options) {
    command.option("RESULTS", options.results, "results files; of several units what sets them apart");
    command.option("--list", options.list, "file that names results files, one on a line; they lie beside it")
        .type_name("FILE");
    command.option("--out", options.out, "page to write; - : standard output").type_name("FILE").show_default();
    command.examples(
        "  cali report shots/results.json\n"
        "  cali report --list units.txt --out units.html");
}

/// The folder's name where all results files are called alike; else the file's own, with as much before it as tells
/// them apart.
std::vector<std::string> names_of(const std::vector<std::filesystem::path>& files) {
    for (int parts = 1; parts <= 8; ++parts) {
        std::vector<std::string> names;
        for (const std::filesystem::path& file : files) {
            std::filesystem::path whole = std::filesystem::absolute(file).lexically_normal();
            const std::filesystem::path last = whole.stem();
            std::filesystem::path name;
            for (int i = 1; i < parts && whole.has_parent_path(); ++i) {
                whole = whole.parent_path();
                name = name.empty() ? whole.filename() : whole.filename() / name;
            }
            names.push_back(name.empty() ? last.string() : name.generic_string());
            if (parts > 1 && last != "results") {
                names.back() += "/" + last.string();
            }
        }
        if (std::set<std::string>(names.begin(), names.end()).size() == names.size()) {
            return names;
        }
    }
    throw InputError(files.front().string() + ": named twice, expected a results file for each unit");
}

int act(const ReportCommandOptions& options, const Invocation&) {
    std::vector<std::filesystem::path> files = options.results;
    if (!options.list.empty()) {
        std::ranges::move(read_list(options.list, "results file"), std::back_inserter(files));
    }
    if (files.empty()) {
        throw InputError("no results file is given, expected one or more, or --list");
    }
    RunFiles named;
    for (const std::filesystem::path& file : files) {
        named.input(file, "results");
    }
    named.output(options.out, "--out");
    const std::vector<std::string> names = names_of(files);
    std::vector<Unit> units;
    for (std::size_t i = 0; i < files.size(); ++i) {
        units.push_back({names[i], read_results(files[i])});
    }
    write_text_file(options.out, report_text(units));
    if (!named.standard_output_taken()) {
        print_written(options.out);
    }
    return 0;
}

}  // namespace

void add_report_command(CommandLine& line) {
    add_command<ReportCommandOptions>(line, "report", "Results as a page for people, with charts", describe, act);
}

}  // namespace cali::host
