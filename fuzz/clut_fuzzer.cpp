#include "export_call.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    using namespace cali::fuzz;
    Draw draw(data, size);
    Call call(draw);
    const bool rgb = draw.within(0, 1) == 1;
    ClutSettings settings{};
    std::size_t nodes = 1;
    for (int32_t& along : settings.nodes) {
        along = draw.one_in(32) ? draw.of({0, 1, 65, 66, -1, 1 << 30}) : draw.within(2, 7);
        nodes = along < 2 || along > 65 ? 0 : nodes * static_cast<std::size_t>(along);
    }
    settings.strength = draw.real(0, 1);
    settings.radius = draw.real(0.01F, 1);
    const int32_t count = draw.one_in(16) ? draw.of({0, -1}) : draw.within(1, 30);
    const auto cells = [&] {
        std::vector<ClutCell> made(static_cast<std::size_t>(std::max(count, 0)));
        const bool clean = !draw.one_in(4);
        const auto share = [&] { return clean ? static_cast<float>(draw.within(0, 255)) / 255.0F : draw.real(0, 1); };
        for (ClutCell& cell : made) {
            cell.r = share();
            cell.g = share();
            cell.b = share();
            cell.weight = draw.one_in(4) ? share() * 1000 : 1;
        }
        return call.buffer(made);
    };
    const ClutCell* const measured = cells();
    const ClutCell* const target = cells();
    const auto* const wanted = call.buffer(std::vector<ClutSettings>{settings});
    auto* const table = call.output<int32_t>(3 * nodes);
    call.expect((rgb ? cali_clut_calc_rgb : cali_clut_calc)(measured, target, count, wanted, table));
    return 0;
}
