#include "calibrations/noise.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "base/error.h"
#include "base/text.h"
#include "captures/read_capture.h"
#include "core/channel.h"
#include "kernels/sample_math.h"

namespace cali::host {
namespace {

constexpr int kTrialSide = 128;          // of the brightest level's centre
constexpr double kMarginOfLevels = 1.2;  // by which another frame may be brighter than the one that was tried

Window centred(const SensorGeometry& sensor, int width, int height) {
    return {((sensor.width - width) / 2) & ~1, ((sensor.height - height) / 2) & ~1, width, height};
}

void require_window(const Window& window, const Capture& frame) {
    const bool even = ((window.x | window.y | window.width | window.height) & 1) == 0;
    if (!even || window.width < 2 || window.height < 2 || window.x + window.width > frame.sensor.width ||
        window.y + window.height > frame.sensor.height) {
        throw InputError(frame.file.string() + ": the window " + to_text(window) +
                         ", expected even numbers inside the frame of " + by(frame.sensor.width, frame.sensor.height));
    }
}

void require_same_geometry(const Capture& frame, const SensorGeometry& first, const std::filesystem::path& first_file) {
    const SensorGeometry& found = frame.sensor;
    if (found.width != first.width || found.height != first.height || found.pattern != first.pattern ||
        found.bits != first.bits) {
        throw InputError(frame.file.string() + ": " + by(found.width, found.height) +
                         text(" samples of %d bits, expected ", found.bits) + by(first.width, first.height) +
                         text(" of %d as in ", first.bits) + first_file.string());
    }
}

/// The exports' rule: one black level serves GR and RR.
uint32_t black_of(Channel channel, const BlackLevels& black_level) {
    return channel == BB ? black_level.offset[kBB] : channel == GB ? black_level.offset[kGB] : black_level.offset[kGR];
}

/// The window, whose sides are even, after the black level.
Samples cut(const Capture& frame, const Window& window, const BlackLevels& black_level) {
    Samples samples(static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height));
    uint32_t* into = samples.data();
    for (int y = window.y; y < window.y + window.height; ++y, into += window.width) {
        const uint32_t* const row = frame.view().row(y) + window.x;
        const auto black_at = [&](int x) {
            return black_of(
                bayer_channel(frame.sensor.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(window.x + x)),
                black_level);
        };
        const uint32_t even = black_at(0);
        const uint32_t odd = black_at(1);
        for (int x = 0; x < window.width; x += 2) {
            into[x] = sample::subtract_limited(row[x], even);
            into[x + 1] = sample::subtract_limited(row[x + 1], odd);
        }
    }
    return samples;
}

/// Statistics of one level; positions become channels. The deviation's export takes the same root, of the same sums.
void measure_level(std::vector<Samples>& frames, const Window& window, int pattern, const exports::Call& call,
                   NoiseLevel& level) {
    const exports::CellStatistics cell = exports::mean_and_variance(frames, window.width, window.height, call);
    for (uint32_t position = 0; position < 4; ++position) {
        const std::size_t channel = index_of(bayer_channel(pattern, position >> 1U, position & 1U));
        level.mean[channel] = cell.mean[position];
        level.variance[channel] = cell.variance[position];
        level.deviation[channel] = std::sqrt(cell.variance[position]);
    }
}

/// One channel at one level, from exact sums: the exports' run in single precision.
struct LevelStatistics {
    double count = 0;
    double mean = 0;
    double variance = 0;
};

Channels<LevelStatistics> exact_statistics(const std::vector<Samples>& frames, const Window& window, int pattern) {
    Channels<uint64_t> count{};
    Channels<uint64_t> sum{};
    Channels<uint64_t> squares{};
    const auto columns = static_cast<std::size_t>(window.width);
    for (const Samples& frame : frames) {
        for (std::size_t row = 0; row * columns < frame.size(); ++row) {
            for (std::size_t parity = 0; parity < 2; ++parity) {
                const std::size_t c =
                    index_of(bayer_channel(pattern, static_cast<uint32_t>(row), static_cast<uint32_t>(parity)));
                uint64_t row_sum = 0;
                uint64_t row_squares = 0;
                for (std::size_t i = row * columns + parity; i < (row + 1) * columns; i += 2) {
                    row_sum += frame[i];
                    row_squares += uint64_t{frame[i]} * frame[i];
                }
                sum[c] += row_sum;
                squares[c] += row_squares;
                count[c] += columns / 2;
            }
        }
    }
    Channels<LevelStatistics> statistics{};
    for (std::size_t c = 0; c < statistics.size(); ++c) {
        const auto n = static_cast<double>(count[c]);
        const auto s = static_cast<double>(sum[c]);
        statistics[c] = {n, s / n, n > 1 ? (static_cast<double>(squares[c]) - s * s / n) / (n - 1) : 0};
    }
    return statistics;
}

/// Of a sensor with one channel: the positions of the cell are samples of one.
void pool(NoiseLevel& level) {
    const auto mean_of = [](const Channels<float>& values) {
        double sum = 0;
        for (const float value : values) {
            sum += static_cast<double>(value);
        }
        return static_cast<float>(sum / 4);
    };
    level.mean.fill(mean_of(level.mean));
    level.variance.fill(mean_of(level.variance));
    level.deviation.fill(std::sqrt(level.variance[0]));
}
void pool(Channels<LevelStatistics>& statistics) {
    LevelStatistics all;
    for (const LevelStatistics& one : statistics) {
        all.count += one.count;
        all.mean += one.mean / 4;
        all.variance += one.variance / 4;
    }
    statistics.fill(all);
}

/// The variance of a sample variance of normal noise is 2 variance^2 / (n - 1) (A. Mood, F. Graybill, D. Boes,
/// Introduction to the Theory of Statistics, 1974, VI.2); a mean's own error is far smaller. Line and uncertainties: P.
/// Bevington, D. Robinson, Data Reduction and Error Analysis for the Physical Sciences, 2003, equations 6.12 and 6.23.
/// Nothing where a level has no noise.
WeightedLine fit_weighted(const std::vector<Channels<LevelStatistics>>& levels, std::size_t channel) {
    double s = 0;
    double sx = 0;
    double sy = 0;
    double sxx = 0;
    double sxy = 0;
    for (const Channels<LevelStatistics>& level : levels) {
        const auto& [count, x, y] = level[channel];
        if (!(y > 0) || count < 2) {
            return {};
        }
        const double weight = (count - 1) / (2 * y * y);
        s += weight;
        sx += weight * x;
        sy += weight * y;
        sxx += weight * x * x;
        sxy += weight * x * y;
    }
    const double determinant = s * sxx - sx * sx;
    return {{(s * sxy - sx * sy) / determinant, std::sqrt(s / determinant)},
            {(sxx * sy - sx * sxy) / determinant, std::sqrt(sxx / determinant)}};
}

template <typename Value>
NoiseLine fit(const std::vector<NoiseLevel>& levels, std::size_t channel, Value value, const exports::Call& call) {
    std::vector<float> x;
    std::vector<float> y;
    for (const NoiseLevel& level : levels) {
        x.push_back(level.mean[channel]);
        y.push_back((level.*value)[channel]);
    }
    NoiseLine line{exports::fit_line(x, y, call), 0};
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double on_line =
            static_cast<double>(line.slope) * static_cast<double>(x[i]) + static_cast<double>(line.intercept);
        const double difference = static_cast<double>(y[i]) / on_line - 1;
        line.residual += difference * difference / static_cast<double>(x.size());
    }
    line.residual = std::sqrt(line.residual);
    return line;
}

void convert(NoiseResults& results, const exports::Call& call) {
    const NoiseSettings& settings = results.settings;
    const exports::LineFormat format{settings.ref_level, settings.slope_format, settings.level_format};
    Channels<exports::FittedLine> lines;
    for (std::size_t c = 0; c < lines.size(); ++c) {
        lines[c] = results.deviation[c];
        results.registers[c] = exports::line_registers(lines[c], format, call);
    }
    results.luma_registers = exports::luma_registers(lines, format, call);
}

/// The largest centred window, with the frame's proportions, whose sums stay sound at the brightest level, the last.
Window largest_window(const SeriesLevel& brightest, const Geometry& geometry, const BlackLevels& black_level,
                      const LibraryOutput& output) {
    const std::filesystem::path& file = brightest.files.at(0);
    const Capture frame = read_capture(file, geometry);
    const SensorGeometry& sensor = frame.sensor;
    const int even_width = sensor.width & ~1;
    const int even_height = sensor.height & ~1;
    const Window trial = centred(sensor, std::min(kTrialSide, even_width), std::min(kTrialSide, even_height));
    std::vector<Samples> samples = {cut(frame, trial, black_level)};
    NoiseLevel level;
    measure_level(samples, trial, sensor.pattern, {file, output}, level);
    level.frames = static_cast<int>(brightest.files.size());
    for (float& mean : level.mean) {
        mean *= static_cast<float>(kMarginOfLevels);
    }
    // The last bit grows in steps, whenever the sum doubles.
    Window window = centred(sensor, even_width, even_height);
    for (double share = 1; sum_rounding(level, window) > kMostSumRounding; share *= 0.99) {
        const auto side = [&](int whole) { return std::max(2 * static_cast<int>(whole * std::sqrt(share) / 2), 2); };
        window = centred(sensor, side(even_width), side(even_height));
        if (window.width == 2 && window.height == 2) {
            break;
        }
    }
    return window;
}

}  // namespace

double sum_rounding(const NoiseLevel& level, const Window& window) {
    const double samples = static_cast<double>(window.width) * window.height / 4;
    const double sum = samples * level.frames * static_cast<double>(*std::ranges::max_element(level.mean));
    const double last_bit = std::ldexp(1.0, std::ilogb(std::max(sum, 1.0)) - 23);
    return last_bit / std::max(static_cast<double>(*std::ranges::min_element(level.deviation)), 1.0);
}

std::size_t frame_count(const std::vector<SeriesLevel>& levels) {
    std::size_t total = 0;
    for (const SeriesLevel& level : levels) {
        total += level.files.size();
    }
    return total;
}

NoiseResults calibrate_noise(const NoiseSeries& series, const BlackLevels& black_level, const NoiseSettings& settings,
                             const LibraryOutput& output, const FrameObserver& observe, SensorGeometry& sensor) {
    const std::vector<SeriesLevel>& levels = series.levels;
    if (levels.size() < 2) {
        throw InputError("the noise series has " + std::to_string(levels.size()) +
                         (levels.size() == 1 ? " level" : " levels") + ", expected two or more");
    }
    for (std::size_t k = 0; k < levels.size(); ++k) {
        if (levels[k].files.empty()) {
            throw InputError(text("level %zu names no file, expected one frame or more", k + 1));
        }
    }
    NoiseResults results;
    results.settings = settings;
    std::vector<Channels<LevelStatistics>> statistics;
    std::filesystem::path first_file;
    for (std::size_t k = 0; k < levels.size(); ++k) {
        const std::vector<std::filesystem::path>& files = levels[k].files;
        NoiseLevel level;
        level.name = "level " + std::to_string(k + 1) + " (" + files[0].filename().string() + ")";
        level.frames = static_cast<int>(files.size());
        std::vector<Samples> frames;
        for (const std::filesystem::path& file : files) {
            const Capture frame = series.read({{file}, {}, {}});
            if (first_file.empty()) {
                first_file = file;
                sensor = frame.sensor;
                results.window = settings.window ? *settings.window
                                                 : largest_window(levels.back(), series.geometry, black_level, output);
            }
            require_same_geometry(frame, sensor, first_file);
            require_window(results.window, frame);
            observe(k, frame, results.window);
            frames.push_back(cut(frame, results.window, black_level));
        }
        statistics.push_back(exact_statistics(frames, results.window, sensor.pattern));
        measure_level(frames, results.window, sensor.pattern, {files[0], output}, level);
        if (sensor.mono) {
            pool(level);
            pool(statistics.back());
        }
        results.levels.push_back(std::move(level));
    }
    const exports::Call call{first_file, output};
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        results.deviation[c] = fit(results.levels, c, &NoiseLevel::deviation, call);
        results.variance[c] = fit(results.levels, c, &NoiseLevel::variance, call);
        results.weighted[c] = fit_weighted(statistics, c);
    }
    convert(results, call);
    return results;
}

Section describe(const NoiseResults& results) {
    Section section;
    section.title = "Noise " + (results.taken.gain ? "of " + to_text(results.taken) + " " : std::string()) + "over " +
                    to_text(results.window) + ", mean and deviation in codes";
    const std::span<const ChannelLabel> channels = channel_labels(results.record.mono);
    Table levels{{{"level", 28, true}, {"frames", 7}}, {}, true};
    for (const ChannelLabel& label : channels) {
        levels.columns.push_back({label.title, 18});
    }
    for (const NoiseLevel& level : results.levels) {
        Row& row = levels.rows.emplace_back(Row{{level.name, std::to_string(level.frames)}, ""});
        for (const auto& [c, key, title] : channels) {
            row.cells.push_back(
                text("%.2f %8.3f", static_cast<double>(level.mean[c]), static_cast<double>(level.deviation[c])));
        }
    }
    Table lines{{{"channel", 9, true},
                 {"deviation = slope, intercept", 28},
                 {"residual", 10},
                 {"variance = codes/electron, read noise", 34},
                 {"residual", 10},
                 {"slope, level", 16}},
                {},
                true};
    for (const ChannelLabel& label : channels) {
        const std::size_t c = label.index;
        const NoiseLine& deviation = results.deviation[c];
        const NoiseLine& variance = results.variance[c];
        const double read_noise = std::sqrt(std::max(static_cast<double>(variance.intercept), 0.0));
        lines.rows.push_back(
            {{label.key,
              text("%.6f %13.4f", static_cast<double>(deviation.slope), static_cast<double>(deviation.intercept)),
              text("%.2f %%", deviation.residual * 100),
              text("%.4f %13.3f", static_cast<double>(variance.slope), read_noise),
              text("%.2f %%", variance.residual * 100),
              text("%d %6d", results.registers[c].slope, results.registers[c].level)},
             ""});
        const auto add = [&](const char* name, double value, const char* unit, double uncertainty = 0) {
            section.figures.push_back({std::string(name) + "_" + label.key, value, unit, known(uncertainty)});
        };
        add("deviation_slope", static_cast<double>(deviation.slope), "");
        add("deviation_intercept", static_cast<double>(deviation.intercept), "codes");
        add("codes_per_electron", static_cast<double>(variance.slope), "codes/e-");
        add("read_noise", read_noise, "codes");
        const auto& [slope, intercept] = results.weighted[c];
        if (slope.uncertainty > 0) {
            add("weighted_codes_per_electron", slope.value, "codes/e-", slope.uncertainty);
            add("weighted_intercept", intercept.value, "codes^2", intercept.uncertainty);
            lines.rows.back().remark = text("  weighted: %.5f +/- %.5f codes/electron, intercept %.3f +/- %.3f",
                                            slope.value, slope.uncertainty, intercept.value, intercept.uncertainty);
        }
    }
    section.tables = {levels, lines};
    section.notes.push_back("registers " + results.settings.slope_format + " and " + results.settings.level_format +
                            text(" at code %d; luma %d, %d", results.settings.ref_level, results.luma_registers.slope,
                                 results.luma_registers.level));
    add_plots(results, section);
    return section;
}

}  // namespace cali::host
