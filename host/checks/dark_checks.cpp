#include "checks/dark_checks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <tuple>
#include <utility>

#include "base/text.h"
#include "base/uncertainty.h"
#include "checks/window_statistics.h"
#include "core/channel.h"

namespace cali::host {
namespace {

constexpr int kBlockCols = 16;
constexpr int kBlockRows = 12;
constexpr int kLeastCells = 16;            ///< of 2 x 2 samples along a side of a block
constexpr double kDefectDeviations = 6;    ///< no Gaussian sample of a frame stands so far off
constexpr double kLineErrors = 6;          ///< standard errors of a line's mean
constexpr double kLeastLine = 1;           ///< codes
constexpr double kLeastRange = 1;          ///< codes; below it blocks do not differ enough to tell light
constexpr double kMostCut = 1;             ///< % of the samples at 0: their variance tells nothing
constexpr std::size_t kListedShare = 100;  ///< positions are kept of one pixel in so many; more fails by far
constexpr int kNeighbours = 4;             ///< lines of the same colours on either side
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// Centre and spread of a channel that defects do not move.
struct Scale {
    double centre = kNone;
    double deviation = kNone;
    double limit = kNone;  ///< distance of a defect from the centre

    [[nodiscard]] bool is_defect(double code) const { return std::abs(code - centre) > limit; }

    /// The first and the last code that is no defect.
    [[nodiscard]] std::pair<int, int> sound_codes() const {
        int least = 0;
        int most = Histogram::kBins - 1;
        while (least <= most && is_defect(least)) {
            ++least;
        }
        while (most >= least && is_defect(most)) {
            --most;
        }
        return {least, most};
    }
};

std::size_t channel_at(const ConstRawFrame& frame, int y, int x) {
    return index_of(bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)));
}

/// How often each code occurs in one channel.
class CodeCounts {
public:
    explicit CodeCounts(std::span<const uint32_t, Histogram::kBins> counts) : counts_(counts) {}

    [[nodiscard]] double samples() const {
        double total = 0;
        for (const uint32_t count : counts_) {
            total += count;
        }
        return total;
    }
    [[nodiscard]] double count(uint32_t first, uint32_t last) const {
        double total = 0;
        for (uint32_t code = first; code <= last; ++code) {
            total += counts_[code];
        }
        return total;
    }

    /// Of all samples within six deviations of their mean. The first guess are quantiles; codes may be far apart.
    [[nodiscard]] Scale scale(double step) const {
        constexpr double kFirstGuess = 10;
        constexpr int kMostRounds = 20;
        Scale found;
        found.centre = quantile(0.5);
        found.limit = kFirstGuess * std::max(quantile(0.84) - quantile(0.16), step);
        for (int round = 0; round < kMostRounds; ++round) {
            const double limit = found.limit;
            clip(found);
            found.limit = kDefectDeviations * std::max(found.deviation, step / 2);
            if (found.limit == limit) {
                break;
            }
        }
        return found;
    }

private:
    [[nodiscard]] double quantile(double share) const {
        const double wanted = share * samples();
        double below = 0;
        for (std::size_t code = 0; code < counts_.size(); ++code) {
            below += counts_[code];
            if (below >= wanted && below > 0) {
                return static_cast<double>(code);
            }
        }
        return kNone;
    }

    /// Mean and deviation of what is no defect by the scale as it is.
    void clip(Scale& scale) const {
        double count = 0;
        double sum = 0;
        double squares = 0;
        for (std::size_t code = 0; code < counts_.size(); ++code) {
            if (const auto value = static_cast<double>(code); !scale.is_defect(value)) {
                count += counts_[code];
                sum += counts_[code] * value;
                squares += counts_[code] * value * value;
            }
        }
        scale.centre = sum / count;
        scale.deviation = std::sqrt(std::max(squares / count - scale.centre * scale.centre, 0.0));
    }

    std::span<const uint32_t, Histogram::kBins> counts_;
};

/// Differences from a channel's centre.
struct Sums {
    double samples = 0;
    double sum = 0;
    double squares = 0;  ///< of blocks alone

    [[nodiscard]] double mean() const { return sum / samples; }
    [[nodiscard]] double variance() const { return squares / samples - mean() * mean(); }
};

/// One row or column.
struct Line {
    Sums good;
    Sums all;

    [[nodiscard]] bool is_defect() const { return good.samples < all.samples / 2; }
    [[nodiscard]] double mean() const { return is_defect() ? all.mean() : good.mean(); }
};

struct Blocks {
    Blocks(int width, int height)
        : cells_x(width / 2),
          cells_y(height / 2),
          cols(std::clamp(cells_x / kLeastCells, 1, kBlockCols)),
          rows(std::clamp(cells_y / kLeastCells, 1, kBlockRows)),
          channels(static_cast<std::size_t>(cols) * static_cast<std::size_t>(rows)) {}

    /// Where a column of blocks begins; that behind the last one is where blocks end.
    [[nodiscard]] int begin_of(int col) const { return (col * cells_x + cols - 1) / cols * 2; }
    /// The first block of frame row `y`; none for the odd last row.
    [[nodiscard]] Channels<Sums>* row_of(int y) {
        return y / 2 < cells_y ? channels.data() + static_cast<std::ptrdiff_t>(y / 2 * rows / cells_y) * cols : nullptr;
    }
    /// None for the odd last row and column.
    [[nodiscard]] Channels<Sums>* at(int y, int x) {
        Channels<Sums>* const row = x / 2 < cells_x ? row_of(y) : nullptr;
        return row != nullptr ? row + x / 2 * cols / cells_x : nullptr;
    }

    int cells_x;
    int cells_y;
    int cols;
    int rows;
    std::vector<Channels<Sums>> channels;
};

/// What the second walk over the frame collects. Sums add in the frame's order; a defect adds 0 to those that leave it
/// out, so that the loops need not ask. Each addition to a row's sum waits for the one before: two rows are summed at
/// once.
class Collected {
public:
    Collected(const ConstRawFrame& frame, const Channels<Scale>& scale)
        : blocks(frame.width, frame.height),
          rows(static_cast<std::size_t>(frame.height)),
          columns(frame.columns()),
          frame_(frame),
          scale_(scale),
          differences_{Differences(frame, scale, 0), Differences(frame, scale, 1)},
          all_by_column_(frame.columns()),
          good_by_column_(frame.columns()) {
        for (int y = 0; y < frame.height; y += 2) {
            const int count = std::min(2, frame.height - y);
            for (int i = 0; i < count; ++i) {
                add_row(y + i, differences_[static_cast<std::size_t>(i)]);
            }
            add_row_sums(y, count);
        }
        for (std::size_t x = 0; x < columns.size(); ++x) {
            columns[x].all.samples = static_cast<double>(frame.height);
            columns[x].all.sum = all_by_column_[x];
            columns[x].good.samples += static_cast<double>(frame.height);
            columns[x].good.sum = good_by_column_[x];
        }
    }

    Channels<Sums> channels{};
    Blocks blocks;
    std::vector<Line> rows;
    std::vector<Line> columns;
    std::size_t defects = 0;
    std::vector<DefectPixel> listed;

private:
    /// A row's samples less their channels' centres. Even rows have the same two channels, and odd ones.
    struct Differences {
        Differences(const ConstRawFrame& frame, const Channels<Scale>& scale, int row)
            : channel{channel_at(frame, row, 0), channel_at(frame, row, 1)},
              centre(frame.columns()),
              least(frame.columns()),
              most(frame.columns()),
              all(frame.columns()),
              good(frame.columns()) {
            const std::array sound = {scale[channel[0]].sound_codes(), scale[channel[1]].sound_codes()};
            for (std::size_t x = 0; x < all.size(); ++x) {
                centre[x] = scale[channel[x % 2]].centre;
                std::tie(least[x], most[x]) = sound[x % 2];
            }
        }

        /// Tells whether one is a defect.
        bool take(const uint32_t* samples) {
            int found = 0;
            for (std::size_t x = 0; x < all.size(); ++x) {
                const auto code = static_cast<int>(samples[x]);
                const int is_defect = static_cast<int>(code < least[x]) | static_cast<int>(code > most[x]);
                const double difference = code - centre[x];
                all[x] = difference;
                good[x] = is_defect != 0 ? 0 : difference;
                found |= is_defect;
            }
            return found != 0;
        }

        std::array<std::size_t, 2> channel;
        std::vector<double> centre;
        std::vector<int> least;  ///< code that is no defect
        std::vector<int> most;
        std::vector<double> all;
        std::vector<double> good;  ///< with 0 for defects
        bool has_defect = false;
    };

    void add_row(int y, Differences& row) {
        row.has_defect = row.take(frame_.row(y));
        for (std::size_t x = 0; x < columns.size(); ++x) {
            all_by_column_[x] += row.all[x];
            good_by_column_[x] += row.good[x];
        }
        add_in_order(y, row);
    }

    void add_row_sums(int y, int count) {
        double first = 0;
        double second = 0;
        for (std::size_t x = 0; x < columns.size(); ++x) {
            first += differences_[0].all[x];
            second += differences_[1].all[x];
        }
        const std::array sums = {first, second};
        for (int i = 0; i < count; ++i) {
            Line& line = rows[static_cast<std::size_t>(y) + static_cast<std::size_t>(i)];
            const Differences& row = differences_[static_cast<std::size_t>(i)];
            line.all.samples = line.good.samples = static_cast<double>(frame_.width);
            line.all.sum = line.good.sum = sums[static_cast<std::size_t>(i)];
            if (row.has_defect) {
                line.good.sum = 0;
                for (const double difference : row.good) {
                    line.good.sum += difference;
                }
                leave_defects_out(y + i, line);
            }
        }
    }

    /// To the channels' and the blocks' sums. All samples count as good ones here.
    void add_in_order(int y, const Differences& row) {
        const auto [even_channel, odd_channel] = row.channel;
        Sums& even = channels[even_channel];
        Sums& odd = channels[odd_channel];
        even.samples += static_cast<double>((frame_.width + 1) / 2);
        odd.samples += static_cast<double>(frame_.width / 2);
        double even_sum = even.sum;
        double odd_sum = odd.sum;
        std::size_t x = 0;
        if (Channels<Sums>* const first = blocks.row_of(y)) {
            for (int col = 0; col < blocks.cols; ++col) {
                Sums even_block = first[col][even_channel];
                Sums odd_block = first[col][odd_channel];
                const auto end = static_cast<std::size_t>(blocks.begin_of(col + 1));
                even_block.samples += static_cast<double>((end - x) / 2);
                odd_block.samples += static_cast<double>((end - x) / 2);
                for (; x < end; x += 2) {
                    const double a = row.good[x];
                    const double b = row.good[x + 1];
                    even_sum += a;
                    odd_sum += b;
                    even_block.sum += a;
                    odd_block.sum += b;
                    even_block.squares += a * a;
                    odd_block.squares += b * b;
                }
                first[col][even_channel] = even_block;
                first[col][odd_channel] = odd_block;
            }
        }
        for (; x < row.good.size(); ++x) {
            (x % 2 == 0 ? even_sum : odd_sum) += row.good[x];
        }
        even.sum = even_sum;
        odd.sum = odd_sum;
    }

    void leave_defects_out(int y, Line& row) {
        const std::size_t most_listed = frame_.size() / kListedShare + kKeptDefects;
        const uint32_t* const samples = frame_.row(y);
        for (int x = 0; x < frame_.width; ++x) {
            const std::size_t channel = channel_at(frame_, y, x);
            if (!scale_[channel].is_defect(samples[x])) {
                continue;
            }
            row.good.samples -= 1;
            columns[static_cast<std::size_t>(x)].good.samples -= 1;
            channels[channel].samples -= 1;
            if (Channels<Sums>* const block = blocks.at(y, x)) {
                (*block)[channel].samples -= 1;
            }
            ++defects;
            if (listed.size() < most_listed) {
                listed.push_back({x, y, channel, samples[x]});
            }
        }
    }

    const ConstRawFrame& frame_;
    const Channels<Scale>& scale_;
    std::array<Differences, 2> differences_;
    std::vector<double> all_by_column_;
    std::vector<double> good_by_column_;
};

struct BlockValue {
    double mean = 0;
    double variance = 0;
    double error = 0;  ///< squared, of the mean
};

/// Over the four channels; those without a sample left are passed over.
std::vector<BlockValue> block_values(const Blocks& blocks) {
    std::vector<BlockValue> values;
    for (const Channels<Sums>& block : blocks.channels) {
        if (std::ranges::any_of(block, [](const Sums& channel) { return channel.samples == 0; })) {
            continue;
        }
        BlockValue& value = values.emplace_back();
        for (const Sums& channel : block) {
            value.mean += channel.mean() / 4;
            value.variance += channel.variance() / 4;
            value.error += channel.variance() / channel.samples / 16;
        }
    }
    return values;
}

BlockMap map_of(const Blocks& blocks) {
    BlockMap map{static_cast<std::size_t>(blocks.cols), {}};
    double sum = 0;
    double count = 0;
    for (const Channels<Sums>& block : blocks.channels) {
        double mean = 0;
        for (const Sums& channel : block) {
            mean += channel.mean() / 4;
        }
        map.values.push_back(mean);
        if (std::isfinite(mean)) {
            sum += mean;
            ++count;
        }
    }
    for (double& value : map.values) {
        value -= sum / count;
    }
    return map;
}

/// Range of the blocks' means beyond the one that noise makes: about 2 sqrt(2 ln n) standard errors at most.
double range_of(const std::vector<BlockValue>& blocks) {
    if (blocks.size() < 2) {
        return 0;
    }
    const auto [least, most] = std::ranges::minmax_element(blocks, {}, &BlockValue::mean);
    double error = 0;
    for (const BlockValue& block : blocks) {
        error += block.error / static_cast<double>(blocks.size());
    }
    return beyond_noise(most->mean - least->mean, 2 * std::sqrt(2 * std::log(blocks.size()) * error));
}

double correlation(const std::vector<BlockValue>& blocks) {
    const auto count = static_cast<double>(blocks.size());
    double mean = 0;
    double variance = 0;
    for (const BlockValue& block : blocks) {
        mean += block.mean / count;
        variance += block.variance / count;
    }
    double product = 0;
    double means = 0;
    double variances = 0;
    for (const BlockValue& block : blocks) {
        product += (block.mean - mean) * (block.variance - variance);
        means += (block.mean - mean) * (block.mean - mean);
        variances += (block.variance - variance) * (block.variance - variance);
    }
    return means > 0 && variances > 0 ? product / std::sqrt(means * variances) : 0;
}

/// Lines off the median of their neighbours of the same colours, so that a slope of the frame is none.
void find_lines(const std::vector<Line>& lines, bool rows, double deviation, std::vector<DefectLine>& found) {
    const int count = static_cast<int>(lines.size());
    std::vector<double> neighbours;
    for (int i = 0; i < count; ++i) {
        neighbours.clear();
        for (int step = -kNeighbours; step <= kNeighbours; ++step) {
            if (const int at = i + 2 * step; step != 0 && at >= 0 && at < count) {
                neighbours.push_back(lines[static_cast<std::size_t>(at)].mean());
            }
        }
        if (neighbours.size() < kNeighbours) {
            continue;
        }
        const auto middle = neighbours.begin() + static_cast<std::ptrdiff_t>(neighbours.size() / 2);
        std::ranges::nth_element(neighbours, middle);
        const Line& line = lines[static_cast<std::size_t>(i)];
        const double offset = line.mean() - *middle;
        const double noise = kLineErrors * deviation / std::sqrt(line.all.samples);
        if (std::abs(offset) > std::max(noise, kLeastLine)) {
            found.push_back({rows, i, offset});
        }
    }
}

/// The farthest off; pixels of defect lines would hide them.
std::vector<DefectPixel> worst_of(Collected& found, const Channels<Scale>& scale) {
    std::vector<DefectPixel>& pixels = found.listed;
    std::erase_if(pixels, [&](const DefectPixel& pixel) {
        return found.rows[static_cast<std::size_t>(pixel.row)].is_defect() ||
               found.columns[static_cast<std::size_t>(pixel.column)].is_defect();
    });
    std::ranges::stable_sort(pixels, std::greater<>(), [&](const DefectPixel& pixel) {
        return std::abs(pixel.code - scale[pixel.channel].centre);
    });
    pixels.resize(std::min(pixels.size(), kKeptDefects));
    return std::move(pixels);
}

DarkMeasures measure(const Capture& capture, const Histogram& histogram) {
    const ConstRawFrame frame = capture.view();
    Channels<Scale> scale;
    DarkMeasures dark;
    const double percent = 100 / static_cast<double>(frame.size());
    double deviation = 0;
    for (std::size_t c = 0; c < scale.size(); ++c) {
        const CodeCounts counts(histogram.channel(channel_code(c)));
        scale[c] = counts.scale(code_step(capture.sensor.bits));
        dark.noise[c] = scale[c].deviation;
        deviation = std::fmax(deviation, scale[c].deviation);
        dark.zero += counts.count(0, 0) * percent;
        dark.full_scale += counts.count(full_scale_code(capture.sensor), kLibraryFullScale) * percent;
    }
    Collected found(frame, scale);
    for (std::size_t c = 0; c < scale.size(); ++c) {
        dark.level[c] = scale[c].centre + found.channels[c].mean();
    }
    const std::vector<BlockValue> blocks = block_values(found.blocks);
    dark.blocks = map_of(found.blocks);
    dark.block_range = range_of(blocks);
    dark.light = dark.block_range > kLeastRange && dark.zero < kMostCut ? correlation(blocks) : 0;
    find_lines(found.rows, true, deviation, dark.lines);
    find_lines(found.columns, false, deviation, dark.lines);
    std::ranges::stable_sort(dark.lines, std::greater<>(),
                             [](const DefectLine& line) { return std::abs(line.offset); });
    dark.lines.resize(std::min(dark.lines.size(), kKeptDefects));
    dark.worst_defects = worst_of(found, scale);
    dark.defects = found.defects;
    dark.defects_ppm = static_cast<double>(dark.defects) / static_cast<double>(frame.size()) * 1e6;
    return dark;
}

/// Channels that a frame of one row or column does not hold are passed over.
struct Range {
    std::size_t most = kRR;
    double least_level = kNone;
    double most_level = kNone;

    void add(double level, std::size_t index) {
        least_level = std::fmin(least_level, level);
        if (!(level <= most_level) && !std::isnan(level)) {
            most_level = level;
            most = index;
        }
    }
    [[nodiscard]] double span() const { return most_level - least_level; }
};

}  // namespace

DarkMeasures check_dark(const Capture& dark, const Histogram& histogram, Judge& judge) {
    DarkMeasures found = measure(dark, histogram);
    Range levels;
    double error = 0;  // of a channel's mean
    for (std::size_t c = 0; c < found.level.size(); ++c) {
        levels.add(found.level[c], c);
        error = std::fmax(error, found.noise[c] / std::sqrt(static_cast<double>(dark.samples.size()) / 4));
    }
    judge.hold(Check::dark_level, levels.most_level, channel_key(levels.most, dark.sensor.mono), known(error));
    judge.hold(Check::dark_spread, levels.span(), "", known(std::numbers::sqrt2 * error));
    judge.hold(Check::dark_blocks, found.block_range);
    judge.hold(Check::dark_zero, found.zero);
    judge.hold(Check::dark_full_scale, found.full_scale);
    judge.hold(Check::dark_defects, found.defects_ppm);
    if (found.lines.empty()) {
        judge.hold(Check::dark_lines, 0);
    } else {
        const DefectLine& worst = found.lines[0];
        judge.hold(Check::dark_lines, std::abs(worst.offset),
                   text("%s %d", worst.is_row ? "row" : "column", worst.position));
    }
    judge.hold(Check::dark_light, found.light);
    return found;
}

void check_dark_frames(std::span<const DarkMeasures> frames, Judge& judge) {
    if (frames.size() < 2) {
        return;
    }
    double worst = 0;
    std::size_t channel = kRR;
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        Range levels;
        for (const DarkMeasures& frame : frames) {
            levels.add(frame.level[c], c);
        }
        if (levels.span() > worst) {
            worst = levels.span();
            channel = c;
        }
    }
    judge.hold(Check::dark_frames, worst, kChannelKeys[channel]);
}

}  // namespace cali::host
