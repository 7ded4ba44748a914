#include <stdexcept>

#include "export_call.h"

namespace {

using namespace cali::fuzz;

/// Texts of formats, and what is none.
std::string format_of(Draw& draw) {
    return draw.one_in(8) ? draw.text(12)
                          : draw.of<const char*>(
                                {"U4.8", "U8.0", "S3.12", "U.8", "U4.", "U31.31", "U32.0", "U8", ".", "U0.0", "U1.31"});
}

/// Printable by strlen: without what follows a NUL.
const char* text_of(Call& call, const std::string& text) {
    std::vector<char> bytes(text.begin(), text.end());
    bytes.push_back('\0');
    return call.buffer(bytes);
}

int releases = 0;

struct Series {
    Size size;
    int32_t count, nframes;
    LevelList list{};

    Series(Draw& draw, Call& call, Changes changes) : size(call.size()) {
        if (size.count > 4096) {
            size = {1, 1, 1};
        }
        const auto levels = draw.within(0U, 4U);
        std::vector<Level> made;
        uint32_t least = 5;
        for (uint32_t i = 0; i < levels; ++i) {
            std::vector<uint32_t*> frames(draw.within(0U, 4U));
            for (uint32_t*& frame : frames) {
                frame = call.frame(size, changes);
            }
            least = std::min(least, static_cast<uint32_t>(frames.size()));
            made.push_back({call.buffer(frames), static_cast<uint32_t>(frames.size())});
        }
        count = draw.one_in(16) ? draw.any<int32_t>() : draw.within(0, static_cast<int32_t>(levels));
        nframes = draw.one_in(16) ? draw.any<int32_t>() : draw.within(0, static_cast<int32_t>(levels > 0 ? least : 2));
        list = {call.buffer(made), levels, [](LevelList*) { ++releases; }, nullptr};
        releases = 0;
    }
};

void statistics(Draw& draw, Call& call, bool variances) {
    const Series series(draw, call, Changes::never);
    const int32_t nch = draw.one_in(8) ? draw.within(-1, 6) : 4;
    const auto held = series.count > 0 && series.count <= 4 ? static_cast<std::size_t>(series.count) : 0;
    const auto outputs = [&] {
        std::vector<float*> pointers(static_cast<std::size_t>(std::max(nch, 0)));
        for (float*& pointer : pointers) {
            pointer = call.output<float>(held);
        }
        return call.buffer(pointers);
    };
    float** const means = outputs();
    float** const spreads = outputs();
    const auto function = variances ? cali_isp_roi_mean_var_calc : cali_isp_roi_mean_std_calc;
    const int32_t result =
        function(series.list, static_cast<uint32_t>(series.size.width), static_cast<uint32_t>(series.size.height),
                 series.count, nch, series.nframes, means, spreads);
    Call::require(releases == 1);
    call.expect(result);
}

void profile(Draw& draw, Call& call, int which) {
    const Series series(draw, call, Changes::by_success);
    const auto* const list = draw.one_in(64) ? nullptr : &series.list;
    const auto width = static_cast<uint32_t>(series.size.width);
    const auto height = static_cast<uint32_t>(series.size.height);
    const int32_t pattern = call.pattern();
    const uint32_t bb = draw.code();
    const uint32_t gb = draw.code();
    const uint32_t gr = draw.code();
    if (which == 2) {
        std::array<int32_t*, 8> out{};
        for (int32_t*& value : out) {
            value = call.output<int32_t>(1);
        }
        const auto level = draw.any<int32_t>();
        const char* const formats = text_of(call, format_of(draw) + "," + format_of(draw));
        call.expect(cali_isp_np_fix_calc(list, width, height, series.count, series.nframes, pattern, bb, gb, gr, level,
                                         formats, out[0], out[1], out[2], out[3], out[4], out[5], out[6], out[7]));
        return;
    }
    std::array<uint32_t*, 8> out{};
    for (uint32_t*& value : out) {
        value = call.output<uint32_t>(1);
    }
    const auto function = which == 0 ? cali_isp_np_float_calc : cali_isp_np_float_calc_ainr;
    call.expect(function(list, width, height, series.count, series.nframes, pattern, bb, gb, gr, 0, out[0], out[1],
                         out[2], out[3], out[4], out[5], out[6], out[7]));
}

void registers(Draw& draw, Call& call, int which) {
    const float slope = draw.real(-2, 2);
    const float intercept = draw.real(-100, 100);
    const int32_t level = draw.one_in(2) ? 64 : draw.any<int32_t>();
    auto* const slope_fix = call.output<int32_t>(1);
    auto* const level_fix = call.output<int32_t>(1);
    const auto bits = [&] { return draw.one_in(4) ? draw.any<uint32_t>() : draw.within(0U, 16U); };
    std::array<std::string, 4> texts;
    std::array<const char*, 4> formats{};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        texts[i] = format_of(draw);
        formats[i] = text_of(call, texts[i]);
    }
    if (which == 0) {
        const uint32_t a = bits();
        const uint32_t b = bits();
        const uint32_t c = bits();
        call.expect(
            cali_isp_np_float_to_fix_calc(slope, intercept, level, slope_fix, level_fix, 0, a, b, 0, c, bits()));
    } else if (which == 1) {
        int32_t result = -1;
        try {
            result =
                cali_isp_np_float_to_fix_calc_v2(slope, intercept, level, slope_fix, level_fix, formats[0], formats[1]);
        } catch (const std::out_of_range&) {  // of an empty text alone
            Call::require(formats[0][0] == '\0' || formats[1][0] == '\0');
            call.expect(-1, true);
            return;
        }
        call.expect(result);
    } else if (which == 2) {
        const auto fix = draw.any<int32_t>();
        call.expect(cali_isp_np_fix_to_fix_calc(fix, level, formats[0], formats[1], formats[2], formats[3], slope_fix,
                                                level_fix));
    } else {
        const float* const slopes = call.buffer(draw.reals(4, -2, 2));
        const float* const intercepts = call.buffer(draw.reals(4, -9, 9));
        call.expect(cali_isp_ynr_np_fix_calc(slopes, intercepts, level, formats[0], formats[1], slope_fix, level_fix));
    }
}

void images(Draw& draw, Call& call, bool difference) {
    const Size size = call.size();
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.height);
    if (difference) {
        uint32_t* const a = call.frame(size);
        uint32_t** const first = call.pointer(a);
        uint32_t** const second = call.pointer(call.frame(size));
        uint32_t** const output = call.pointer(call.output<uint32_t>(size.count));
        call.expect(cali_isp_diff_img_calc(first, second, width, height, output));
        return;
    }
    const auto nframes = draw.within(0, 4);
    std::vector<uint32_t*> frames(static_cast<std::size_t>(nframes));
    for (uint32_t*& frame : frames) {
        frame = call.frame(size);
    }
    uint32_t** const pointers = call.buffer(frames);
    auto* const output = call.output<float>(size.count);
    call.expect(cali_isp_std_img_calc(pointers, nframes, width, height, output));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Draw draw(data, size);
    Call call(draw);
    const auto choice = draw.within(0, 11);
    if (choice < 2) {
        statistics(draw, call, choice == 1);
    } else if (choice < 5) {
        profile(draw, call, choice - 2);
    } else if (choice < 9) {
        registers(draw, call, choice - 5);
    } else if (choice < 11) {
        images(draw, call, choice == 9);
    } else {
        const int32_t n = draw.one_in(8) ? -1 : draw.within(0, 20);
        const float* const x = call.buffer(draw.reals(static_cast<std::size_t>(std::max(n, 0)), 0, 4095));
        const float* const y = call.buffer(draw.reals(static_cast<std::size_t>(std::max(n, 0)), 0, 100));
        auto* const slope = call.output<uint32_t>(1);
        auto* const intercept = call.output<uint32_t>(1);
        call.expect(cali_isp_np_lr_calc(x, y, static_cast<uint32_t>(n), slope, intercept));
    }
    return 0;
}
