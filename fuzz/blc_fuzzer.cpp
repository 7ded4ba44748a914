#include "export_call.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    using namespace cali::fuzz;
    Draw draw(data, size);
    Call call(draw);
    const auto choice = draw.within(0, 5);
    Size frame_size = call.size();
    if (choice == 1) {  // by the low 16 bits
        const int32_t width = frame_size.width & 0xFFFF;
        const int32_t height = frame_size.height & 0xFFFF;
        const bool refused = int64_t{width} * height > std::numeric_limits<int32_t>::max();
        frame_size.count = refused ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        if (frame_size.count > 1U << 20U) {
            return 0;
        }
    }
    const int32_t pattern = call.pattern();
    uint32_t** const frame = call.pointer(call.frame(frame_size));
    const auto width = static_cast<uint32_t>(frame_size.width);
    const auto height = static_cast<uint32_t>(frame_size.height);
    const uint32_t blocks = draw.one_in(16) ? draw.any<uint32_t>() : draw.within(0U, 12U);
    const std::size_t entries = choice == 3   ? (blocks > 64 ? 0 : std::size_t{blocks} * blocks / 4)
                                : choice == 4 ? 4096
                                              : 1;
    std::array<uint32_t*, 4> codes{};
    std::array<float*, 4> gains{};
    for (std::size_t i = 0; i < 4; ++i) {
        codes[i] = call.output<uint32_t>(entries);
        gains[i] = call.output<float>(1);
    }
    const auto& [a, b, c, d] = codes;
    const auto& [e, f, g, h] = gains;
    switch (choice) {
        case 0:
            call.expect(cali_blc_calc_by_median(frame, width, height, pattern, a, b, c, d, e, f, g, h), false, 1);
            break;
        case 1: call.expect(cali_blc_calc_by_mean(frame, width, height, pattern, a, b, c, d, e, f, g, h)); break;
        case 2: {
            const auto is_12bit = draw.within(0, 1);
            call.expect(
                cali_blc_calc(frame, frame_size.width, frame_size.height, pattern, a, b, c, d, e, f, g, h, is_12bit));
            break;
        }
        case 3:
            call.expect(cali_blc_calc_by_localblc(frame, frame_size.width, frame_size.height, pattern, a, b, c, d,
                                                  nullptr, nullptr, nullptr, nullptr, blocks));
            break;
        case 4:
            call.expect(cali_blc_get_histogram(frame, width, height, static_cast<uint32_t>(pattern), a, b, c, d));
            break;
        default: {
            uint32_t** const output = call.pointer(call.output<uint32_t>(frame_size.count));
            const std::vector<uint32_t> offset = draw.codes(4);
            const std::vector<float> gain = draw.reals(4, 0, 2);
            call.expect(cali_blc_verify(frame, width, height, static_cast<uint32_t>(pattern), offset[0], offset[1],
                                        offset[2], offset[3], gain[0], gain[1], gain[2], gain[3], output));
        }
    }
    return 0;
}
