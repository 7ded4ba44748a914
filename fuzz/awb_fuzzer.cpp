#include "export_call.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    using namespace cali::fuzz;
    Draw draw(data, size);
    Call call(draw);
    const auto choice = draw.within(0, 4);
    if (choice == 0) {
        const auto count = draw.within<uint8_t>(0, 9);
        const float a = draw.real(0, 4);
        const float b = draw.real(0, 4);
        const auto ratios = [&] { return call.buffer(draw.reals(count, 0, 4)); };
        const float* const ratio_a = ratios();
        const float* const ratio_b = ratios();
        const float* const kelvins = call.buffer(draw.reals(count, 1000, 20000));
        std::vector<uint8_t> weights(count);
        for (uint8_t& weight : weights) {
            weight = draw.within<uint8_t>(0, draw.one_in(8) ? 255 : 3);
        }
        auto* const record = call.output<AwbCurveRecord>(1);
        const uint8_t* const weight = call.buffer(weights);
        call.expect(cali_awb_BuildCurve(a, b, ratio_a, ratio_b, kelvins, weight, count, record));
        return 0;
    }
    if (choice == 1) {
        auto* const table = call.output<float>(200);
        const auto reference = [&] { return call.buffer(draw.reals(2, 0, 2048)); };
        const float* const a = reference();
        const float* const b = reference();
        call.expect(cali_awb_getCurve(table, a, b));
        return 0;
    }
    const FrontEndArguments front(draw, call, 3);
    const bool calc = choice == 2;
    if (calc) {
        const auto value = [&] { return draw.one_in(8) ? draw.any<int32_t>() : draw.within(-2, 40); };
        const int32_t x = value();
        const int32_t y = value();
        const int32_t width = value();
        Call::require(cali_awb_setROI(x, y, width, value()) == 0);
    }
    uint32_t* const frame = call.frame(front.size, calc ? Changes::never : Changes::by_success);
    uint32_t** const pointer = call.pointer(frame);
    const auto grid = [&] { return call.buffer(draw.codes(front.nodes)); };
    const uint32_t* const red = grid();
    const uint32_t* const green = grid();
    const uint32_t* const blue = grid();
    const auto& [offset, gain] = std::pair(front.offset, front.gain);
    const auto height = static_cast<uint32_t>(front.size.height);
    if (calc) {
        auto* const gains = call.output<uint16_t>(3);
        uint16_t* const last = gains == nullptr ? nullptr : gains + 2;
        call.expect(cali_awb_calc(pointer, front.size.width, height, front.pattern, front.cols, front.rows, red, green,
                                  blue, offset[0], offset[1], offset[2], offset[3], gain[0], gain[1], gain[2], gain[3],
                                  gains, gains == nullptr ? nullptr : gains + 1, last));
    } else {
        uint32_t* const output = draw.one_in(4) ? frame : call.output<uint32_t>(front.size.count);
        uint32_t** const output_pointer = call.pointer(output);
        const auto r = draw.any<uint16_t>();
        const auto b = draw.any<uint16_t>();
        call.expect(cali_awb_verify(pointer, front.size.width, height, front.pattern, front.cols, front.rows, red,
                                    green, blue, offset[0], offset[1], offset[2], offset[3], gain[0], gain[1], gain[2],
                                    gain[3], r, 1024, b, output_pointer));
    }
    return 0;
}
