#include "calibrations/noise.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

#include "base/error.h"
#include "base/progress.h"
#include "core/channel.h"
#include "kernels/sample_math.h"

namespace cali::host {
namespace {

constexpr int kLargestWindow = 512;
constexpr double kMostClipped = 0.01;  ///< share of a level's samples
constexpr double kMostUlp = 4;         ///< of a level's sum, in deviations

/// A level's frames, cut to the window.
struct LevelFrames {
    std::vector<std::vector<uint32_t>> frames;
    double clipped = 0;  ///< share
};

Window default_noise_window(const Capture& frame) {
    const int width = std::min(kLargestWindow, frame.width & ~1);
    const int height = std::min(kLargestWindow, frame.height & ~1);
    return {((frame.width - width) / 2) & ~1, ((frame.height - height) / 2) & ~1, width, height};
}

void require_window(const Window& window, const Capture& frame) {
    const bool even = ((window.x | window.y | window.width | window.height) & 1) == 0;
    if (!even || window.width < 2 || window.height < 2 || window.x + window.width > frame.width ||
        window.y + window.height > frame.height) {
        throw InputError(frame.file.string() + ": the window [" + std::to_string(window.x) + ", " +
                         std::to_string(window.y) + ", " + std::to_string(window.width) + ", " +
                         std::to_string(window.height) + "], expected even numbers inside the frame of " +
                         std::to_string(frame.width) + " x " + std::to_string(frame.height));
    }
}

void require_same_geometry(const Capture& frame, const Capture& first) {
    if (frame.width != first.width || frame.height != first.height || frame.pattern != first.pattern ||
        frame.bits != first.bits) {
        throw InputError(frame.file.string() + ": " + std::to_string(frame.width) + " x " +
                         std::to_string(frame.height) + " samples of " + std::to_string(frame.bits) +
                         " bits, expected " + std::to_string(first.width) + " x " + std::to_string(first.height) +
                         " of " + std::to_string(first.bits) + " as in " + first.file.string());
    }
}

/// The exports' rule: one black level serves GR and RR.
uint32_t black_of(Channel channel, const BlackLevels& black_level) {
    return channel == BB ? black_level.offset[kBB] : channel == GB ? black_level.offset[kGB] : black_level.offset[kGR];
}

/// The window after the black level; counts samples at either end of the range.
std::vector<uint32_t> cut(const Capture& frame, const Window& window, const BlackLevels& black_level,
                          std::size_t& clipped) {
    const uint32_t full_scale = full_scale_code(frame);
    std::vector<uint32_t> samples;
    samples.reserve(static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height));
    for (int y = window.y; y < window.y + window.height; ++y) {
        const uint32_t* const row =
            frame.samples.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(frame.width);
        for (int x = window.x; x < window.x + window.width; ++x) {
            const uint32_t black =
                black_of(bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)), black_level);
            const uint32_t sample = sample::subtract_limited(row[x], black);
            clipped += sample == 0 || row[x] >= full_scale ? 1 : 0;
            samples.push_back(sample);
        }
    }
    return samples;
}

/// Statistics of one level; positions become channels. The deviation's export takes the same root, of the same sums.
void measure_level(std::vector<std::vector<uint32_t>>& frames, const Window& window, int pattern,
                   const std::filesystem::path& file, const LibraryOutput& output, NoiseLevel& level) {
    std::vector<uint32_t*> pointers;
    pointers.reserve(frames.size());
    std::ranges::transform(frames, std::back_inserter(pointers), [](auto& frame) { return frame.data(); });
    const LevelListOwner owner({pointers});
    std::array<float, 4> means{};
    std::array<float, 4> variances{};
    std::array<float*, 4> mean_pointers = {&means[0], &means[1], &means[2], &means[3]};
    std::array<float*, 4> variance_pointers = {&variances[0], &variances[1], &variances[2], &variances[3]};
    constexpr const char* kName = "cali_isp_roi_mean_var_calc";
    require_accepted(
        output.call(kName,
                    [&] {
                        return cali_isp_roi_mean_var_calc(
                            owner.copy(), static_cast<uint32_t>(window.width), static_cast<uint32_t>(window.height), 1,
                            4, static_cast<int32_t>(frames.size()), mean_pointers.data(), variance_pointers.data());
                    }),
        kName, file);
    for (uint32_t position = 0; position < 4; ++position) {
        const auto channel = static_cast<std::size_t>(RR - bayer_channel(pattern, position >> 1U, position & 1U));
        level.mean[channel] = means[position];
        level.variance[channel] = variances[position];
        level.deviation[channel] = std::sqrt(variances[position]);
    }
}

template <typename Value>
NoiseLine fit(const std::vector<NoiseLevel>& levels, std::size_t channel, Value value, const LibraryOutput& output,
              const std::filesystem::path& file) {
    std::vector<float> x;
    std::vector<float> y;
    for (const NoiseLevel& level : levels) {
        x.push_back(level.mean[channel]);
        y.push_back((level.*value)[channel]);
    }
    uint32_t slope = 0;
    uint32_t intercept = 0;
    require_accepted(output.call("cali_isp_np_lr_calc",
                                 [&] {
                                     return cali_isp_np_lr_calc(x.data(), y.data(), static_cast<uint32_t>(x.size()),
                                                                &slope, &intercept);
                                 }),
                     "cali_isp_np_lr_calc", file);
    NoiseLine line{std::bit_cast<float>(slope), std::bit_cast<float>(intercept), 0};
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double on_line =
            static_cast<double>(line.slope) * static_cast<double>(x[i]) + static_cast<double>(line.intercept);
        const double difference = static_cast<double>(y[i]) / on_line - 1;
        line.residual += difference * difference / static_cast<double>(x.size());
    }
    line.residual = std::sqrt(line.residual);
    return line;
}

std::string percent(double share) {
    char text[16];
    (void)std::snprintf(text, sizeof text, "%.1f %%", share * 100);
    return text;
}

void require_rising(const std::vector<NoiseLevel>& levels) {
    for (std::size_t k = 1; k < levels.size(); ++k) {
        for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
            if (!(levels[k].mean[c] > levels[k - 1].mean[c])) {
                throw CalibrationError(levels[k].name + ": the mean of " + kChannelKeys[c] + " is " +
                                       std::to_string(levels[k].mean[c]) + " after " +
                                       std::to_string(levels[k - 1].mean[c]) +
                                       " in the level before, expected levels from dark to bright");
            }
        }
    }
}

/// Once a running sum's last bit is worth several deviations, what is added is rounded away.
void warn_of_rounding(NoiseResults& results) {
    const double samples = static_cast<double>(results.window.width) * results.window.height / 4;
    for (const NoiseLevel& level : results.levels) {
        const double sum = samples * level.frames * static_cast<double>(*std::ranges::max_element(level.mean));
        const double ulp = std::ldexp(1.0, std::ilogb(std::max(sum, 1.0)) - 23);
        const auto deviation = static_cast<double>(*std::ranges::min_element(level.deviation));
        if (ulp > kMostUlp * std::max(deviation, 1.0)) {
            char text[256];
            (void)std::snprintf(text, sizeof text,
                                "%s: the window of %d x %d over %d frames is too large for the single-precision sums "
                                "that the ISP's reference prescribes: the noise comes out wrong; use 512 x 512 or less",
                                level.name.c_str(), results.window.width, results.window.height, level.frames);
            results.warnings.emplace_back(text);
            return;
        }
    }
}

void convert(NoiseResults& results, const std::filesystem::path& file, const LibraryOutput& output) {
    const NoiseSettings& settings = results.settings;
    const char* const slope_format = settings.slope_format.c_str();
    const char* const level_format = settings.level_format.c_str();
    std::array<float, 4> slopes{};
    std::array<float, 4> intercepts{};
    for (std::size_t c = 0; c < slopes.size(); ++c) {
        const NoiseLine& line = results.deviation[c];
        require_accepted(output.call("cali_isp_np_float_to_fix_calc_v2",
                                     [&] {
                                         return cali_isp_np_float_to_fix_calc_v2(
                                             line.slope, line.intercept, settings.ref_level, &results.slope_fix[c],
                                             &results.level_fix[c], slope_format, level_format);
                                     }),
                         "cali_isp_np_float_to_fix_calc_v2", file);
        slopes[3 - c] = line.slope;  // blue first
        intercepts[3 - c] = line.intercept;
    }
    require_accepted(output.call("cali_isp_ynr_np_fix_calc",
                                 [&] {
                                     return cali_isp_ynr_np_fix_calc(slopes.data(), intercepts.data(),
                                                                     settings.ref_level, slope_format, level_format,
                                                                     &results.luma_slope_fix, &results.luma_level_fix);
                                 }),
                     "cali_isp_ynr_np_fix_calc", file);
}

}  // namespace

NoiseResults calibrate_noise(const std::vector<SeriesLevel>& levels, const Geometry& geometry,
                             const BlackLevels& black_level, const NoiseSettings& settings, const LibraryOutput& output,
                             Capture& capture) {
    if (levels.size() < 2) {
        throw InputError("the noise series has " + std::to_string(levels.size()) +
                         (levels.size() == 1 ? " level" : " levels") + ", expected two or more");
    }
    NoiseResults results;
    results.settings = settings;
    std::size_t total = 0;
    for (const SeriesLevel& level : levels) {
        total += level.files.size();
    }
    Progress progress(total, settings.progress);
    bool first = true;
    for (std::size_t k = 0; k < levels.size(); ++k) {
        const std::vector<std::filesystem::path>& files = levels[k].files;
        NoiseLevel level;
        level.name =
            "level " + std::to_string(k + 1) + (files.empty() ? "" : " (" + files[0].filename().string() + ")");
        if (files.empty()) {
            throw InputError(level.name + ": names no file, expected one frame or more");
        }
        level.frames = static_cast<int>(files.size());
        std::vector<std::vector<uint32_t>> frames;
        std::size_t clipped = 0;
        for (const std::filesystem::path& file : files) {
            Capture frame = read_capture(file, geometry);
            if (first) {
                results.window = settings.window.value_or(default_noise_window(frame));
                capture = frame;
                capture.samples.clear();
                first = false;
            }
            require_same_geometry(frame, capture);
            require_window(results.window, frame);
            frames.push_back(cut(frame, results.window, black_level, clipped));
            progress.step();
        }
        const double share =
            static_cast<double>(clipped) / (static_cast<double>(frames.size()) * static_cast<double>(frames[0].size()));
        if (share > kMostClipped) {
            throw CalibrationError(level.name + ": " + percent(share) +
                                   " of the samples are at full scale or not above black, expected at most " +
                                   percent(kMostClipped));
        }
        measure_level(frames, results.window, capture.pattern, files[0], output, level);
        results.levels.push_back(std::move(level));
    }
    progress.finish();
    require_rising(results.levels);
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        results.deviation[c] = fit(results.levels, c, &NoiseLevel::deviation, output, capture.file);
        results.variance[c] = fit(results.levels, c, &NoiseLevel::variance, output, capture.file);
    }
    warn_of_rounding(results);
    convert(results, capture.file, output);
    return results;
}

void print_noise(const NoiseResults& results) {
    std::printf("Noise over [%d, %d, %d, %d], mean and deviation in codes\n", results.window.x, results.window.y,
                results.window.width, results.window.height);
    std::printf("  %-28s %7s %18s %18s %18s %18s\n", "level", "frames", "RR", "GR", "GB", "BB");
    for (const NoiseLevel& level : results.levels) {
        std::printf("  %-28s %7d", level.name.c_str(), level.frames);
        for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
            std::printf(" %9.2f %8.3f", static_cast<double>(level.mean[c]), static_cast<double>(level.deviation[c]));
        }
        std::printf("\n");
    }
    std::printf("  %-9s %26s %10s %34s %10s %16s\n", "channel", "deviation = slope, intercept", "residual",
                "variance = codes/electron, read noise", "residual", "slope, level");
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        const NoiseLine& deviation = results.deviation[c];
        const NoiseLine& variance = results.variance[c];
        std::printf("  %-9s %14.6f %13.4f %8.2f %% %20.4f %13.3f %8.2f %% %9d %6d\n", kChannelKeys[c],
                    static_cast<double>(deviation.slope), static_cast<double>(deviation.intercept),
                    deviation.residual * 100, static_cast<double>(variance.slope),
                    std::sqrt(std::max(static_cast<double>(variance.intercept), 0.0)), variance.residual * 100,
                    results.slope_fix[c], results.level_fix[c]);
    }
    std::printf("  registers %s and %s at code %d; luma %d, %d\n", results.settings.slope_format.c_str(),
                results.settings.level_format.c_str(), results.settings.ref_level, results.luma_slope_fix,
                results.luma_level_fix);
    for (const std::string& warning : results.warnings) {
        (void)std::fprintf(stderr, "cali: %s\n", warning.c_str());
    }
}

}  // namespace cali::host
