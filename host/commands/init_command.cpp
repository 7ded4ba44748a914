#include <algorithm>
#include <cstdio>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "captures/headers.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "session/placement.h"
#include "session/session_writer.h"

namespace cali::host {
namespace {

struct InitOptions {
    std::filesystem::path folder;
    std::filesystem::path out;
    bool overwrite = false;
    GeometryOptions geometry;
};

void describe(Command& command, InitOptions& options) {
    command.option("DIR", options.folder, "folder of captures, with its subfolders")
        .required()
        .takes(ValueKind::folder);
    command.option("--out", options.out, "session file to write; default: session.toml in DIR").type_name("FILE");
    command.flag("--overwrite", options.overwrite, "replace a session file that is there");
    options.geometry.add_to(command);
    command.examples(
        "  cali init shots && cali calibrate shots/session.toml\n"
        "  cali init shots --size 1920x1080 --pattern RGGB --bits 10 --packing raw10\n\n"
        "Names: dark_1, flat_5000K_1 or alsc_5000k_1, grey_5000K, chart_5000K or NAME_5000k_120l, noise_LEVEL_1, and\n"
        "subfolders of these names. What names do not tell is told by the picture: dark, flat, or a chart.");
}

void print_list(const std::vector<std::pair<std::filesystem::path, std::string>>& files, const char* title,
                std::FILE* stream) {
    if (!files.empty()) {
        std::fprintf(stream, "%s\n", title);
    }
    for (const auto& [file, words] : files) {
        std::fprintf(stream, "  %s: %s\n", file.string().c_str(), words.c_str());
    }
}

/// "flat: 2850 K, 5000 K at gain 4 (3 frames)".
std::string lights_of(const std::vector<CaptureEntry>& entries, CaptureHeaders& headers) {
    std::string list;
    for (const CaptureEntry& entry : entries) {
        const std::string taken = to_text(headers.conditions_of(entry));
        list += (list.empty() ? "" : ", ") + (taken.empty() ? entry.file().filename().string() : taken);
        list += entry.files.size() > 1 ? text(" (%zu frames)", entry.files.size()) : "";
    }
    return list.empty() ? "none" : list;
}

int act(const InitOptions& options, const Invocation& /*invocation*/) {
    const std::filesystem::path folder = options.folder;
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        throw InputError(folder.string() + ": no such folder");
    }
    const std::filesystem::path out = options.out.empty() ? folder / "session.toml" : options.out;
    if (!options.overwrite && std::filesystem::exists(out, error)) {
        throw InputError(out.string() + ": exists already; expected another name (--out), or --overwrite");
    }
    const Geometry told = options.geometry.geometry();
    CaptureHeaders headers(told);
    const Placement placement = place_captures(folder, headers, {out});
    if (placement.count() == 0) {
        std::string first;
        if (!placement.left_out.empty()) {
            const auto& [file, why] = placement.left_out.front();
            first = text(": %zu files could not be placed, the first is ", placement.left_out.size()) +
                    file.filename().string() + ": " + why;
        }
        throw InputError(folder.string() + ": holds no capture that could be placed" + first);
    }
    write_text_file(out, session_file_text(placement, told, out.parent_path()));
    // Where the session itself goes to standard output, nothing else does.
    std::FILE* const stream = out == "-" ? stderr : stdout;
    std::fprintf(stream, "%s\n  dark: %zu frames\n  flat: %s\n  grey: %s\n  chart: %s\n  series: %zu levels\n",
                 to_text(placement.sensor).c_str(), placement.dark.size(), lights_of(placement.flat, headers).c_str(),
                 lights_of(placement.grey, headers).c_str(), lights_of(placement.chart, headers).c_str(),
                 placement.series.size());
    print_list(placement.seen, "told by what they show:", stream);
    print_list(placement.left_out, "not placed:", stream);
    const std::string name = out.string();
    std::fprintf(stream, "written: %s\nnext: cali check %s, then cali calibrate %s\n", name.c_str(), name.c_str(),
                 name.c_str());
    return 0;
}

}  // namespace

void add_init_command(CommandLine& line) {
    add_command<InitOptions>(line, "init", "A session file for a folder of captures", describe, act);
}

}  // namespace cali::host
