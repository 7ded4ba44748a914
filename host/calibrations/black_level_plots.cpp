#include <algorithm>
#include <map>

#include "base/text.h"
#include "calibrations/black_level.h"
#include "calibrations/plot_parts.h"

namespace cali::host {
namespace {

Plot histogram_plot(const BlackLevelResults& results) {
    Plot plot{"histogram",
              "Samples by code, all frames",
              {text("code of %d bits", kLibraryBits)},
              {"samples", true, 0.5},
              {},
              {},
              ""};
    for (const auto& [c, key, title] : channel_labels(results.record.mono)) {
        std::map<uint32_t, double> counts;
        for (const DarkFrameLevels& frame : results.frames) {
            const LevelHistogram& histogram = frame.histogram;
            for (std::size_t i = 0; i < histogram.counts[c].size(); ++i) {
                counts[histogram.first + static_cast<uint32_t>(i) * histogram.step] +=
                    static_cast<double>(histogram.counts[c][i]);
            }
        }
        Series& series =
            plot.series.emplace_back(Series{title, Series::Kind::steps, channel_tint(c, results.record.mono), {}});
        for (const auto& [code, count] : counts) {
            series.points.push_back({static_cast<double>(code), count});
        }
        const auto offset = static_cast<double>(results.values.offset[c]);
        plot.bands.push_back(
            {std::string("offset ") + title, offset, offset, true, channel_tint(c, results.record.mono)});
    }
    return plot;
}

/// Means of all frames.
Map block_map(const BlackLevelResults& results) {
    const BlockMap& first = results.frames.front().measures.blocks;
    Map map{"blocks", "Level of blocks, less the frame's", "codes", first.columns, {}};
    map.values.assign(first.values.size(), 0);
    double most = 0;
    for (std::size_t i = 0; i < map.values.size(); ++i) {
        for (const DarkFrameLevels& frame : results.frames) {
            const std::vector<double>& values = frame.measures.blocks.values;
            map.values[i] += i < values.size() ? values[i] / static_cast<double>(results.frames.size()) : 0;
        }
        most = std::fmax(most, std::abs(map.values[i]));
    }
    map.low = -most;
    map.high = most;
    return map;
}

Plot defect_plot(const BlackLevelResults& results) {
    Plot plot{"defects", "Pixels farthest off, and lines off their neighbours", {"column"}, {"row"}, {}, {}, ""};
    Series pixels{"pixels", Series::Kind::points, Tint::plain, {}};
    for (const DarkFrameLevels& frame : results.frames) {
        const std::string name = frame.file.filename().string();
        for (const DefectPixel& pixel : frame.measures.worst_defects) {
            pixels.points.push_back({static_cast<double>(pixel.column), static_cast<double>(pixel.row)});
            pixels.labels.push_back(name +
                                    text(": %s, code %u", channel_key(pixel.channel, results.record.mono), pixel.code));
        }
        for (const DefectLine& line : frame.measures.lines) {
            const auto at = static_cast<double>(line.position);
            plot.bands.push_back(
                {name + text(": %s %d", line.is_row ? "row" : "column", line.position), at, at, !line.is_row});
        }
    }
    plot.series.push_back(std::move(pixels));
    return plot;
}

}  // namespace

void add_plots(const BlackLevelResults& results, Section& section) {
    if (results.frames.empty()) {
        return;
    }
    const DarkFrameLevels& first = results.frames.front();
    if (!first.histogram.counts[kGR].empty()) {
        section.plots.push_back(histogram_plot(results));
    }
    if (!first.measures.blocks.values.empty()) {
        section.maps.push_back(block_map(results));
    }
    Plot defects = defect_plot(results);
    if (!defects.series.front().points.empty() || !defects.bands.empty()) {
        section.plots.push_back(std::move(defects));
    }
}

}  // namespace cali::host
