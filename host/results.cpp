#include "results.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "error.h"
#include "output_file.h"

namespace cali::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kSchema = 1;
constexpr double kGainUnity = 1024.0;
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
    json["window"] = {{"x", result.window.x},
                      {"y", result.window.y},
                      {"width", result.window.width},
                      {"height", result.window.height}};
    json["gain_q10"] = {{"red", result.red}, {"green", result.green}, {"blue", result.blue}};
    json["gain"] = {{"red", gain(result.red)}, {"green", gain(result.green)}, {"blue", gain(result.blue)}};
    return json;
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
    if (results.shading_is_unity) {
        json["lens_shading"] = {{"calibrated", false}, {"grids", "unity"}};
    }
    if (!results.white_balance.empty()) {
        json["white_balance"] = Json::array();
        for (const WhiteBalance& result : results.white_balance) {
            json["white_balance"].push_back(white_balance_json(result, folder));
        }
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
        if (json.contains("black_level")) {
            const Json& section = json.at("black_level");
            stored.black_level = BlackLevels{read_channels<uint32_t>(section.at("offset_codes")),
                                             read_channels<float>(section.at("restoring_gain"))};
        }
        for (const Json& entry : json.value("white_balance", Json::array())) {
            stored.white_balance.push_back(read_white_balance(entry));
        }
        return stored;
    } catch (const Json::exception& problem) {
        throw InputError(file.string() + ": not a results file of this program: " + problem.what());
    }
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
