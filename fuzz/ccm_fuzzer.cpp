#include "export_call.h"

namespace {

using namespace cali::fuzz;

void from_patches(Draw& draw, Call& call) {
    const int32_t count = draw.one_in(16) ? draw.of({0, 25, -1}) : draw.within(1, 24);
    const uint32_t width = draw.one_in(16) ? draw.any<uint32_t>() : draw.within(0U, 4U);
    const uint32_t height = draw.one_in(16) ? draw.any<uint32_t>() : draw.within(0U, 4U);
    const int32_t channels = draw.one_in(32) ? 4 : 3;
    const bool small = width <= 4 && height <= 4;
    std::vector<const int32_t*> patches;
    for (int32_t i = 0; i < count; ++i) {
        const std::vector<uint32_t> codes = draw.codes(small ? std::size_t{3} * width * height : 0);
        patches.push_back(call.buffer(std::vector<int32_t>(codes.begin(), codes.end())));
    }
    if (!small && uint64_t{width} * height <= std::numeric_limits<int32_t>::max()) {
        return;  // would be read
    }
    const auto* const pointers = call.buffer(patches);
    const float lambda = draw.real(0, 2);
    const float* const weights = call.buffer(draw.reals(static_cast<std::size_t>(std::max(count, 0)), 0, 1));
    auto* const ccm = call.output<float>(9);
    auto* const fixed = call.output<int32_t>(9);
    call.expect(cali_ccm_calc(pointers, nullptr, count, width, height, channels, lambda, weights, ccm, fixed), true);
}

const RoiRect* windows_of(Draw& draw, Call& call, const Size& size) {
    if (draw.one_in(3)) {
        return nullptr;
    }
    std::vector<RoiRect> windows(24);
    for (RoiRect& window : windows) {
        if (draw.one_in(64)) {
            window = {draw.any<int32_t>(), draw.any<int32_t>(), draw.any<int32_t>(), draw.any<int32_t>()};
            continue;
        }
        window.x = draw.within(0, std::max(size.width, 2) - 2);
        window.y = draw.within(0, std::max(size.height, 2) - 2);
        window.w = draw.within(2, 8);
        window.h = draw.within(2, 8);
    }
    return call.buffer(windows);
}

void by_least_squares(Draw& draw, Call& call, bool joint) {
    const FrontEndArguments front(draw, call, 3);
    uint32_t** const frame = call.pointer(call.frame(front.size));
    const auto grid = [&] { return call.buffer(draw.codes(front.nodes)); };
    const uint32_t* const red = grid();
    const uint32_t* const green = grid();
    const uint32_t* const blue = grid();
    const RoiRect* const windows = windows_of(draw, call, front.size);
    const float* const weights = call.buffer(draw.reals(24, 0, 1));
    auto* const ccm = call.output<float>(9);
    auto* const fixed = call.output<int32_t>(9);
    const float lambda = draw.real(0, 2);
    const auto& [offset, gain] = std::pair(front.offset, front.gain);
    const auto [width, height, count] = front.size;
    if (joint) {
        auto* const r = call.output<uint16_t>(1);
        auto* const g = call.output<uint16_t>(1);
        auto* const b = call.output<uint16_t>(1);
        call.expect(cali_isp_awb_ccm(frame, width, height, front.pattern, front.cols, front.rows, red, green, blue,
                                     offset[0], offset[1], offset[2], offset[3], gain[0], gain[1], gain[2], gain[3],
                                     windows, lambda, weights, r, g, b, ccm, fixed));
    } else {
        const auto r = draw.any<uint16_t>();
        const auto b = draw.any<uint16_t>();
        call.expect(cali_isp_ccm_pipe_calc(frame, width, height, front.pattern, front.cols, front.rows, red, green,
                                           blue, offset[0], offset[1], offset[2], offset[3], gain[0], gain[1], gain[2],
                                           gain[3], r, 1024, b, windows, lambda, weights, ccm, fixed));
    }
}

void by_optimiser(Draw& draw, Call& call) {
    const FrontEndArguments front(draw, call, 4);
    uint32_t* const frame = call.frame(front.size);
    const RoiRect* const windows = windows_of(draw, call, front.size);
    CcmPreprocess black{};
    CcmLensShading shading{};
    for (std::size_t i = 0; i < 4; ++i) {
        black.offset[i] = static_cast<int32_t>(front.offset[i]);
        black.gain[i] = front.gain[i];
    }
    shading.mode = draw.one_in(16) ? draw.any<int32_t>() : draw.within(0, 3);
    shading.grid_cols = front.cols;
    shading.grid_rows = front.rows;
    for (uint32_t* grid : {shading.red_grid, shading.green_grid, shading.blue_grid}) {
        const uint32_t node = draw.code();
        std::fill_n(grid, 1369, node);
        grid[draw.within(0, 1368)] = draw.code();
    }
    shading.center_x = draw.within(-3, 60);
    shading.center_y = draw.one_in(16) ? draw.any<int32_t>() : draw.within(-3, 60);
    std::fill_n(shading.radial_tables, 128, static_cast<int32_t>(draw.code()));
    CcmToneCurves curves{};
    const auto curve = [&](uint32_t& entries) {
        entries = draw.within(draw.one_in(16) ? 0U : 1U, 20U);
        std::vector<uint32_t> codes(entries);
        for (uint32_t& code : codes) {
            code = draw.one_in(128) ? draw.any<uint32_t>() : draw.within(0U, 4095U);
        }
        return call.buffer(codes);
    };
    curves.first = curve(curves.first_count);
    curves.second = curve(curves.second_count);
    const auto* const tone = draw.one_in(2) ? nullptr : call.buffer(std::vector<CcmToneCurves>{curves});
    const auto gain = [&] { return draw.one_in(16) ? draw.any<int64_t>() : draw.within<int64_t>(0, 4096); };
    const int64_t wb_r = gain();
    const int64_t wb_b = gain();
    const auto* const preprocess = call.buffer(std::vector<CcmPreprocess>{black});
    const auto* const lens = call.buffer(std::vector<CcmLensShading>{shading});
    const float* const weights = call.buffer(draw.reals(25, 0, 2));
    auto* const ccm = call.output<float>(9);
    auto* const fixed = call.output<int32_t>(9);
    const auto white = draw.of({50, 65, 0});
    const auto held = draw.within<uint8_t>(0, 1);
    call.expect(cali_isp_ccm_pipe_calc_v2(frame, 0, windows, tone, front.size.width, front.size.height, front.pattern,
                                          preprocess, lens, wb_r, wb_b, weights, 0, ccm, fixed, white, held));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Draw draw(data, size);
    Call call(draw);
    switch (draw.within(0, 3)) {
        case 0: from_patches(draw, call); break;
        case 1: by_least_squares(draw, call, false); break;
        case 2: by_least_squares(draw, call, true); break;
        default: by_optimiser(draw, call);
    }
    return 0;
}
