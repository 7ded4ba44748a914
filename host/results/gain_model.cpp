#include "results/gain_model.h"

#include <algorithm>

#include "base/text.h"

namespace cali::host {
namespace {

using Member = std::optional<Channels<double>> GainPoint::*;

/// The point of that gain, made where there is none.
GainPoint* point_of(std::vector<GainPoint>& points, const Conditions& taken, const Record& record) {
    if (!taken.gain || record.standing == Standing::rejected) {
        return nullptr;
    }
    auto point = std::ranges::find(points, *taken.gain, &GainPoint::gain);
    if (point == points.end()) {
        point = points.insert(point, GainPoint{*taken.gain, {}, {}, {}});
    }
    return &*point;
}

std::optional<Channels<GainLine>> fit(const std::vector<GainPoint>& points, Member member) {
    double count = 0;
    double mean_gain = 0;
    for (const GainPoint& point : points) {
        count += point.*member ? 1 : 0;
        mean_gain += point.*member ? point.gain : 0;
    }
    if (count < 2) {
        return std::nullopt;
    }
    mean_gain /= count;
    Channels<GainLine> lines{};
    for (std::size_t c = 0; c < lines.size(); ++c) {
        double mean = 0;
        double xx = 0;
        double xy = 0;
        for (const GainPoint& point : points) {
            if (point.*member) {
                const double x = point.gain - mean_gain;
                const double y = (*(point.*member))[c];
                mean += y / count;
                xx += x * x;
                xy += x * y;
            }
        }
        lines[c] = {xy / xx, mean - xy / xx * mean_gain};
    }
    return lines;
}

std::string cells(const Channels<double>& values, bool mono) {
    std::string line;
    for (const ChannelLabel& label : channel_labels(mono)) {
        line += (line.empty() ? "" : " ") + text("%.4g", values[label.index]);
    }
    return line;
}

Json by_channel(const Channels<double>& values, bool mono) {
    Json json = Json::object();
    for (const ChannelLabel& label : channel_labels(mono)) {
        json[label.key] = values[label.index];
    }
    return json;
}

Json by_channel(const Channels<GainLine>& lines, bool mono) {
    Json json = Json::object();
    for (const ChannelLabel& label : channel_labels(mono)) {
        json[label.key]["slope"] = lines[label.index].slope;
        json[label.key]["intercept"] = lines[label.index].intercept;
    }
    return json;
}

}  // namespace

std::optional<GainModel> gain_model(const Results& results) {
    GainModel model;
    model.mono = results.sensor.mono;
    for (const BlackLevelResults& black : results.black_level) {
        if (GainPoint* const point = point_of(model.points, black.taken, black.record)) {
            Channels<double>& level = point->black_level.emplace();
            for (std::size_t c = 0; c < level.size(); ++c) {
                level[c] = black.mean[c].uncertainty > 0 ? black.mean[c].value : black.values.offset[c];
            }
        }
    }
    for (const NoiseResults& noise : results.noise) {
        if (GainPoint* const point = point_of(model.points, noise.taken, noise.record)) {
            Channels<double>& slope = point->codes_per_electron.emplace();
            Channels<double>& intercept = point->read_variance.emplace();
            for (std::size_t c = 0; c < slope.size(); ++c) {
                slope[c] = static_cast<double>(noise.variance[c].slope);
                intercept[c] = static_cast<double>(noise.variance[c].intercept);
            }
        }
    }
    std::ranges::sort(model.points, {}, &GainPoint::gain);
    if (model.points.size() < 2) {
        return std::nullopt;
    }
    model.black_level = fit(model.points, &GainPoint::black_level);
    model.codes_per_electron = fit(model.points, &GainPoint::codes_per_electron);
    return model;
}

Section describe(const GainModel& model) {
    Section section;
    section.title = text("Over %zu analogue gains%s", model.points.size(), model.mono ? "" : ": RR GR GB BB");
    Table& table = section.tables.emplace_back();
    table.columns = {{"gain", 8, true}, {"black level, codes", 30}, {"codes/electron", 32}, {"read variance", 30}};
    const auto cell = [&](const std::optional<Channels<double>>& values) {
        return values ? cells(*values, model.mono) : "-";
    };
    for (const GainPoint& point : model.points) {
        table.rows.push_back({{text("%g", point.gain), cell(point.black_level), cell(point.codes_per_electron),
                               cell(point.read_variance)},
                              ""});
    }
    const auto slope = [&](const char* name, const std::optional<Channels<GainLine>>& lines, const char* unit) {
        if (lines) {
            for (const ChannelLabel& label : channel_labels(model.mono)) {
                section.figures.push_back(
                    {std::string(name) + "_over_gain_" + label.key, (*lines)[label.index].slope, unit});
            }
        }
    };
    slope("black_level", model.black_level, "codes");
    slope("codes_per_electron", model.codes_per_electron, "codes/e-");
    const auto note = [&](const char* name, const std::optional<Channels<GainLine>>& lines) {
        if (lines) {
            Channels<double> slopes{};
            std::ranges::transform(*lines, slopes.begin(), &GainLine::slope);
            section.notes.push_back(std::string(name) + " per unit of gain: " + cells(slopes, model.mono));
        }
    };
    note("black level", model.black_level);
    note("codes/electron", model.codes_per_electron);
    return section;
}

Json to_json(const GainModel& model) {
    Json json = Json::object();
    json["points"] = Json::array();
    for (const GainPoint& point : model.points) {
        Json entry = Json::object();
        entry["analogue_gain"] = point.gain;
        for (const auto& [key, values] : {std::pair("black_level_codes", &point.black_level),
                                          std::pair("codes_per_electron", &point.codes_per_electron),
                                          std::pair("read_variance", &point.read_variance)}) {
            if (*values) {
                entry[key] = by_channel(**values, model.mono);
            }
        }
        json["points"].push_back(std::move(entry));
    }
    if (model.black_level) {
        json["black_level_line"] = by_channel(*model.black_level, model.mono);
    }
    if (model.codes_per_electron) {
        json["codes_per_electron_line"] = by_channel(*model.codes_per_electron, model.mono);
    }
    return json;
}

}  // namespace cali::host
