#include "calibrations/black_level.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "base/choice.h"
#include "base/text.h"
#include "library/exports.h"
#include "stages/black_level.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, kBlackLevelMethods> kMethodNames = {"median", "mean", "mean_deviation"};

/// Standard deviations over the median absolute deviation of normal noise.
constexpr double kDeviationsPerMad = 1.4826;
constexpr double kDefectDeviations = 6;

using Counts = std::span<const uint32_t, Histogram::kBins>;

uint64_t median_of(Counts histogram, uint64_t count) {
    uint64_t below = 0;
    std::size_t code = 0;
    while (code < kLibraryFullScale && 2 * (below + histogram[code]) <= count) {
        below += histogram[code++];
    }
    return code;
}

/// What is farther than 6 robust deviations from the median is a defect.
SampleSums sums_without_defects(Counts histogram, double step) {
    const uint64_t count = std::accumulate(histogram.begin(), histogram.end(), uint64_t{0});
    const uint64_t median = median_of(histogram, count);
    const auto distance = [&](std::size_t code) { return code < median ? median - code : code - median; };
    std::array<uint32_t, Histogram::kBins> distances{};
    for (std::size_t code = 0; code < histogram.size(); ++code) {
        distances[distance(code)] += histogram[code];
    }
    const double deviation = kDeviationsPerMad * std::max(static_cast<double>(median_of(distances, count)), step);
    SampleSums sums;
    for (std::size_t code = 0; code < histogram.size(); ++code) {
        if (static_cast<double>(distance(code)) <= kDefectDeviations * deviation) {
            sums.count += histogram[code];
            sums.sum += uint64_t{histogram[code]} * code;
            sums.squares += uint64_t{histogram[code]} * code * code;
        }
    }
    return sums;
}

Channels<SampleSums> sum_samples(const Histogram& histogram, double step) {
    Channels<SampleSums> sums{};
    for (std::size_t c = 0; c < sums.size(); ++c) {
        sums[c] = sums_without_defects(histogram.channel(channel_code(c)), step);
    }
    return sums;
}

/// Samples of a few codes tell the mean only up to what rounding hides: of the error's Fourier series in the level, for
/// normal noise, the first term, averaged over where between two codes the level lies (B. Widrow and I. Kollar,
/// Quantization Noise, 2008, chapter on dither).
double rounding_bias(double variance, double step) {
    const double noise = std::max(variance / (step * step) - 1.0 / 12, 0.0);
    return step / (std::numbers::pi * std::numbers::sqrt2) * std::exp(-2 * std::numbers::pi * std::numbers::pi * noise);
}

/// Frames may differ in their levels: the deviation is the one within frames.
Measured mean_over(const std::vector<DarkFrameLevels>& frames, std::size_t channel) {
    double count = 0;
    double sum = 0;
    double squares = 0;  // of the distances from each frame's mean
    double step = 0;
    for (const DarkFrameLevels& frame : frames) {
        const SampleSums& samples = frame.samples[channel];
        if (samples.count > 0) {
            const auto n = static_cast<double>(samples.count);
            const auto s = static_cast<double>(samples.sum);
            count += n;
            sum += s;
            squares += static_cast<double>(samples.squares) - s * s / n;
            step = std::max(step, frame.step);
        }
    }
    if (count < 2) {
        return {};
    }
    const double variance = squares / (count - 1);
    return {sum / count, std::hypot(std::sqrt(variance / count), rounding_bias(variance, step))};
}

Channels<double> on_library_scale(Channels<double> codes, int bits) {
    for (double& code : codes) {
        code = std::ldexp(code, kLibraryBits - bits);
    }
    return codes;
}

/// As far around the levels as the noise reaches, and a few codes more.
LevelHistogram histogram_around(const Histogram& histogram, const Channels<SampleSums>& samples, double step) {
    constexpr double kDeviations = 8;
    constexpr double kLeastReach = 4;  // steps
    constexpr uint32_t kMostBins = 128;
    double low = Histogram::kBins;
    double high = 0;
    for (const SampleSums& channel : samples) {
        if (channel.count > 0) {
            const auto count = static_cast<double>(channel.count);
            const double mean = static_cast<double>(channel.sum) / count;
            const double variance = std::max(static_cast<double>(channel.squares) / count - mean * mean, 0.0);
            const double reach = std::max(kDeviations * std::sqrt(variance), kLeastReach * step);
            low = std::min(low, mean - reach);
            high = std::max(high, mean + reach);
        }
    }
    if (low > high) {
        return {};
    }
    LevelHistogram around;
    const auto least = static_cast<uint32_t>(step);
    around.first = static_cast<uint32_t>(std::max(low, 0.0)) / least * least;
    const uint32_t end = std::min(static_cast<uint32_t>(high) + 1, Histogram::kBins);
    around.step = least * ((end - around.first) / (least * kMostBins) + 1);
    for (std::size_t c = 0; c < samples.size(); ++c) {
        const auto counts = histogram.channel(channel_code(c));
        for (uint32_t bin = around.first; bin < end; bin += around.step) {
            uint64_t& sum = around.counts[c].emplace_back(0);
            for (uint32_t code = bin; code < std::min(bin + around.step, Histogram::kBins); ++code) {
                sum += counts[code];
            }
        }
    }
    return around;
}

std::vector<std::string> offset_row(const std::string& first, const char* second, const Channels<uint32_t>& offset,
                                    std::span<const ChannelLabel> channels) {
    std::vector<std::string> cells = {first, second};
    for (const ChannelLabel& label : channels) {
        cells.push_back(std::to_string(offset[label.index]));
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

DarkFrameLevels measure_dark_frame(Capture& dark, const Histogram& histogram, uint32_t blocks,
                                   const LibraryOutput& output) {
    DarkFrameLevels result;
    result.file = dark.file;
    result.step = code_step(dark.sensor.bits);
    result.samples = sum_samples(histogram, result.step);
    result.histogram = histogram_around(histogram, result.samples, result.step);
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

BlackLevelResults combine(std::vector<DarkFrameLevels> frames, BlackLevelMethod method, bool mono) {
    BlackLevelResults results{method, {}, std::move(frames), {}, {}, {}};
    Channels<double> levels{};
    for (std::size_t c = 0; c < levels.size(); ++c) {
        results.mean[c] = mean_over(results.frames, c);
        for (const DarkFrameLevels& frame : results.frames) {
            levels[c] += frame.by_method[static_cast<std::size_t>(method)].offset[c] /
                         static_cast<double>(results.frames.size());
        }
    }
    if (mono) {
        levels.fill(std::accumulate(levels.begin(), levels.end(), 0.0) / 4);
        Measured all;
        for (const Measured& mean : results.mean) {
            all.value += mean.value / 4;
            all.uncertainty = std::hypot(all.uncertainty, mean.uncertainty / 4);
        }
        results.mean.fill(all);
    }
    for (std::size_t c = 0; c < levels.size(); ++c) {
        results.values.offset[c] = static_cast<uint32_t>(std::lround(levels[c]));
        results.values.gain[c] = restoring_gain(static_cast<int32_t>(results.values.offset[c]));
    }
    return results;
}

std::optional<Channels<double>> stated_black_level(const Capture& capture) {
    return capture.metadata.black_level
               ? std::optional(on_library_scale(*capture.metadata.black_level, capture.sensor.bits))
               : std::nullopt;
}

BlackLevelResults given_black_level(const Channels<double>& codes, int bits, Source source) {
    BlackLevelResults results{BlackLevelMethod::given, {}, {}, {}, {}, {}};
    const Channels<double> scaled = on_library_scale(codes, bits);
    for (std::size_t c = 0; c < codes.size(); ++c) {
        results.values.offset[c] = std::min(static_cast<uint32_t>(std::lround(scaled[c])), kLibraryFullScale);
        results.values.gain[c] = restoring_gain(static_cast<int32_t>(results.values.offset[c]));
    }
    results.record.source = source;
    return results;
}

Section describe(const BlackLevelResults& results) {
    Section section;
    section.title = text("Black level%s, in codes of %d bits",
                         results.taken.gain ? (" of " + to_text(results.taken)).c_str() : "", kLibraryBits);
    Table& table = section.tables.emplace_back();
    table.columns = {{"frame", 28, true}, {"method", 16, true}};
    const std::span<const ChannelLabel> channels = channel_labels(results.record.mono);
    for (const ChannelLabel& label : channels) {
        table.columns.push_back({label.title, 8});
    }
    for (const DarkFrameLevels& frame : results.frames) {
        const std::string name = frame.file.filename().string();
        for (std::size_t method = 0; method < kBlackLevelMethods; ++method) {
            table.rows.push_back(
                {offset_row(name, kMethodNames[method], frame.by_method[method].offset, channels), ""});
        }
        if (!frame.median_in_bounds) {
            table.rows.back().remark = name + ": a median lies outside 1..799: is this a dark frame?";
        }
    }
    const BlackLevels& values = results.values;
    if (std::ranges::all_of(results.mean, [](const Measured& mean) { return mean.uncertainty > 0; })) {
        Row means{{"all frames", "unrounded mean"}, ""};
        Row uncertainties{{"", "+/-"}, ""};
        for (const ChannelLabel& label : channels) {
            const Measured& mean = results.mean[label.index];
            means.cells.push_back(text("%.3f", mean.value));
            uncertainties.cells.push_back(text("%.4f", mean.uncertainty));
        }
        table.rows.push_back(std::move(means));
        table.rows.push_back(std::move(uncertainties));
    }
    table.rows.push_back({offset_row("offset", method_name(results.method), values.offset, channels), ""});
    Row& gains = table.rows.emplace_back(Row{{"restoring gain", ""}, ""});
    for (const ChannelLabel& label : channels) {
        gains.cells.push_back(text("%.5f", static_cast<double>(values.gain[label.index])));
    }
    for (const auto& [c, key, title] : channels) {
        const Measured& mean = results.mean[c];
        const double rounded = mean.uncertainty > 0 ? with_rounding(mean.uncertainty, 1) : 0;
        section.figures.push_back({std::string("mean_") + key, mean.value, "codes", known(mean.uncertainty), 1});
        section.figures.push_back(
            {std::string("offset_") + key, static_cast<double>(values.offset[c]), "codes", known(rounded), 1});
        // A code of the offset moves it by this much or more.
        section.figures.push_back({std::string("restoring_gain_") + key,
                                   static_cast<double>(values.gain[c]),
                                   "",
                                   {},
                                   1.0 / (1 << kLibraryBits)});
    }
    add_plots(results, section);
    return section;
}

}  // namespace cali::host
