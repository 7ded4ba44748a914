#include "session/session.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/error.h"
#include "captures/limits.h"
#include "session/toml_section.h"

namespace cali::host {
namespace {

Geometry read_geometry(const TomlSection& sensor, const std::string& file) {
    sensor.allow_only({"width", "height", "pattern", "bits", "stride_bytes", "header_bytes", "byte_order", "packing"});
    Geometry geometry;
    geometry.source = file;
    const auto number = [&](const char* key, int low, int high, std::optional<int>& value) {
        if (const auto found = sensor.whole_number(key)) {
            value = check_number(*found, low, high, sensor.where(key));
        }
    };
    number("width", 1, kMaxSide, geometry.width);
    number("height", 1, kMaxSide, geometry.height);
    number("bits", kMinBits, kMaxBits, geometry.bits);
    number("stride_bytes", 1, kMostLayoutBytes, geometry.layout.stride_bytes);
    number("header_bytes", 0, kMostLayoutBytes, geometry.layout.header_bytes);
    if (const auto pattern = sensor.text("pattern")) {
        set_pattern(geometry, *pattern, sensor.where("pattern"));
    }
    if (const auto order = sensor.text("byte_order")) {
        geometry.layout.big_endian = parse_byte_order(*order, sensor.where("byte_order"));
    }
    if (const auto packing = sensor.text("packing")) {
        geometry.layout.packing = parse_packing(*packing, sensor.where("packing"));
    }
    return geometry;
}

ShadingSettings read_shading(const TomlSection& section) {
    section.allow_only({"grid", "type", "denoise"});
    ShadingSettings settings;
    if (const auto grid = section.whole_numbers("grid", 2, "[columns, rows]")) {
        settings.set_grid((*grid)[0], (*grid)[1], section.where("grid"));
    }
    if (const auto type = section.text("type")) {
        settings.type = parse_shading_type(*type, section.where("type"));
    }
    settings.denoise = section.yes_or_no("denoise").value_or(settings.denoise);
    return settings;
}

MatrixSettings read_matrix_settings(const TomlSection& section) {
    section.allow_only({"method", "white", "saturation", "reference", "windows", "corners", "fills_frame"});
    MatrixSettings settings;
    if (const auto method = section.text("method")) {
        settings.method = parse_matrix_method(*method, section.where("method"));
    }
    if (const auto white = section.text("white")) {
        settings.white_point = parse_white_point(*white, section.where("white"));
    }
    settings.reference = section.file("reference").value_or("");
    const double saturation = section.number("saturation").value_or(settings.saturation);
    if (!(saturation >= 0 && saturation <= 4)) {
        throw InputError(section.where("saturation") + " is " + std::to_string(saturation) + ", expected 0 to 4");
    }
    settings.saturation = static_cast<float>(saturation);
    if (const auto rows = section.number_rows("windows", kChartPatches, 4, 0, "24 lists of [x, y, width, height]")) {
        ChartWindows windows{};
        std::ranges::transform(*rows, windows.begin(), [](const std::vector<double>& row) {
            const auto side = [&](std::size_t i) { return static_cast<int32_t>(row[i]); };
            return RoiRect{side(0), side(1), side(2), side(3)};
        });
        settings.place.windows = windows;
    }
    // Those of a chart that fills the frame may lie outside it.
    if (const auto rows = section.number_rows("corners", 4, 2, -kMaxSide, "4 lists of [x, y]")) {
        Corners corners{};
        std::ranges::transform(*rows, corners.begin(), [](const std::vector<double>& row) {
            return Point{row[0], row[1]};
        });
        settings.place.corners = corners;
    }
    settings.place.fills_frame = section.yes_or_no("fills_frame").value_or(false);
    if (settings.place.fills_frame && (settings.place.windows || settings.place.corners)) {
        throw InputError(section.where("fills_frame") + " is true beside " + place_name(settings.place) +
                         ", expected one of them");
    }
    return settings;
}

/// One code for all channels, or one each in the order of kChannelKeys.
Channels<double> read_offset(const TomlSection& section, const Geometry& geometry) {
    const auto codes = section.codes("offset");
    const int most = (1 << geometry.bits.value_or(kLibraryBits)) - 1;
    Channels<double> offset{};
    for (std::size_t c = 0; c < offset.size(); ++c) {
        offset[c] = check_number(codes[codes.size() == 1 ? 0 : c], 0, most, section.where("offset"));
    }
    return offset;
}

void set_limits(const TomlSection& table, Limits& limits) {
    for (const auto& [code, pair] : table.number_pairs()) {
        limits.set(code, {pair[0], pair[1]}, table.where(code));
    }
}

NoiseSettings read_noise_settings(const TomlSection& section) {
    section.allow_only({"window", "ref_level", "slope_format", "level_format"});
    NoiseSettings settings;
    settings.window = section.window("window");
    if (const auto level = section.whole_number("ref_level")) {
        settings.ref_level = check_number(*level, 0, 4095, section.where("ref_level"));
    }
    settings.slope_format = section.text("slope_format").value_or(settings.slope_format);
    settings.level_format = section.text("level_format").value_or(settings.level_format);
    check_noise_format(settings.slope_format, section.where("slope_format"));
    check_noise_format(settings.level_format, section.where("level_format"));
    return settings;
}

}  // namespace

Session read_session(const std::filesystem::path& file) {
    const TomlSection root = TomlSection::read_file(file, "session file");
    root.allow_only({"truth", "sensor", "captures", "black_level", "lens_shading", "white_balance", "colour_matrix",
                     "noise", "limits"});

    Session session;
    session.file = file;
    session.truth = root.file("truth").value_or("");
    session.geometry = read_geometry(root.section("sensor"), file.string());

    const TomlSection captures = root.section("captures");
    captures.allow_only({"dark", "flat", "grey", "chart", "series"});
    session.dark = captures.dark_captures("dark");
    session.flat = captures.lit_captures("flat");
    session.grey = captures.lit_captures("grey");
    session.chart = captures.lit_captures("chart");
    session.series = captures.series("series");

    const TomlSection black_level = root.section("black_level");
    black_level.allow_only({"method", "offset"});
    if (black_level.holds("offset")) {
        session.black_level_offset = read_offset(black_level, session.geometry);
    }
    if (const auto method = black_level.text("method")) {
        session.black_level_method = parse_method(*method, black_level.where("method"));
    }
    session.shading = read_shading(root.section("lens_shading"));
    const TomlSection white_balance = root.section("white_balance");
    white_balance.allow_only({"window"});
    session.white_balance_window = white_balance.window("window");
    session.noise = read_noise_settings(root.section("noise"));
    session.matrix = read_matrix_settings(root.section("colour_matrix"));
    set_limits(root.section("limits"), session.limits);
    return session;
}

std::optional<double> stated_gain(const Session& session, const std::filesystem::path& file) {
    for (const auto* const captures : {&session.dark, &session.flat, &session.grey, &session.chart}) {
        for (const CaptureEntry& capture : *captures) {
            const bool named = std::ranges::any_of(capture.files, [&](const std::filesystem::path& other) {
                std::error_code error;
                return std::filesystem::equivalent(other, file, error);
            });
            if (named) {
                return capture.taken.gain;
            }
        }
    }
    return std::nullopt;
}

void read_limits(const std::filesystem::path& file, Limits& limits) {
    const TomlSection root = TomlSection::read_file(file, "file of limits");
    root.allow_only({"limits", "diff"});
    set_limits(root.section("limits"), limits);
    const TomlSection diff = root.section("diff");
    for (const auto& [code, pair] : diff.number_pairs()) {
        limits.set("diff_" + code, {pair[0], pair[1]}, diff.where(code));
    }
}

}  // namespace cali::host
