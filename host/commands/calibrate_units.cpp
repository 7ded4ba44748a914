#include "commands/calibrate_units.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "base/error.h"
#include "base/input_file.h"
#include "base/jobs.h"
#include "base/output_file.h"
#include "base/system_file.h"
#include "base/text.h"
#include "cali/cali.h"
#include "outputs/console.h"
#include "outputs/summary.h"
#include "results/sections.h"
#include "results/unit_record.h"

namespace cali::host {
namespace {

constexpr const char* kSummary = "summary.csv";
constexpr const char* kUnits = "units.txt";

struct UnitSession {
    std::string name;
    std::filesystem::path session;
};

/// A folder's name, or of a session file that of its folder, or of one that is not called session.toml its own.
UnitSession unit_of(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(path).lexically_normal();
    const std::filesystem::path named = whole.has_filename() ? whole : whole.parent_path();
    if (std::filesystem::is_directory(named, error)) {
        return {named.filename().string(), path / "session.toml"};
    }
    return {named.filename() == "session.toml" ? named.parent_path().filename().string() : named.stem().string(), path};
}

std::vector<UnitSession> units_of(const std::vector<std::filesystem::path>& paths) {
    std::vector<UnitSession> units;
    std::set<std::string> names;
    for (const std::filesystem::path& path : paths) {
        units.push_back(unit_of(path));
        if (!names.insert(units.back().name).second) {
            throw InputError(path.string() + ": a second unit named " + units.back().name +
                             ", expected distinct names of folders");
        }
    }
    return units;
}

/// "2/8". Throws InputError.
std::pair<std::size_t, std::size_t> parse_shard(const std::string& shard) {
    unsigned part = 0;
    unsigned parts = 0;
    int end = 0;
    const bool read = std::sscanf(shard.c_str(), "%5u/%5u%n", &part, &parts, &end) == 2;
    if (!read || static_cast<std::size_t>(end) != shard.size() || part < 1 || part > parts) {
        throw InputError("--shard " + shard + ": expected i/n with i from 1 to n, such as 2/8");
    }
    return {part, parts};
}

/// Of everything that the unit's session names, and the limits; `known`: results that were made of them just now, whose
/// digests need not be taken again.
std::vector<InputRecord> inputs_of(const UnitSession& unit, const UnitsRun& run, const Results& known) {
    std::map<std::filesystem::path, InputRecord> digests;
    for_each_record(known, [&](const char*, const std::string&, const Record& record) {
        for (const InputRecord& input : record.inputs) {
            digests[input.file] = {input.file.filename(), input.bytes, input.digest};
        }
    });
    std::vector<std::filesystem::path> files = files_of(read_session(unit.session));
    if (!run.session.run.limits.empty()) {
        files.push_back(run.session.run.limits);
    }
    std::vector<InputRecord> inputs;
    for (const std::filesystem::path& file : files) {
        const auto found = digests.find(file);
        inputs.push_back(found == digests.end() ? input_record(file) : found->second);
    }
    return inputs;
}

/// Options that change what a unit's folder holds.
OptionRecord options_of(const UnitsRun& run, const Invocation& invocation) {
    OptionRecord options = invocation.options;
    const ChainFileChoice& files = run.session.files;
    for (const auto& [name, chosen] :
         {std::pair("--registers", files.shading.registers), std::pair("--corrected", files.shading.corrected),
          std::pair("--pictures", files.pictures), std::pair("--tables", files.tables)}) {
        if (chosen) {
            options.emplace_back(name, "");
        }
    }
    return options;
}

/// As a run on the unit alone would be told: by its own session.
Invocation own_invocation(const Invocation& invocation, const UnitSession& unit) {
    Invocation own{invocation.command, {{"SESSION", unit.session.filename().string()}}};
    std::ranges::copy_if(invocation.options, std::back_inserter(own.options), [](const auto& option) {
        return option.first != "SESSION" && option.first != "--list" && option.first != "--shard";
    });
    return own;
}

/// One line for people.
std::string line_of(const UnitRecord& record, bool kept) {
    return record.name + ": " +
           (record.error.empty() ? severity_name(record.verdict) : "not calibrated: " + record.error) +
           (kept ? " (unchanged)" : "");
}

/// The unit's files are named as its session names them: where its folder lies is nobody's matter later.
UnitRecord broken(const UnitSession& unit, std::string error) {
    const std::string folder = (unit.session.parent_path() / "").string();
    for (std::size_t at = error.find(folder); folder.size() > 1 && at != std::string::npos; at = error.find(folder)) {
        error.erase(at, folder.size());
    }
    UnitRecord record;
    record.name = unit.name;
    record.version = CALI_VERSION_STRING;
    record.error = std::move(error);
    return record;
}

void keep(const std::filesystem::path& folder, const UnitRecord& record) {
    make_folder(folder);
    PendingFiles files;
    add_unit_record(files, folder, record);
    files.commit();
}

/// Calibrates the unit where it has to be, and returns the line.
std::string calibrate_unit(const UnitSession& unit, const UnitsRun& run, const Invocation& invocation) {
    const std::filesystem::path folder = run.folder / path_of(unit.name);
    const Invocation own = own_invocation(invocation, unit);
    UnitRecord record;
    try {
        const std::optional<UnitRecord> earlier = read_unit_record(folder);
        std::error_code error;
        if (earlier && earlier->error.empty() && std::filesystem::exists(folder / "results.json", error)) {
            UnitRecord asked;
            asked.version = CALI_VERSION_STRING;
            asked.options = options_of(run, own);
            asked.inputs = inputs_of(unit, run, {});
            if (earlier->same_inputs(asked)) {
                return line_of(*earlier, true);
            }
        }
        SessionRun session = run.session;
        session.session = unit.session;
        session.folder = folder;
        session.run.report.mute = true;
        // With the results: a record of others would later pass for theirs.
        session.beside = [&](const std::optional<std::string>& stopped, const Results& results, PendingFiles& files) {
            record = stopped ? broken(unit, *stopped) : unit_record(unit.name, results);
            record.inputs = inputs_of(unit, run, results);
            record.options = options_of(run, own);
            add_unit_record(files, folder, record);
        };
        (void)calibrate_session(session, own);
        return line_of(record, false);
    } catch (const InputError& problem) {
        record = broken(unit, problem.what());
    } catch (const CalibrationError& problem) {
        record = broken(unit, problem.what());
    }
    keep(folder, record);
    return line_of(record, false);
}

}  // namespace

std::vector<std::filesystem::path> read_list(const std::filesystem::path& list, const std::string& what) {
    std::ifstream stream = open_input(list, "list of " + what + "s");
    std::vector<std::filesystem::path> files;
    for (std::string line; std::getline(stream, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        line.erase(0, line.find_first_not_of(" \t"));
        if (!line.empty() && line.front() != '#') {
            files.push_back(list.parent_path() / path_of(line));
        }
    }
    if (files.empty()) {
        throw InputError(list.string() + ": names no " + what);
    }
    return files;
}

int calibrate_units(const UnitsRun& run, const Invocation& invocation) {
    std::vector<UnitSession> units = units_of(run.units);
    if (!run.shard.empty()) {
        const auto [part, parts] = parse_shard(run.shard);
        std::vector<UnitSession> own;
        for (std::size_t i = part - 1; i < units.size(); i += parts) {
            own.push_back(units[i]);
        }
        units = std::move(own);
    }
    make_folder(run.folder);
    // A process for each: a unit that brings it down is one that was not calibrated, and no more.
    Jobs jobs(static_cast<std::size_t>(run.jobs), [](const std::string&) {});
    std::vector<std::size_t> numbers;
    numbers.reserve(units.size());
    for (const UnitSession& unit : units) {
        numbers.push_back(jobs.add([&](const Jobs::Tell&) { return calibrate_unit(unit, run, invocation); }));
    }
    bool failed = false;
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::string line;
        try {
            line = jobs.wait(numbers[i]);
        } catch (const std::runtime_error& problem) {
            const UnitRecord record = broken(units[i], problem.what());
            const std::filesystem::path folder = run.folder / path_of(units[i].name);
            keep(folder, record);
            line = line_of(record, false);
        }
        const std::optional<UnitRecord> record = read_unit_record(run.folder / path_of(units[i].name));
        failed = failed || !record || record->verdict == Severity::fail;
        std::printf("%s\n", line.c_str());
        (void)std::fflush(stdout);
    }
    if (!run.shard.empty()) {
        std::printf("part %s of the units; cali summary %s puts all together\n", run.shard.c_str(),
                    run.folder.string().c_str());
        return failed ? 1 : 0;
    }
    return summarise_units(run.folder, run.session.run.report.strict);
}

int summarise_units(const std::filesystem::path& folder, bool strict) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        throw InputError(folder.string() + ": no such folder of units");
    }
    std::vector<UnitRecord> units;
    for (const std::filesystem::path& name : system_file::names_in(folder, error)) {
        if (std::optional<UnitRecord> record = read_unit_record(folder / name)) {
            units.push_back(std::move(*record));
        }
    }
    if (units.empty()) {
        throw InputError(folder.string() + ": holds no units, expected the folder of cali calibrate UNITS --out");
    }
    std::ranges::sort(units, {}, &UnitRecord::name);
    PendingFiles files;
    files.add_text(folder / kSummary, summary_csv(units));
    files.add_text(folder / kUnits, units_list(units));
    std::printf("%s\n", units_line(units).c_str());
    const std::vector<std::filesystem::path> written = files.targets();
    files.commit();
    std::ranges::for_each(written, print_written);
    Severity worst = Severity::pass;
    for (const UnitRecord& unit : units) {
        worst = std::max(worst, unit.verdict);
    }
    ReportOptions options;
    options.strict = strict;
    return options.status(worst);
}

}  // namespace cali::host
