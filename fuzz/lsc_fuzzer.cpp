#include "export_call.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    using namespace cali::fuzz;
    Draw draw(data, size);
    Call call(draw);
    const bool calc = draw.within(0, 1) == 0;
    const FrontEndArguments front(draw, call, calc ? 4 : 3);
    uint32_t* const frame = call.frame(front.size, calc ? Changes::never : Changes::by_success);
    uint32_t** const pointer = call.pointer(frame);
    const int32_t width = front.size.width;
    const int32_t height = front.size.height;
    const auto position = [&] { return draw.one_in(8) ? draw.any<int32_t>() : draw.within(-2, 60); };
    if (calc) {
        const auto type = draw.within(-1, 3);
        const auto denoise = draw.within(0, 1);
        auto* const x = call.output<int32_t>(1);
        auto* const y = call.output<int32_t>(1);
        auto* const norm = call.output<int32_t>(1);
        auto* const red = call.output<int32_t>(front.nodes);
        auto* const green = call.output<int32_t>(front.nodes);
        auto* const blue = call.output<int32_t>(front.nodes);
        auto* const radial = call.output<int32_t>(128);
        const auto black = [&](std::size_t i) { return static_cast<int32_t>(front.offset[i]); };
        call.expect(cali_lsc_calc(pointer, width, height, front.pattern, front.cols, front.rows, type, denoise,
                                  black(0), black(1), black(2), black(3), x, y, nullptr, norm, red, green, blue,
                                  radial));
        return 0;
    }
    const auto grid = [&](std::size_t entries) {
        const std::vector<uint32_t> codes = draw.codes(entries);
        return call.buffer(std::vector<int32_t>(codes.begin(), codes.end()));
    };
    const int32_t* const red = draw.one_in(8) ? nullptr : grid(front.nodes);
    const int32_t* const green = grid(front.nodes);
    const int32_t* const blue = grid(front.nodes);
    const int32_t* const radial = draw.one_in(8) ? nullptr : grid(128);
    const auto output = [&] { return call.pointer(draw.one_in(8) ? frame : call.output<uint32_t>(front.size.count)); };
    uint32_t** const mesh_output = output();
    uint32_t** const radial_output = output();
    const auto& [offset, gain] = std::pair(front.offset, front.gain);
    const int32_t x = position();
    call.expect(cali_lsc_verify(pointer, width, height, front.pattern, front.cols, front.rows, 0, offset[0], offset[1],
                                offset[2], offset[3], gain[0], gain[1], gain[2], gain[3], x, position(), 0, 0, red,
                                green, blue, radial, mesh_output, radial_output));
    return 0;
}
