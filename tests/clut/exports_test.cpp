#include <cstdlib>

#include "cali/cali.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

ClutCell random_cell(Random& random) {
    const auto component = [&] { return static_cast<float>(random.within(0, 255)) / 255.0F; };
    return {component(), component(), component(), static_cast<float>(random.within(0, 3)) / 2.0F};
}

void record(const char* name, decltype(&cali_clut_calc) calibrate) {
    expect_recorded(name, 500, [&](Random& random, int turn, Digest& digest) {
        std::vector<ClutCell> measured = {{0.75F, 0.25F, 0.5F, 1.0F}};  // never all greys
        std::vector<ClutCell> target = {random_cell(random)};
        for (int i = random.within(0, turn % 2 == 0 ? 40 : 4); i > 0; --i) {
            measured.push_back(random_cell(random));
            target.push_back(random_cell(random));
            if (turn % 3 != 0) {  // as a chart's colours: near their targets
                ClutCell& to = target.back();
                for (const auto c : {&ClutCell::r, &ClutCell::g, &ClutCell::b}) {
                    to.*c = measured.back().*c * 0.875F + to.*c * 0.125F;
                }
            }
        }
        const auto nodes = [&] { return random.within(2, turn % 10 == 0 ? 17 : 8); };
        const ClutSettings settings{{nodes(), nodes(), nodes()},
                                    static_cast<float>(random.within(0, 8)) / 8.0F,
                                    static_cast<float>(random.within(1, 16)) / 16.0F};
        std::optional<EnvironmentVariable> dump;
        std::optional<EnvironmentVariable> bypass;
        if (turn % 20 == 0) {
            dump.emplace("CLUT_EXPORT_TABLE", turn % 60 == 0 ? "0" : "2");
        }
        if (turn % 8 == 0) {
            bypass.emplace("CLUT_BYPASS_POSTPROCESS", turn % 16 == 0 ? "0" : "1");
        }
        std::vector<int32_t> table(
            static_cast<std::size_t>(3 * settings.nodes[0] * settings.nodes[1] * settings.nodes[2]));
        digest << calibrate(measured.data(), target.data(), static_cast<int32_t>(measured.size()), &settings,
                            table.data())
               << table;
        digest.take_files();
    });
}

TEST(RecordedCalls, ColourTableHsv) { record("clut.hsv", cali_clut_calc); }
TEST(RecordedCalls, ColourTableRgb) { record("clut.rgb", cali_clut_calc_rgb); }

}  // namespace
}  // namespace cali::test
