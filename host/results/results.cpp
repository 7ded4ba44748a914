#include "results/results.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "base/error.h"
#include "base/output_file.h"
#include "stages/grid_placement.h"

namespace cali::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kSchema = 1;
constexpr double kGainUnity = 1024.0;
constexpr std::array<const char*, 4> kColourKeys = {"red", "green", "blue", "infrared"};
constexpr std::array<BlackLevelMethod, 3> kMethods = {BlackLevelMethod::median, BlackLevelMethod::mean,
                                                      BlackLevelMethod::mean_deviation};

std::string relative_name(const std::filesystem::path& file, const std::filesystem::path& folder) {
    const std::filesystem::path relative = std::filesystem::absolute(file).lexically_normal().lexically_relative(
        std::filesystem::absolute(folder).lexically_normal());
    const bool below = !relative.empty() && *relative.begin() != "..";
    return below ? relative.generic_string() : file.generic_string();
}

template <typename T>
Json channels_json(const Channels<T>& values) {
    Json json;
    for (std::size_t c = 0; c < values.size(); ++c) {
        json[kChannelKeys[c]] = values[c];
    }
    return json;
}

Json levels_json(const BlackLevels& levels) {
    return {{"offset_codes", channels_json(levels.offset)}, {"restoring_gain", channels_json(levels.gain)}};
}

Json black_level_json(const BlackLevelResults& results, const std::filesystem::path& folder) {
    Json json = {{"method", method_name(results.method)}, {"scale_bits", kLibraryBits}};
    json.update(levels_json(results.values));
    json["frames"] = Json::array();
    for (const DarkFrameLevels& frame : results.frames) {
        Json entry = {{"file", relative_name(frame.file, folder)}, {"median_in_bounds", frame.median_in_bounds}};
        for (const BlackLevelMethod method : kMethods) {
            entry[method_name(method)] = levels_json(frame.by_method[static_cast<std::size_t>(method)]);
        }
        for (std::size_t c = 0; c < kChannelKeys.size() && !frame.blocks.empty(); ++c) {
            for (const Channels<uint32_t>& block : frame.blocks) {
                entry["block_offset_codes"][kChannelKeys[c]].push_back(block[c]);
            }
        }
        json["frames"].push_back(entry);
    }
    return json;
}

Json white_balance_json(const WhiteBalance& result, const std::filesystem::path& folder) {
    const auto gain = [](uint16_t q10) { return q10 / kGainUnity; };
    Json json = {{"file", relative_name(result.file, folder)}};
    if (result.illuminant_k) {
        json["illuminant_k"] = *result.illuminant_k;
    }
    json["lens_shading"] = result.flat_field.empty() ? "unity" : relative_name(result.flat_field, folder);
    json["window"] = {{"x", result.window.x},
                      {"y", result.window.y},
                      {"width", result.window.width},
                      {"height", result.window.height}};
    json["gain_q10"] = {{"red", result.red}, {"green", result.green}, {"blue", result.blue}};
    json["gain"] = {{"red", gain(result.red)}, {"green", gain(result.green)}, {"blue", gain(result.blue)}};
    return json;
}

Json uniformity_json(const Uniformity& uniformity) {
    return {{"corner_to_centre", uniformity.corner_to_centre},
            {"luminance_rms", uniformity.luminance_rms},
            {"worst_luminance", uniformity.worst_luminance},
            {"worst_colour_shift", uniformity.worst_colour_shift}};
}

Json lens_shading_json(const LensShading& result, const std::filesystem::path& folder) {
    const ShadingTables& tables = result.tables;
    Json json = {{"file", relative_name(result.file, folder)}};
    if (result.illuminant_k) {
        json["illuminant_k"] = *result.illuminant_k;
    }
    json["type"] = shading_type_name(result.settings.type);
    json["denoise"] = result.settings.denoise;
    const GridPlacement x = place_grid(tables.cols, tables.width);
    const GridPlacement y = place_grid(tables.rows, tables.height);
    json["mesh"] = {{"cols", tables.cols}, {"rows", tables.rows}, {"xstep", x.step},
                    {"ystep", y.step},     {"imgx0", x.origin},   {"imgy0", y.origin}};
    for (std::size_t i = 0; i < tables.mesh.size(); ++i) {
        json["mesh"]["gain_q9"][kColourKeys[i]] = tables.mesh[i];
    }
    json["radial"] = {{"center_x", tables.center_x}, {"center_y", tables.center_y}, {"norm", tables.norm}};
    for (std::size_t i = 0; i < kColourKeys.size(); ++i) {
        const auto* const first = tables.radial.data() + i * kRadialEntries;
        json["radial"]["gain_q9"][kColourKeys[i]] = std::vector<int32_t>(first, first + kRadialEntries);
    }
    json["uniformity"] = {{"before", uniformity_json(result.before)},
                          {"after_mesh", uniformity_json(result.after_mesh)},
                          {"after_radial", uniformity_json(result.after_radial)}};
    return json;
}

Json curve_json(const CurveResult& curve) {
    Json json = {{"a", curve.record.a},
                 {"b", curve.record.b},
                 {"c", curve.record.c},
                 {"pack", curve.record.pack.word},
                 {"reference_k", curve.reference_k}};
    for (const CurvePoint& point : curve.points) {
        json["lights"].push_back(
            {{"illuminant_k", point.illuminant_k}, {"x", point.x}, {"y", point.y}, {"fitted_y", point.fitted_y}});
    }
    json["table"] = curve.table;
    return json;
}

Json differences_json(const ChartDifferences& differences) {
    const auto summary = [](const DifferenceSummary& difference) {
        return Json{{"mean", difference.mean},
                    {"worst", difference.worst},
                    {"worst_patch", difference.worst_patch + 1},
                    {"per_patch", difference.per_patch}};
    };
    return {{"de_ab_1976", summary(differences.de76)}, {"de_2000", summary(differences.de2000)}};
}

Json matrix_json(const MatrixCalibration& result, const std::filesystem::path& folder) {
    Json json = {{"file", relative_name(result.file, folder)}};
    if (result.illuminant_k) {
        json["illuminant_k"] = *result.illuminant_k;
    }
    json["method"] = matrix_method_name(result.settings.method);
    json["white_point"] = "D" + std::to_string(result.settings.white_point);
    json["lens_shading"] = result.flat_field.empty() ? "unity" : relative_name(result.flat_field, folder);
    json["gain_q10"] = {{"red", result.gain_red}, {"green", 1024}, {"blue", result.gain_blue}};
    json["exposure"] = result.exposure;
    for (std::size_t r = 0; r < 9; r += 3) {
        json["matrix"].push_back({result.matrix[r], result.matrix[r + 1], result.matrix[r + 2]});
        json["matrix_q10"].push_back({result.matrix_q10[r], result.matrix_q10[r + 1], result.matrix_q10[r + 2]});
    }
    json["patches"] = {{"measured", result.measured},
                       {"corrected", result.corrected},
                       {"reference", result.reference},
                       {"limited_components", result.limited}};
    json["difference_before"] = differences_json(result.before);
    json["difference_after"] = differences_json(result.after);
    return json;
}

Json table_json(const ColourTable& table, const std::filesystem::path& folder) {
    Json json = {{"file", relative_name(table.input.file, folder)}};
    if (table.input.illuminant_k) {
        json["illuminant_k"] = *table.input.illuminant_k;
    }
    json["domain"] = table.settings.domain == TableDomain::rgb ? "rgb" : "hsv";
    json["nodes"] = table.settings.nodes;
    json["strength"] = table.settings.strength;
    json["radius"] = table.settings.radius;
    json["limited_components"] = table.input.limited;
    json["de_2000"] = {{"before_mean", table.before.mean},
                       {"before_worst", table.before.worst},
                       {"after_mean", table.after.mean},
                       {"after_worst", table.after.worst},
                       {"leave_one_out_mean", table.leave_one_out},
                       {"grey_movement", table.grey_movement}};
    json["table"] = table.value;
    return json;
}

TableInput read_chart(const Json& json) {
    TableInput input;
    input.file = json.at("file").get<std::string>();
    if (json.contains("illuminant_k")) {
        input.illuminant_k = json.at("illuminant_k").get<double>();
    }
    const Json& patches = json.at("patches");
    input.corrected = patches.at("corrected").get<std::vector<Colour>>();
    input.reference = patches.at("reference").get<std::vector<Colour>>();
    input.limited = patches.at("limited_components").get<int>();
    if (input.corrected.empty() || input.corrected.size() != input.reference.size()) {
        throw InputError("colour_matrix: patches hold " + std::to_string(input.corrected.size()) + " corrected and " +
                         std::to_string(input.reference.size()) + " reference colours, expected as many, and some");
    }
    return input;
}

Json noise_line_json(const NoiseLine& line) {
    return {{"slope", line.slope}, {"intercept", line.intercept}, {"relative_residual_rms", line.residual}};
}

Json noise_json(const NoiseResults& results) {
    Json json = {{"window",
                  {{"x", results.window.x},
                   {"y", results.window.y},
                   {"width", results.window.width},
                   {"height", results.window.height}}}};
    for (const NoiseLevel& level : results.levels) {
        json["levels"].push_back({{"name", level.name},
                                  {"frames", level.frames},
                                  {"mean", channels_json(level.mean)},
                                  {"deviation", channels_json(level.deviation)},
                                  {"variance", channels_json(level.variance)}});
    }
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        const char* const key = kChannelKeys[c];
        json["deviation_line"][key] = noise_line_json(results.deviation[c]);
        json["variance_line"][key] = noise_line_json(results.variance[c]);
    }
    json["registers"] = {
        {"slope_format", results.settings.slope_format}, {"level_format", results.settings.level_format},
        {"ref_level", results.settings.ref_level},       {"slope", channels_json(results.slope_fix)},
        {"level", channels_json(results.level_fix)},     {"luma_slope", results.luma_slope_fix},
        {"luma_level", results.luma_level_fix}};
    json["warnings"] = results.warnings;
    return json;
}

LensShading read_lens_shading(const Json& json, const std::string& file) {
    LensShading result;
    result.file = json.at("file").get<std::string>();
    if (json.contains("illuminant_k")) {
        result.illuminant_k = json.at("illuminant_k").get<double>();
    }
    const Json& mesh = json.at("mesh");
    result.settings.set_grid(mesh.at("cols").get<int64_t>(), mesh.at("rows").get<int64_t>(), file + ": mesh");
    ShadingTables& tables = result.tables;
    tables.cols = result.settings.cols;
    tables.rows = result.settings.rows;
    for (std::size_t i = 0; i < tables.mesh.size(); ++i) {
        tables.mesh[i] = mesh.at("gain_q9").at(kColourKeys[i]).get<std::vector<int32_t>>();
        if (tables.mesh[i].size() != static_cast<std::size_t>(tables.cols) * static_cast<std::size_t>(tables.rows)) {
            throw InputError(file + ": mesh: " + std::to_string(tables.mesh[i].size()) + " gains, expected " +
                             std::to_string(tables.cols * tables.rows));
        }
    }
    return result;
}

Capture read_sensor(const Json& json) {
    Capture geometry;
    if (json.contains("sensor")) {
        const Json& sensor = json.at("sensor");
        geometry.width = sensor.at("width").get<int>();
        geometry.height = sensor.at("height").get<int>();
        geometry.pattern = parse_pattern(sensor.at("pattern").get<std::string>(), "sensor: pattern");
        geometry.bits = sensor.at("bits").get<int>();
    }
    return geometry;
}

template <typename T>
Channels<T> read_channels(const Json& json) {
    Channels<T> values{};
    for (std::size_t c = 0; c < values.size(); ++c) {
        values[c] = json.at(kChannelKeys[c]).get<T>();
    }
    return values;
}

WhiteBalance read_white_balance(const Json& json) {
    WhiteBalance result;
    result.file = json.at("file").get<std::string>();
    if (json.contains("illuminant_k")) {
        result.illuminant_k = json.at("illuminant_k").get<double>();
    }
    const Json& gain = json.at("gain_q10");
    result.red = gain.at("red").get<uint16_t>();
    result.green = gain.at("green").get<uint16_t>();
    result.blue = gain.at("blue").get<uint16_t>();
    return result;
}

}  // namespace

std::string to_json_text(const Results& results, const std::filesystem::path& folder) {
    Json json = {{"schema", kSchema}, {"cali_version", CALI_VERSION_STRING}};
    json["sensor"] = {{"width", results.geometry.width},
                      {"height", results.geometry.height},
                      {"pattern", kPatternNames[static_cast<std::size_t>(results.geometry.pattern)]},
                      {"bits", results.geometry.bits}};
    if (results.black_level) {
        json["black_level"] = black_level_json(*results.black_level, folder);
    }
    for (const LensShading& result : results.lens_shading) {
        json["lens_shading"].push_back(lens_shading_json(result, folder));
    }
    if (!results.white_balance.empty()) {
        json["white_balance"] = Json::array();
        for (const WhiteBalance& result : results.white_balance) {
            json["white_balance"].push_back(white_balance_json(result, folder));
        }
    }
    if (results.curve) {
        json["white_balance_curve"] = curve_json(*results.curve);
    }
    for (const MatrixCalibration& result : results.matrices) {
        json["colour_matrix"].push_back(matrix_json(result, folder));
    }
    for (const ColourTable& table : results.tables) {
        json["colour_table"].push_back(table_json(table, folder));
    }
    if (results.noise) {
        json["noise"] = noise_json(*results.noise);
    }
    return json.dump(2) + "\n";
}

void write_results(const std::filesystem::path& file, const Results& results) {
    write_text_file(file, to_json_text(results, std::filesystem::absolute(file).parent_path()));
}

StoredResults read_results(const std::filesystem::path& file) {
    std::error_code error;
    std::ifstream stream(file);
    if (!std::filesystem::is_regular_file(file, error) || !stream) {
        throw InputError(file.string() + ": no such results file");
    }
    try {
        const Json json = Json::parse(stream);
        if (json.at("schema").get<int>() != kSchema) {
            throw InputError(file.string() + ": schema " + json.at("schema").dump() + ", expected " +
                             std::to_string(kSchema));
        }
        StoredResults stored;
        stored.file = file;
        stored.geometry = read_sensor(json);
        if (json.contains("black_level")) {
            const Json& section = json.at("black_level");
            stored.black_level = BlackLevels{read_channels<uint32_t>(section.at("offset_codes")),
                                             read_channels<float>(section.at("restoring_gain"))};
        }
        for (const Json& entry : json.value("lens_shading", Json::array())) {
            stored.lens_shading.push_back(read_lens_shading(entry, file.string()));
        }
        for (const Json& entry : json.value("white_balance", Json::array())) {
            stored.white_balance.push_back(read_white_balance(entry));
        }
        for (const Json& entry : json.value("colour_matrix", Json::array())) {
            stored.charts.push_back(read_chart(entry));
        }
        return stored;
    } catch (const Json::exception& problem) {
        throw InputError(file.string() + ": not a results file of this program: " + problem.what());
    }
}

WhiteBalance choose_white_balance(const StoredResults& stored, std::optional<double> illuminant_k) {
    return choose_by_light(stored.white_balance, illuminant_k, stored.file, "white balance",
                           "results of cali awb, or of cali calibrate with a grey card");
}

ChartFrontEnd choose_front_end(const StoredResults& stored, std::optional<double> illuminant_k, bool with_gains) {
    ChartFrontEnd front_end;
    if (stored.black_level) {
        front_end.black_level = *stored.black_level;
    } else {
        (void)std::fprintf(stderr, "cali: %s: holds no black level: none is subtracted\n",
                           stored.file.string().c_str());
    }
    if (with_gains) {
        front_end.white_balance = choose_white_balance(stored, illuminant_k);
    }
    if (const LensShading* const shading = nearest_light(stored.lens_shading, illuminant_k)) {
        front_end.grids = grids_of(*shading);
        front_end.flat_field = shading->file;
    }
    return front_end;
}

BlackLevels read_black_level(const std::string& file) {
    if (file.empty()) {
        std::fprintf(stderr, "cali: no --black-level: none is subtracted\n");
        return {};
    }
    const StoredResults stored = read_results(file);
    if (!stored.black_level) {
        throw InputError(file + ": holds no black level, expected results of cali blc or cali calibrate");
    }
    return *stored.black_level;
}

void print_black_level(const BlackLevelResults& results) {
    std::printf("Black level, in codes of %d bits\n", kLibraryBits);
    std::printf("  %-28s %-16s %8s %8s %8s %8s\n", "frame", "method", "RR", "GR", "GB", "BB");
    for (const DarkFrameLevels& frame : results.frames) {
        for (const BlackLevelMethod method : kMethods) {
            const Channels<uint32_t>& offset = frame.by_method[static_cast<std::size_t>(method)].offset;
            std::printf("  %-28s %-16s %8u %8u %8u %8u\n", frame.file.filename().string().c_str(), method_name(method),
                        offset[kRR], offset[kGR], offset[kGB], offset[kBB]);
        }
        if (!frame.median_in_bounds) {
            std::printf("  %s: a median lies outside 1..799: is this a dark frame?\n",
                        frame.file.filename().string().c_str());
        }
    }
    const BlackLevels& values = results.values;
    std::printf("  %-28s %-16s %8u %8u %8u %8u\n", "offset", method_name(results.method), values.offset[kRR],
                values.offset[kGR], values.offset[kGB], values.offset[kBB]);
    std::printf("  %-45s %8.5f %8.5f %8.5f %8.5f\n", "restoring gain", static_cast<double>(values.gain[kRR]),
                static_cast<double>(values.gain[kGR]), static_cast<double>(values.gain[kGB]),
                static_cast<double>(values.gain[kBB]));
}

void print_lens_shading(const std::vector<LensShading>& results) {
    for (const LensShading& result : results) {
        std::printf("Lens shading: %s, mesh of %d x %d nodes, %s%s, centre (%d, %d)\n",
                    result.file.filename().string().c_str(), result.settings.cols, result.settings.rows,
                    shading_type_name(result.settings.type), result.settings.denoise ? ", denoised" : "",
                    result.tables.center_x, result.tables.center_y);
        std::printf("  %-16s %16s %16s %16s %20s\n", "", "corner / centre", "luminance rms", "worst luminance",
                    "worst colour shift");
        const std::pair<const char*, const Uniformity*> rows[] = {
            {"before", &result.before}, {"after mesh", &result.after_mesh}, {"after radial", &result.after_radial}};
        for (const auto& [name, uniformity] : rows) {
            std::printf("  %-16s %16.3f %14.2f %% %14.2f %% %18.2f %%\n", name, uniformity->corner_to_centre,
                        uniformity->luminance_rms * 100, uniformity->worst_luminance * 100,
                        uniformity->worst_colour_shift * 100);
        }
    }
}

void print_white_balance(const std::vector<WhiteBalance>& results) {
    std::printf("White-balance gains, 1024 = 1.0\n");
    std::printf("  %-28s %10s %14s %14s %14s\n", "grey card", "light", "red", "green", "blue");
    for (const WhiteBalance& result : results) {
        char light[32] = "-";
        if (result.illuminant_k) {
            std::snprintf(light, sizeof light, "%.0f K", *result.illuminant_k);
        }
        std::printf("  %-28s %10s %5u (%6.4f) %5u (%6.4f) %5u (%6.4f)\n", result.file.filename().string().c_str(),
                    light, result.red, result.red / kGainUnity, result.green, result.green / kGainUnity, result.blue,
                    result.blue / kGainUnity);
    }
}

}  // namespace cali::host
