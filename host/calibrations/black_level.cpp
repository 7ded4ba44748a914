#include "calibrations/black_level.h"

#include <cmath>

#include "base/choice.h"
#include "base/text.h"
#include "library/exports.h"
#include "stages/black_level.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, kBlackLevelMethods> kMethodNames = {"median", "mean", "mean_deviation"};

std::vector<std::string> offset_row(const std::string& first, const char* second, const Channels<uint32_t>& offset) {
    std::vector<std::string> cells = {first, second};
    for (const uint32_t code : offset) {
        cells.push_back(std::to_string(code));
    }
    return cells;
}

}  // namespace

const char* method_name(BlackLevelMethod method) {
    return method == BlackLevelMethod::given ? "given" : kMethodNames[static_cast<std::size_t>(method)];
}

BlackLevelMethod parse_method(const std::string& text, const std::string& where) {
    return parse_choice<BlackLevelMethod>(kMethodNames, text, where);
}

DarkFrameLevels measure_dark_frame(Capture& dark, uint32_t blocks, const LibraryOutput& output) {
    DarkFrameLevels result;
    result.file = dark.file;
    const auto levels = [&](BlackLevelMethod method) -> BlackLevels& {
        return result.by_method[static_cast<std::size_t>(method)];
    };
    result.median_in_bounds = exports::blc_by_median(dark, levels(BlackLevelMethod::median), output);
    levels(BlackLevelMethod::mean) = exports::blc_by_mean(dark, output);
    levels(BlackLevelMethod::mean_deviation) = exports::blc_by_mean_deviation(dark, output);
    if (blocks > 0) {
        result.blocks = exports::blc_by_blocks(dark, blocks, output);
    }
    return result;
}

BlackLevelResults combine(std::vector<DarkFrameLevels> frames, BlackLevelMethod method) {
    BlackLevelResults results{method, {}, std::move(frames), {}};
    for (std::size_t c = 0; c < results.values.offset.size(); ++c) {
        double sum = 0;
        for (const DarkFrameLevels& frame : results.frames) {
            sum += frame.by_method[static_cast<std::size_t>(method)].offset[c];
        }
        results.values.offset[c] = static_cast<uint32_t>(std::lround(sum / static_cast<double>(results.frames.size())));
        results.values.gain[c] = restoring_gain(static_cast<int32_t>(results.values.offset[c]));
    }
    return results;
}

BlackLevelResults given_black_level(const Channels<uint32_t>& codes, int bits) {
    BlackLevelResults results{BlackLevelMethod::given, {}, {}, {}};
    for (std::size_t c = 0; c < codes.size(); ++c) {
        results.values.offset[c] = to_library_scale(codes[c], bits);
        results.values.gain[c] = restoring_gain(static_cast<int32_t>(results.values.offset[c]));
    }
    return results;
}

Section describe(const BlackLevelResults& results) {
    Section section{text("Black level, in codes of %d bits", kLibraryBits), {}, {}, {}, {}, {}};
    Table& table = section.tables.emplace_back();
    table.columns = {{"frame", 28, true}, {"method", 16, true}, {"RR", 8}, {"GR", 8}, {"GB", 8}, {"BB", 8}};
    for (const DarkFrameLevels& frame : results.frames) {
        const std::string name = frame.file.filename().string();
        for (std::size_t method = 0; method < kBlackLevelMethods; ++method) {
            table.rows.push_back({offset_row(name, kMethodNames[method], frame.by_method[method].offset), ""});
        }
        if (!frame.median_in_bounds) {
            table.rows.back().remark = name + ": a median lies outside 1..799: is this a dark frame?";
        }
    }
    const BlackLevels& values = results.values;
    table.rows.push_back({offset_row("offset", method_name(results.method), values.offset), ""});
    Row& gains = table.rows.emplace_back(Row{{"restoring gain", ""}, ""});
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        gains.cells.push_back(text("%.5f", static_cast<double>(values.gain[c])));
        section.figures.push_back(
            {std::string("offset_") + kChannelKeys[c], static_cast<double>(values.offset[c]), "codes"});
        section.figures.push_back(
            {std::string("restoring_gain_") + kChannelKeys[c], static_cast<double>(values.gain[c]), ""});
    }
    return section;
}

}  // namespace cali::host
