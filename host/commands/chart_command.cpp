#include <cmath>
#include <cstdio>

#include "base/error.h"
#include "base/json.h"
#include "base/text.h"
#include "calibrations/black_level.h"
#include "captures/read_capture.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "commands/value_options.h"
#include "detection/chart_finder.h"
#include "detection/locate_chart.h"
#include "outputs/chart_picture.h"
#include "outputs/console.h"
#include "outputs/corner_page.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

constexpr int kNotFound = 1;

struct ChartOptions {
    std::filesystem::path frame;
    std::string black_level;
    std::filesystem::path picture;
    std::filesystem::path page;
    bool json = false;
    GeometryOptions geometry;
};

void describe(Command& command, ChartOptions& options) {
    command.option("FRAME", options.frame, "capture of the chart").required();
    command
        .option("--black-level", options.black_level,
                "results file, or codes of the capture's depth, one for all channels or four for RR,GR,GB,BB; default: "
                "the session's, or the file's own")
        .type_name("FILE|CODES")
        .takes(ValueKind::file);
    command
        .option("--picture", options.picture,
                "PNG of the capture with windows and patch numbers, or with what was tried")
        .type_name("FILE");
    command
        .option(
            "--page", options.page,
            "page for a browser: the capture, on which the corners are dragged into place by hand, and the line that "
            "a session takes; the chart found or not")
        .type_name("FILE");
    command.flag("--json", options.json, "found, confidence, corners, windows and reason as JSON");
    options.geometry.add_to(command);
    command.examples(
        "  cali chart chart.raw --size 1920x1080 --pattern RGGB --bits 12 --black-level 64 --picture found.png\n"
        "  cali chart chart.raw --session session.toml --page pick.html\n"
        "The corners are the chart's own, half a gap outside patches 1, 6, 24 and 19, wherever the capture has them; "
        "a\n"
        "session takes them as printed:\n"
        "    1st, by patch 1  +--------------------+ 2nd, by patch 6\n"
        "                     |  1  2  3  4  5  6  |\n"
        "                     |  7  8  9 10 11 12  |\n"
        "                     | 13 14 15 16 17 18  |\n"
        "                     | 19 20 21 22 23 24  |\n"
        "    4th, by patch 19 +--------------------+ 3rd, by patch 24");
}

/// Nothing known subtracts nothing.
BlackLevels black_level_of(const ChartOptions& options, const Capture& capture) {
    const std::optional<Session> session = options.geometry.session();
    const auto codes = parse_codes(options.black_level, "--black-level");
    Results known;
    if (!codes && !options.black_level.empty()) {
        known = read_results(path_of(options.black_level));
        require_black_level(known, options.black_level);
    }
    const bool file = !known.black_level.empty();
    known.black_level = strongest_black_level(codes, session && !file ? session->black_level_offset : std::nullopt,
                                              std::move(known.black_level), capture);
    TuningValues values;
    (void)ValueChooser(known, true).black_level(capture.taken, values);
    return values.black_level;
}

/// A tenth of a photosite is more than is known.
double rounded(double photosites) { return std::round(photosites * 10) / 10; }

Json json_of(const FoundChart& chart) {
    Json corners = Json::array();
    Json windows = Json::array();
    if (chart.found) {
        for (const Point& corner : chart.corners) {
            corners.push_back(std::array{rounded(corner.x), rounded(corner.y)});
        }
        for (const RoiRect& window : chart.windows) {
            windows.push_back(std::array{window.x, window.y, window.w, window.h});
        }
    }
    Json json = Json::object();
    json["found"] = chart.found;
    json["confidence"] = std::round(chart.confidence * 1000) / 1000;
    json["corners"] = corners;
    json["windows"] = windows;
    json["reason"] = chart.reason;
    return json;
}

Section section_of(const FoundChart& chart, const std::string& name) {
    Section section;
    section.title = "Chart: " + name + ", " + chart.orientation + text(", confidence %.2f", chart.confidence);
    Table& table = section.tables.emplace_back();
    table.columns = {{"patch", 7}, {"x", 7}, {"y", 7}, {"width", 7}, {"height", 7}};
    for (std::size_t i = 0; i < chart.windows.size(); ++i) {
        const RoiRect& window = chart.windows[i];
        table.rows.push_back({{text("%zu", i + 1), text("%d", window.x), text("%d", window.y), text("%d", window.w),
                               text("%d", window.h)},
                              ""});
    }
    std::string corners;
    for (const Point& corner : chart.corners) {
        corners += (corners.empty() ? "" : ", ") + text("[%.1f, %.1f]", corner.x, corner.y);
    }
    section.notes.push_back("corners = [" + corners + "]");
    return section;
}

int act(const ChartOptions& options, const Invocation&) {
    RunFiles files;
    files.input(options.frame, "capture");
    if (!options.picture.empty()) {
        files.output(options.picture, "--picture");
    }
    if (!options.page.empty()) {
        files.output(options.page, "--page");
    }
    if (options.json) {
        files.require_standard_output("--json");
    }
    const Capture capture = read_capture(options.frame, options.geometry.geometry());
    const BlackLevels black_level = black_level_of(options, capture);
    const FoundChart chart = find_chart(capture, black_level);
    if (!options.picture.empty()) {
        write_text_file(options.picture, chart_picture(capture, black_level, chart));
    }
    if (!options.page.empty()) {
        write_text_file(options.page, corner_page(capture, black_level, chart));
    }
    if (options.json) {
        std::printf("%s\n", json_of(chart).dump().c_str());
        return chart.found ? 0 : kNotFound;
    }
    if (!files.standard_output_taken()) {
        if (chart.found) {
            print(section_of(chart, capture.file.filename().string()));
        }
        for (const std::filesystem::path& file : {options.picture, options.page}) {
            if (!file.empty()) {
                print_written(file);
            }
        }
    }
    if (!chart.found) {
        throw CalibrationError(options.frame.string() + ": " + not_found_text(chart.reason));
    }
    return 0;
}

}  // namespace

void add_chart_command(CommandLine& line) {
    add_command<ChartOptions>(line, "chart", "Where a capture shows the 24-patch chart", describe, act);
}

}  // namespace cali::host
