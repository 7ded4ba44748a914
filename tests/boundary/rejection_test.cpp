#include <bit>
#include <cmath>

#include "boundary/every_export.h"

namespace cali::test {
namespace {

uint32_t* no_frame = nullptr;

/// Null pointers, one after the other: each argument that has one, and each frame behind a frame pointer.
struct Null {
    std::size_t argument;
    bool pointee;
    const char* named = "null";

    void apply(World& /*world*/, auto& arguments) const {
        std::size_t i = 0;
        std::apply([&](auto&... each) { (set(each, i++), ...); }, arguments);
    }

private:
    template <typename T>
    void set(T& value, std::size_t i) const {
        if (i != argument) {
            return;
        }
        if constexpr (std::is_same_v<T, uint32_t**>) {
            value = pointee ? &no_frame : nullptr;
        } else if constexpr (std::is_pointer_v<T>) {
            value = nullptr;
        }
    }
};

template <typename... P>
std::vector<Null> nulls_of(const ExportCall<P...>& export_call) {
    std::vector<Null> nulls;
    std::size_t i = 0;
    const auto look = [&](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_pointer_v<T>) {
            const bool needed = std::ranges::find(export_call.optional, i) == export_call.optional.end();
            if (value != nullptr && needed) {
                nulls.push_back({i, false});
            }
            if (std::is_same_v<T, uint32_t**>) {
                nulls.push_back({i, true});
            }
        }
        ++i;
    };
    std::apply([&](const auto&... values) { (look(values), ...); }, export_call.arguments);
    return nulls;
}

/// Runs the damage of that number, counted over all exports, in a world of its own; false where there is none.
bool expect_rejection(std::size_t number) {
    World world;
    bool found = false;
    world.for_every_export([&](const char* family, auto export_call, const auto&... damages) {
        const auto expect = [&](const auto& damage) {
            if (found || number-- != 0) {
                return;
            }
            found = true;
            damage.apply(world, export_call.arguments);
            const auto before = world.state();
            CapturedOutput output;
            const CapturedWarnings warnings;
            const int32_t result = export_call.run();
            const std::string where = std::string(family) + ": " + damage.named;
            EXPECT_EQ(result, -1) << where;
            EXPECT_TRUE(world.state() == before) << where;
            EXPECT_TRUE(output.take().empty() || damage.named == std::string("start of the fit")) << where;
            EXPECT_EQ(world.releases, takes_list(export_call) ? 1 : 0) << where;
            ASSERT_EQ(warnings.texts().size(), *family == '\0' ? 0U : 1U) << where;
            for (const std::string& text : warnings.texts()) {
                EXPECT_EQ(text.rfind(std::string(family) + " Calib Warning: ", 0), 0U) << text;
                EXPECT_NE(text.find(damage.named), std::string::npos) << text << ", expected " << damage.named;
            }
        };
        for (const Null& null : nulls_of(export_call)) {
            expect(null);
        }
        (expect(damages), ...);
    });
    return found;
}

TEST(Rejection, NamesWhatIsWrongAndTouchesNothing) {
    const SavedModuleState saved;
    cali_awb_setROI(16, 30, 8, 8);  // a grey
    std::size_t number = 0;
    while (expect_rejection(number)) {
        ++number;
    }
    EXPECT_GT(number, 300U);
}

TEST(Rejection, SaysTheFirstFaultAlone) {
    const CapturedWarnings warnings;
    EXPECT_EQ(cali_isp_diff_img_calc(nullptr, nullptr, 4, 4, nullptr), -1);
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>{
                  "Noise Calib Warning: cali_isp_diff_img_calc: frame_a is a null pointer, expected a buffer"});
}

TEST(Rejection, IsNotForSoundOnes) {
    const SavedModuleState saved;
    cali_awb_setROI(16, 30, 8, 8);  // a grey
    int exports = 0;
    World world;
    world.for_every_export([&](const char* /*family*/, const auto& export_call, const auto&... /*damages*/) {
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_GE(export_call.run(), 0) << exports;
        EXPECT_TRUE(warnings.texts().empty()) << exports;
        ++exports;
    });
    EXPECT_EQ(exports, 33);  // and the window, which checks nothing
}

TEST(Rejection, BuffersThatAreNotReachedMayBeNull) {
    const SavedModuleState saved;
    World world;
    const auto before = world.state();
    CapturedOutput output;
    const CapturedWarnings warnings;
    // Empty frames are verified untouched.
    constexpr auto kNone = nullptr;
    const uint32_t* const g = world.grid.data();
    EXPECT_EQ(cali_awb_verify(kNone, 0, 9, 0, 5, 5, kNone, kNone, kNone, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, kNone), 0);
    EXPECT_EQ(cali_blc_verify(kNone, 9, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, kNone), 0);
    EXPECT_EQ(cali_lsc_verify(kNone, 0, 9, 0, 5, 5, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, world.mesh.data(),
                              world.mesh.data(), world.mesh.data(), world.mesh.data(), kNone, kNone),
              0);
    // Without tables no stage runs; one block per frame has no entries; no levels, nothing to measure or release.
    EXPECT_EQ(cali_lsc_verify(&world.frame[5], 9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0, kNone, kNone,
                              kNone, kNone, kNone, kNone),
              0);
    EXPECT_EQ(
        cali_blc_calc_by_localblc(&world.frame[0], 9, 9, 0, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, 1),
        0);
    EXPECT_EQ(cali_isp_roi_mean_var_calc(world.list, 8, 6, 0, -1, -1, kNone, kNone), 0);
    EXPECT_EQ(world.releases, 1);
    world.list.release = kNone;
    EXPECT_EQ(cali_isp_roi_mean_var_calc(world.list, 8, 6, 0, -1, -1, kNone, kNone), 0);
    EXPECT_TRUE(world.state() == before);
    // A count is read as signed.
    for (const uint32_t points : {0U, 0x80000000U, 0xFFFFFFFFU}) {
        std::array<uint32_t, 2> line{};
        EXPECT_EQ(cali_isp_np_lr_calc(kNone, kNone, points, &line[0], &line[1]), 0);
        EXPECT_TRUE(std::isnan(std::bit_cast<float>(line[0])) && std::isnan(std::bit_cast<float>(line[1])));
    }
    EXPECT_TRUE(warnings.texts().empty());
    // The window's fault comes before the results.
    cali_awb_setROI(0, 0, 48, 8);
    EXPECT_EQ(cali_awb_calc(&world.frame[0], 48, 40, 3, 5, 5, g, g, g, 1, 1, 1, 1, 1, 1, 1, 1, kNone, kNone, kNone),
              -1);
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{"WB Calib Warning: ROI X,W is wrong"});
}

}  // namespace
}  // namespace cali::test
