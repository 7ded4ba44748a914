#include "export_call.h"

namespace {

using namespace cali::fuzz;

std::vector<RoiRgbMean> means_of(Draw& draw, std::size_t count) {
    std::vector<RoiRgbMean> means(count);
    for (RoiRgbMean& mean : means) {
        const auto base = static_cast<double>(draw.real(0, 255));
        const auto near = [&] { return draw.one_in(2) ? base : static_cast<double>(draw.real(0, 255)); };
        mean = {near(), near(), near(), draw.within<uint8_t>(0, 1), 0};
    }
    return means;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Draw draw(data, size);
    Call call(draw);
    const auto choice = draw.within(0, 2);
    if (choice == 0) {
        const int32_t width = draw.one_in(16) ? draw.of({-1, 0}) : draw.within(1, 20);
        const auto height = draw.within(0, 20);
        std::vector<uint8_t> pixels(width > 0 ? 3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height)
                                              : 0);
        for (uint8_t& pixel : pixels) {
            pixel = draw.any<uint8_t>();
        }
        const int32_t count = draw.one_in(16) ? -1 : draw.within(0, 5);
        std::vector<RoiRect> rects(static_cast<std::size_t>(std::max(count, 0)));
        for (RoiRect& rect : rects) {  // inside, as its caller has to see to
            rect.x = draw.within(0, std::max(width, 0));
            rect.y = draw.within(0, height);
            rect.w = draw.within(0, std::max(width, 0) - rect.x);
            rect.h = draw.within(0, height - rect.y);
        }
        const uint8_t* const image = call.buffer(pixels);
        auto* const means = call.output<RoiRgbMean>(rects.size());
        const RoiRect* const rois = call.buffer(rects);
        call.expect(cali_roi_rgb_cal(image, width, height, means, rois, count));
        return 0;
    }
    const auto count = draw.one_in(4) ? 24U : draw.within(0U, 30U);
    if (choice == 1) {
        const RoiRgbMean* const measured = call.buffer(means_of(draw, count));
        const RoiRgbMean* const reference = call.buffer(means_of(draw, count));
        auto* const adjusted = call.output<RoiRgbMean>(count);
        call.expect(cali_roi_rgb_adjust(measured, reference, adjusted, count, draw.within(0U, 4U)));
        return 0;
    }
    GrayInterpSettings settings{};
    settings.gray_tolerance = draw.any<uint16_t>();
    settings.step = draw.one_in(16) ? draw.any<uint32_t>() : draw.within(0U, 40U);
    settings.step_fraction = draw.real(0, 1);
    settings.max_add = draw.one_in(16) && count > 0 ? ~0U : draw.within(0U, 40U);
    const std::size_t room = settings.max_add > 40 ? count : count + settings.max_add;
    RoiRgbMean* const measured = call.buffer(means_of(draw, room), Changes::by_success);
    RoiRgbMean* const reference = call.buffer(means_of(draw, room), Changes::by_success);
    const auto* const wanted = call.buffer(std::vector<GrayInterpSettings>{settings});
    auto* const total = call.buffer<uint32_t>({0}, Changes::always);
    const int32_t result = cali_roi_rgb_interpolation(measured, reference, count, wanted, total);
    call.expect(result, true);  // too few neutral pairs are said on standard output
    Call::require(result != 0 || total == nullptr || *total <= room);
    return 0;
}
