#include <algorithm>
#include <array>
#include <bit>
#include <stdexcept>

#include "boundary/export_call.h"
#include "boundary/frame_arguments.h"
#include "cali/cali.h"
#include "noise/images.h"
#include "noise/level_list.h"
#include "noise/registers.h"

namespace cali::noise {
namespace {

/// Checks the list against what is asked of it.
Series checked_series(ArgumentCheck& check, const LevelList& list, uint32_t width, uint32_t height, int32_t count,
                      int32_t nframes) {
    check_frame_size(check, width, height);
    check.range("nframes", nframes, 0, INT32_MAX);
    check.range("count", count, 0, list.count);
    const int64_t size = check.ok() ? int64_t{width} * height : 0;
    if (check.ok() && size != 0 && nframes > INT32_MAX / size) {
        check.reject("%d frames of %u x %u hold more than 2147483647 samples", nframes, width, height);
    }
    if (count > 0) {
        check.pointer("levels", list.levels);
    }
    for (int32_t k = 0; check.ok() && k < count; ++k) {
        const Level& level = list.levels[k];
        if (static_cast<uint32_t>(nframes) > level.nframes) {
            check.reject("nframes is %d, level %d holds %u", nframes, k, level.nframes);
        }
        if (nframes > 0) {
            check.pointer("a level's frames", static_cast<const void*>(level.frames));
        }
        for (int32_t j = 0; check.ok() && size != 0 && j < nframes; ++j) {
            check.pointer("a level's frame", level.frames[j]);
        }
    }
    // Frames without columns may claim any number of rows: nobody is to walk over them.
    return {list.levels, count, nframes, static_cast<int32_t>(width), width == 0 ? 0 : static_cast<int32_t>(height)};
}

/// Positions that a frame has: the highest plus one.
int32_t positions_of(uint32_t width, uint32_t height) {
    if (width == 0 || height == 0) {
        return 1;
    }
    return (height > 1 ? 2 : 0) + (width > 1 ? 2 : 1);
}

int32_t measure(const char* export_name, LevelList& list, uint32_t width, uint32_t height, int32_t count, int32_t nch,
                int32_t nframes, float** means, float** spreads, Spread spread) {
    const LevelListRelease release_at_end(list);
    if (count < 1) {
        return kOk;
    }
    ArgumentCheck check(Family::noise, export_name);
    const Series series = checked_series(check, list, width, height, count, nframes);
    check.range("nch", nch, positions_of(width, height), INT32_MAX);
    check.pointer("means", static_cast<const void*>(means));
    check.pointer("spreads", static_cast<const void*>(spreads));
    for (int32_t c = 0; check.ok() && c < nch; ++c) {
        check.pointer("a means array", means[c]);
        check.pointer("a spreads array", spreads[c]);
    }
    if (!check.ok()) {
        return kRejected;
    }
    const auto positions = static_cast<std::size_t>(nch);
    measure_series(series, spread, {means, positions}, {spreads, positions});
    return kOk;
}

/// What the profile exports take alike.
struct ProfileArguments {
    const char* export_name;
    const LevelList* levels;
    uint32_t width, height;
    int32_t count, nframes, pattern;
    SeriesBlack black;
    bool any_pattern;

    [[nodiscard]] Series checked(ArgumentCheck& check) const {
        check.pointer("levels", levels);
        if (!any_pattern) {
            check_pattern(check, pattern);
        }
        return check.ok() ? checked_series(check, *levels, width, height, count, nframes) : Series{};
    }
};

/// Outputs by channel code.
template <typename T>
void check_outputs(ArgumentCheck& check, const char* first_name, const PerChannel<T*>& first, const char* second_name,
                   const PerChannel<T*>& second) {
    for (std::size_t code = 0; code < kChannels; ++code) {
        check.pointer(first_name, first[code]);
        check.pointer(second_name, second[code]);
    }
}

int32_t fit_float(const ProfileArguments& arguments, Spread spread, const PerChannel<uint32_t*>& slope,
                  const PerChannel<uint32_t*>& intercept) {
    ArgumentCheck check(Family::noise, arguments.export_name);
    const Series series = arguments.checked(check);
    check_outputs(check, "slope", slope, "intercept", intercept);
    if (!check.ok()) {
        return kRejected;
    }
    const PerChannel<Line> lines = fit_profile(series, arguments.pattern, arguments.black, spread);
    for (std::size_t code = 0; code < kChannels; ++code) {
        *slope[code] = std::bit_cast<uint32_t>(lines[code].slope);
        *intercept[code] = std::bit_cast<uint32_t>(lines[code].intercept);
    }
    return kOk;
}

using FormatReader = std::optional<Format> (*)(const std::string& text);

/// In the exports whose formats are ours.
constexpr FormatReader kStrict = read_strict_format;

Format checked_format(ArgumentCheck& check, const char* name, const char* text, FormatReader read) {
    check.pointer(name, text);
    if (!check.ok()) {
        return {};
    }
    const std::optional<Format> format = read(text);
    if (!format) {
        check.reject(read == kStrict ? "%s is \"%.40s\", expected a format such as \"U4.8\", 0 to 31 bits each"
                                     : "%s is \"%.40s\", expected a format such as \"U4.8\"",
                     name, text);
    }
    return format.value_or(Format{});
}

LineFormats checked_formats(ArgumentCheck& check, const char* slope_name, const char* slope, const char* level_name,
                            const char* level, FormatReader read = kStrict) {
    const Format slope_format = checked_format(check, slope_name, slope, read);
    return {slope_format, checked_format(check, level_name, level, read)};
}

}  // namespace
}  // namespace cali::noise

using namespace cali;

int32_t cali_isp_roi_mean_std_calc(LevelList levels, uint32_t width, uint32_t height, int32_t count, int32_t nch,
                                   int32_t nframes, float** means, float** stds) {
    return run_export([&] {
        return noise::measure("cali_isp_roi_mean_std_calc", levels, width, height, count, nch, nframes, means, stds,
                              noise::Spread::deviation);
    });
}

int32_t cali_isp_roi_mean_var_calc(LevelList levels, uint32_t width, uint32_t height, int32_t count, int32_t nch,
                                   int32_t nframes, float** means, float** vars) {
    return run_export([&] {
        return noise::measure("cali_isp_roi_mean_var_calc", levels, width, height, count, nch, nframes, means, vars,
                              noise::Spread::variance);
    });
}

int32_t cali_isp_np_lr_calc(const float* x, const float* y, uint32_t n, uint32_t* slope, uint32_t* intercept) {
    return run_export([&] {
        const auto count = static_cast<int32_t>(n);
        ArgumentCheck check(Family::noise, "cali_isp_np_lr_calc");
        if (count > 0) {
            check.pointer("x", x);
            check.pointer("y", y);
        }
        check.pointer("slope", slope);
        check.pointer("intercept", intercept);
        if (!check.ok()) {
            return kRejected;
        }
        const std::size_t points = count > 0 ? n : 0;
        const noise::Line line = noise::fit_line({x, points}, {y, points});
        *slope = std::bit_cast<uint32_t>(line.slope);
        *intercept = std::bit_cast<uint32_t>(line.intercept);
        return kOk;
    });
}

int32_t cali_isp_np_float_calc(const LevelList* levels, uint32_t width, uint32_t height, int32_t count, int32_t nframes,
                               int32_t pattern, uint32_t black_bb, uint32_t black_gb, uint32_t black_gr_rr,
                               int64_t /*reserved*/, uint32_t* slope_bb, uint32_t* intercept_bb, uint32_t* slope_gb,
                               uint32_t* intercept_gb, uint32_t* slope_gr, uint32_t* intercept_gr, uint32_t* slope_rr,
                               uint32_t* intercept_rr) {
    return run_export([&] {
        return noise::fit_float({"cali_isp_np_float_calc",
                                 levels,
                                 width,
                                 height,
                                 count,
                                 nframes,
                                 pattern,
                                 {black_bb, black_gb, black_gr_rr},
                                 true},
                                noise::Spread::deviation, {{slope_bb, slope_gb, slope_gr, slope_rr}},
                                {{intercept_bb, intercept_gb, intercept_gr, intercept_rr}});
    });
}

int32_t cali_isp_np_float_calc_ainr(const LevelList* levels, uint32_t width, uint32_t height, int32_t count,
                                    int32_t nframes, int32_t pattern, uint32_t black_bb, uint32_t black_gb,
                                    uint32_t black_gr_rr, int64_t /*reserved*/, uint32_t* slope_bb,
                                    uint32_t* intercept_bb, uint32_t* slope_gb, uint32_t* intercept_gb,
                                    uint32_t* slope_gr, uint32_t* intercept_gr, uint32_t* slope_rr,
                                    uint32_t* intercept_rr) {
    return run_export([&] {
        return noise::fit_float({"cali_isp_np_float_calc_ainr",
                                 levels,
                                 width,
                                 height,
                                 count,
                                 nframes,
                                 pattern,
                                 {black_bb, black_gb, black_gr_rr},
                                 false},
                                noise::Spread::variance, {{slope_bb, slope_gb, slope_gr, slope_rr}},
                                {{intercept_bb, intercept_gb, intercept_gr, intercept_rr}});
    });
}

int32_t cali_isp_np_float_to_fix_calc(float slope, float intercept, int32_t ref_level, int32_t* slope_fix,
                                      int32_t* level_fix, int64_t /*reserved_a*/, uint32_t slope_int_bits,
                                      uint32_t slope_frac_bits, int64_t /*reserved_b*/, uint32_t level_bits_a,
                                      uint32_t level_bits_b) {
    return run_export([&] {
        ArgumentCheck check(Family::noise, "cali_isp_np_float_to_fix_calc");
        check.pointer("slope_fix", slope_fix);
        check.pointer("level_fix", level_fix);
        if (!check.ok()) {
            return kRejected;
        }
        const noise::LineRegisters registers = noise::to_registers(
            {slope, intercept}, ref_level, {{slope_int_bits, slope_frac_bits}, {level_bits_a, level_bits_b}});
        *slope_fix = registers.slope;
        *level_fix = registers.level;
        return kOk;
    });
}

int32_t cali_isp_np_float_to_fix_calc_v2(float slope, float intercept, int32_t ref_level, int32_t* slope_fix,
                                         int32_t* level_fix, const char* slope_format, const char* level_format) {
    ArgumentCheck check(Family::noise, "cali_isp_np_float_to_fix_calc_v2");
    check.pointer("slope_fix", slope_fix);
    check.pointer("level_fix", level_fix);
    check.pointer("slope_format", slope_format);
    check.pointer("level_format", level_format);
    if (!check.ok()) {
        return kRejected;
    }
    // The one export from which an exception reaches the caller.
    if (*slope_format == '\0' || *level_format == '\0') {
        throw std::out_of_range("invalid string position");
    }
    return run_export([&] {
        const noise::LineFormats formats = noise::checked_formats(check, "slope_format", slope_format, "level_format",
                                                                  level_format, noise::read_format);
        if (!check.ok()) {
            return kRejected;
        }
        const noise::LineRegisters registers = noise::to_registers({slope, intercept}, ref_level, formats);
        *slope_fix = registers.slope;
        *level_fix = registers.level;
        return kOk;
    });
}

int32_t cali_isp_np_fix_calc(const LevelList* levels, uint32_t width, uint32_t height, int32_t count, int32_t nframes,
                             int32_t pattern, uint32_t black_bb, uint32_t black_gb, uint32_t black_gr_rr,
                             int32_t ref_level, const char* formats, int32_t* slope_bb, int32_t* level_bb,
                             int32_t* slope_gb, int32_t* level_gb, int32_t* slope_gr, int32_t* level_gr,
                             int32_t* slope_rr, int32_t* level_rr) {
    return run_export([&] {
        const noise::ProfileArguments arguments{"cali_isp_np_fix_calc",
                                                levels,
                                                width,
                                                height,
                                                count,
                                                nframes,
                                                pattern,
                                                {black_bb, black_gb, black_gr_rr},
                                                false};
        const PerChannel<int32_t*> slope{{slope_bb, slope_gb, slope_gr, slope_rr}};
        const PerChannel<int32_t*> level{{level_bb, level_gb, level_gr, level_rr}};
        ArgumentCheck check(Family::noise, arguments.export_name);
        const noise::Series series = arguments.checked(check);
        noise::check_outputs(check, "slope", slope, "level", level);
        check.pointer("formats", formats);
        if (!check.ok()) {
            return kRejected;
        }
        const std::string text = formats;
        const std::size_t comma = text.find(',');
        if (comma == std::string::npos) {
            check.reject("formats is \"%.40s\", expected two such as \"U4.8,U8.0\"", formats);
            return kRejected;
        }
        const std::size_t second = std::min(text.find_first_not_of(" \t", comma + 1), text.size());
        const noise::LineFormats line_formats = noise::checked_formats(check, "formats", text.substr(0, comma).c_str(),
                                                                       "formats", text.substr(second).c_str());
        if (!check.ok()) {
            return kRejected;
        }
        const PerChannel<noise::Line> lines =
            noise::fit_profile(series, pattern, arguments.black, noise::Spread::deviation);
        for (std::size_t code = 0; code < kChannels; ++code) {
            const noise::LineRegisters registers = noise::to_registers(lines[code], ref_level, line_formats);
            *slope[code] = registers.slope;
            *level[code] = registers.level;
        }
        return kOk;
    });
}

int32_t cali_isp_np_fix_to_fix_calc(int32_t slope_fix, int32_t level_fix, const char* slope_format,
                                    const char* level_format, const char* new_slope_format,
                                    const char* new_level_format, int32_t* new_slope_fix, int32_t* new_level_fix) {
    return run_export([&] {
        ArgumentCheck check(Family::noise, "cali_isp_np_fix_to_fix_calc");
        check.pointer("new_slope_fix", new_slope_fix);
        check.pointer("new_level_fix", new_level_fix);
        const noise::LineFormats from =
            noise::checked_formats(check, "slope_format", slope_format, "level_format", level_format);
        const noise::LineFormats to =
            noise::checked_formats(check, "new_slope_format", new_slope_format, "new_level_format", new_level_format);
        if (!check.ok()) {
            return kRejected;
        }
        const noise::LineRegisters registers = noise::move_registers({slope_fix, level_fix}, from, to);
        *new_slope_fix = registers.slope;
        *new_level_fix = registers.level;
        return kOk;
    });
}

int32_t cali_isp_ynr_np_fix_calc(const float* slopes, const float* intercepts, int32_t ref_level,
                                 const char* slope_format, const char* level_format, int32_t* slope_fix,
                                 int32_t* level_fix) {
    return run_export([&] {
        ArgumentCheck check(Family::noise, "cali_isp_ynr_np_fix_calc");
        check.pointer("slopes", slopes);
        check.pointer("intercepts", intercepts);
        check.pointer("slope_fix", slope_fix);
        check.pointer("level_fix", level_fix);
        const noise::LineFormats formats =
            noise::checked_formats(check, "slope_format", slope_format, "level_format", level_format);
        if (!check.ok()) {
            return kRejected;
        }
        PerChannel<noise::Line> lines;
        for (std::size_t code = 0; code < kChannels; ++code) {
            lines[code] = {slopes[code], intercepts[code]};
        }
        const noise::LineRegisters registers = noise::to_registers(noise::luma_line(lines), ref_level, formats);
        *slope_fix = registers.slope;
        *level_fix = registers.level;
        return kOk;
    });
}

int32_t cali_isp_diff_img_calc(uint32_t** frame_a, uint32_t** frame_b, uint32_t width, uint32_t height,
                               uint32_t** output) {
    return run_export([&] {
        ArgumentCheck check(Family::noise, "cali_isp_diff_img_calc");
        check_frame_size(check, width, height);
        const std::size_t size = std::size_t{width} * height;
        if (size != 0) {
            check.frame("frame_a", frame_a);
            check.frame("frame_b", frame_b);
            check.frame("output", output);
        }
        if (!check.ok()) {
            return kRejected;
        }
        if (size != 0) {
            noise::difference_image(*frame_a, *frame_b, size, *output);
        }
        return kOk;
    });
}

int32_t cali_isp_std_img_calc(uint32_t** frames, int32_t nframes, uint32_t width, uint32_t height, float* output) {
    return run_export([&] {
        ArgumentCheck check(Family::noise, "cali_isp_std_img_calc");
        check_frame_size(check, width, height);
        check.range("nframes", nframes, 2, INT32_MAX);
        const std::size_t size = std::size_t{width} * height;
        if (size != 0) {
            check.pointer("frames", static_cast<const void*>(frames));
            check.pointer("output", output);
            for (int32_t k = 0; check.ok() && k < nframes; ++k) {
                check.pointer("one of the frames", frames[k]);
            }
        }
        if (!check.ok()) {
            return kRejected;
        }
        noise::deviation_image(frames, static_cast<std::size_t>(nframes), size, output);
        return kOk;
    });
}
