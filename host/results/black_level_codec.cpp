#include "results/codecs.h"

namespace cali::host {
namespace {

constexpr std::array<BlackLevelMethod, kBlackLevelMethods> kMethods = {BlackLevelMethod::median, BlackLevelMethod::mean,
                                                                       BlackLevelMethod::mean_deviation};

void level_fields(Archive& archive, BlackLevels& levels) {
    channel_fields(archive, "offset_codes", levels.offset);
    channel_fields(archive, "restoring_gain", levels.gain);
}

/// Four lists instead of a list of fours; absent where no blocks were asked for.
void block_fields(Archive& archive, std::vector<Channels<uint32_t>>& blocks) {
    constexpr const char* kKey = "block_offset_codes";
    if (archive.reading() ? !archive.holds(kKey) : blocks.empty()) {
        return;
    }
    Channels<std::vector<uint32_t>> planes;
    for (const Channels<uint32_t>& block : blocks) {
        for (std::size_t c = 0; c < planes.size(); ++c) {
            planes[c].push_back(block[c]);
        }
    }
    channel_fields(archive, kKey, planes);
    if (!archive.reading()) {
        return;
    }
    blocks.resize(planes[kRR].size());
    for (std::size_t c = 0; c < planes.size(); ++c) {
        if (planes[c].size() != blocks.size()) {
            archive.fail(kKey, std::to_string(planes[c].size()) + " blocks of " + kChannelKeys[c],
                         std::to_string(blocks.size()) + " as of " + kChannelKeys[kRR]);
        }
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            blocks[i][c] = planes[c][i];
        }
    }
}

void histogram_fields(Archive& archive, LevelHistogram& histogram) {
    archive.object_if(!histogram.counts[kGR].empty(), "histogram", [&](Archive bins) {
        bins.field("first_code", histogram.first, 0, int64_t{kLibraryFullScale});
        bins.field("codes_per_bin", histogram.step, 1, int64_t{kLibraryFullScale});
        channel_fields(bins, "samples", histogram.counts);
    });
}

void measure_fields(Archive& archive, DarkMeasures& measures) {
    channel_fields(archive, "level_codes", measures.level);
    channel_fields(archive, "noise_codes", measures.noise);
    archive.field("block_range_codes", measures.block_range);
    archive.field("variance_correlation", measures.light);
    archive.object_if(!measures.blocks.values.empty(), "blocks", [&](Archive blocks) {
        blocks.field("columns", measures.blocks.columns, 1, kMaxSide);
        picture_numbers(blocks, "codes", measures.blocks.values);
    });
    archive.field("zero_percent", measures.zero);
    archive.field("full_scale_percent", measures.full_scale);
    archive.field("defects", measures.defects);
    archive.field("defects_ppm", measures.defects_ppm);
    archive.list("worst_defects", measures.worst_defects, [](Archive entry, DefectPixel& defect) {
        entry.field("column", defect.column, 0, kMaxSide);
        entry.field("row", defect.row, 0, kMaxSide);
        std::string channel = channel_key(defect.channel, entry.mono());
        entry.field("channel", channel);
        defect.channel = entry.mono() ? kMonoLabels[0].index
                                      : parse_choice<std::size_t>(kChannelKeys, channel, entry.where("channel"));
        entry.field("code", defect.code);
    });
    archive.list("lines", measures.lines, [](Archive entry, DefectLine& line) {
        entry.field("is_row", line.is_row);
        entry.field("position", line.position, 0, kMaxSide);
        entry.field("offset_codes", line.offset);
    });
}

}  // namespace

void fields(Archive& archive, BlackLevelResults& results) {
    condition_fields(archive, results.taken);
    archive.named("method", results.method, method_name, [](const std::string& text, const std::string& where) {
        return text == method_name(BlackLevelMethod::given) ? BlackLevelMethod::given : parse_method(text, where);
    });
    archive.derived("scale_bits", kLibraryBits);
    level_fields(archive, results.values);
    archive.object("mean_codes", [&](Archive channels) {
        for_each_channel(channels, results.mean,
                         [&](const char* name, Measured& mean) { measured_fields(channels, name, mean); });
    });
    archive.derived("frames", Json::array());
    archive.list("frames", results.frames, [](Archive entry, DarkFrameLevels& frame) {
        entry.file("file", frame.file);
        entry.field("median_in_bounds", frame.median_in_bounds);
        for (const BlackLevelMethod kind : kMethods) {
            entry.object(method_name(kind), [&](Archive levels) {
                level_fields(levels, frame.by_method[static_cast<std::size_t>(kind)]);
            });
        }
        block_fields(entry, frame.blocks);
        histogram_fields(entry, frame.histogram);
        entry.object("measured", [&](Archive measured) { measure_fields(measured, frame.measures); });
    });
    record_fields(archive, results.record);
}

}  // namespace cali::host
