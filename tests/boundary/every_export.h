/// Every export with arguments that it accepts, for tests that damage them or let its allocations fail.
#pragma once

#include <functional>
#include <tuple>

#include "support/chart_support.h"

namespace cali::test {

/// An export and its arguments. It may be without those that are null or listed.
template <typename... P>
struct ExportCall {
    int32_t (*function)(P...);
    std::tuple<P...> arguments;
    std::vector<std::size_t> optional;

    ExportCall may_lack(std::vector<std::size_t> which) const { return {function, arguments, std::move(which)}; }
    int32_t run() const { return std::apply(function, arguments); }
};

template <typename... P, typename... A>
ExportCall<P...> call(int32_t (*function)(P...), A... arguments) {
    return {function, {static_cast<P>(arguments)...}, {}};
}

/// Whether a level list passes to the export, which then releases it.
template <typename... P>
bool takes_list(const ExportCall<P...>& /*export_call*/) {
    return (std::is_same_v<P, LevelList> || ...);
}

struct World;

/// Argument `i` takes a bad value; the warning names it.
template <std::size_t i, typename Value>
struct Bad {
    const char* named;
    Value value;

    void apply(World& /*world*/, auto& arguments) const {
        auto& argument = std::get<i>(arguments);
        argument = static_cast<std::remove_reference_t<decltype(argument)>>(value);
    }
};

template <std::size_t i, typename Value>
Bad<i, Value> bad(const char* named, Value value) {
    return {named, value};
}

/// What an argument points to is bad.
struct Spoilt {
    const char* named;
    void (*spoil)(World&);

    void apply(World& world, auto& /*arguments*/) const { spoil(world); }
};

/// Everything the calls read and write. The light is neither too bright nor too dark.
struct World {
    std::array<std::vector<uint32_t>, 6> frames;
    std::array<uint32_t*, 6> frame{};
    std::array<Level, 3> levels{};
    int releases = 0;
    LevelList list{levels.data(), 3, [](LevelList* taken) { ++static_cast<World*>(taken->owner)->releases; }, this};
    std::vector<uint32_t> grid = std::vector<uint32_t>(25, 512), codes = std::vector<uint32_t>(4 * 4096, 7);
    std::vector<int32_t> mesh = std::vector<int32_t>(128, 512), whole = std::vector<int32_t>(400, 7);
    std::vector<float> real = std::vector<float>(48 * 40, 7), ratios{0.5F, 0.7F, 0.9F, 1};
    std::vector<float> kelvins{2800, 4000, 6500}, weights = std::vector<float>(25, 1);
    std::array<float*, 4> means{&real[0], &real[3], &real[6], &real[9]};
    std::array<float*, 4> spreads{&real[20], &real[23], &real[26], &real[29]};
    std::array<uint16_t, 3> gains{};
    std::array<uint8_t, 3> counts{1, 2, 1};
    AwbCurveRecord record{};
    std::vector<RoiRect> windows = full_frame_windows({48, 40, 3});
    CcmPreprocess black{{64, 64, 64, 64}, {1, 1, 1, 1}};
    std::vector<CcmLensShading> shading = std::vector<CcmLensShading>(1);
    std::vector<uint32_t> curve = std::vector<uint32_t>(16, 100);
    CcmToneCurves curves{curve.data(), 16, curve.data(), 16};
    std::vector<int32_t> pixels = std::vector<int32_t>(24 * 3);
    std::array<const int32_t*, 24> patches{};
    std::vector<uint8_t> image = std::vector<uint8_t>(12 * 8 * 3, 90);
    std::array<RoiRect, 2> rects{{{0, 0, 4, 4}, {5, 2, 3, 3}}};
    std::vector<RoiRgbMean> measured = std::vector<RoiRgbMean>(32), reference = measured, adjusted = measured;
    GrayInterpSettings grey{20, 4, 0.5F, 8};
    uint32_t total = 24;  // set before anything can fail
    std::vector<ClutCell> from{{0.2F, 0.3F, 0.4F, 1}, {0.8F, 0.3F, 0.4F, 1}}, to{{0.3F, 0.3F, 0.4F, 1}, from[1]};
    ClutSettings clut{{3, 3, 3}, 1, 0.4F};

    World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// All that a call could change.
    [[nodiscard]] std::vector<unsigned char> state() const;

    /// Calls `visit(family, call, damage ...)` for every export that can fail.
    template <typename Visit>
    void for_every_export(Visit&& visit);
};

inline World::World() {
    static const auto kFrames = [this] {
        Random random(90);
        auto made = frames;
        for (std::vector<uint32_t>& samples : made) {
            samples = random_samples(random, 48 * 40, 0, 4095);
        }
        made[0] = small_chart().samples;
        return made;
    }();
    frames = kFrames;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        frame[i] = frames[i].data();
        levels[i / 2] = {&frame[i & ~std::size_t{1}], 2};
    }
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = static_cast<int32_t>(i * i * 977 % 4096);
        patches[i / 3] = &pixels[i / 3 * 3];
    }
    for (std::size_t i = 0; i < 24; ++i) {
        measured[i].b = measured[i].g = measured[i].r = 10.0 * static_cast<double>(i);
        reference[i] = measured[i];
    }
    shading[0].mode = CALI_CCM_SHADING_MESH;
    shading[0].grid_cols = shading[0].grid_rows = 5;
    for (uint32_t* nodes : {shading[0].red_grid, shading[0].green_grid, shading[0].blue_grid}) {
        std::fill_n(nodes, 25, 512U);
    }
}

inline std::vector<unsigned char> World::state() const {
    std::vector<unsigned char> bytes;
    const auto append = [&](const auto&... ranges) {
        (append_bytes(bytes, std::span<const typename std::decay_t<decltype(ranges)>::value_type>(ranges)), ...);
    };
    append(frames[0], frames[1], codes, whole, mesh, real, gains);
    for (const auto* const colours : {&measured, &reference, &adjusted}) {
        for (const auto& [b, g, r, valid, reserved] : *colours) {  // without the padding
            append(std::array{b, g, r}, std::array{valid}, std::array{reserved});
        }
    }
    append(std::span(&record, 1), std::span(&total, 1));
    return bytes;
}

template <typename Visit>
void World::for_every_export(Visit&& visit) {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
    constexpr auto kNone = nullptr;
    uint32_t* const u = codes.data();
    int32_t* const n = whole.data();
    float* const r = real.data();
    const uint32_t* const g = grid.data();

    const auto shaded = [&](const char* family, const auto& export_call, const auto&... more) {
        visit(family, export_call, bad<1>("-1 x 40", -1), bad<1>("8193 x 40", 8193), bad<2>("48 x 8193", 8193),
              bad<3>("pattern", 4), bad<3>("pattern", -1), bad<4>("grid_cols", 2), bad<4>("grid_cols", 130),
              bad<5>("grid_rows", 2), bad<5>("grid_rows", kMost), more...);
    };
    shaded("WB", call(cali_awb_calc, &frame[0], 48, 40, 3, 5, 5, g, g, g, 64, 64, 64, 64, 1, 1, 1, 1, &gains[0],
                      &gains[1], &gains[2]));
    shaded("WB",
           call(cali_awb_verify, &frame[0], 48, 40, 3, 5, 5, g, g, g, 64, 64, 64, 64, 1, 1, 1, 1, 1, 1, 1, &frame[1]));
    shaded("CCM", call(cali_isp_ccm_pipe_calc, &frame[0], 48, 40, 3, 5, 5, g, g, g, 64, 64, 64, 64, 1, 1, 1, 1, 1800,
                       1024, 1500, kNone, 1, weights.data(), r, n));
    visit("CCM",
          call(cali_isp_awb_ccm, &frame[0], 48, 40, 3, 5, 5, g, g, g, 64, 64, 64, 64, 1, 1, 1, 1, kNone, 1,
               weights.data(), &gains[0], &gains[1], &gains[2], r, n),
          bad<3>("pattern", 4));
    visit("WB", call(cali_awb_BuildCurve, 1, 1, &ratios[0], &ratios[1], kelvins.data(), counts.data(), 3, &record),
          bad<6>("Amount is Over", 8), Spoilt{"TempK is 0", [](World& w) { w.kelvins[2] = 0; }},
          Spoilt{"Total Weight", [](World& w) { w.counts.fill(171); }});
    visit("WB", call(cali_awb_getCurve, r, &ratios[0], &ratios[1]));

    const auto dark = [&](const auto& export_call, const auto&... more) {
        visit("BLC", export_call, bad<3>("pattern", 4), bad<3>("pattern", -1), more...);
    };
    const auto huge = bad<1>("134217728 x 40", 134217728);  // more than 31 bits count
    dark(call(cali_blc_calc_by_median, &frame[0], 48, 40, 3, u, u + 1, u + 2, u + 3, r, r + 1, r + 2, r + 3), huge);
    dark(call(cali_blc_calc, &frame[0], 48, 40, 3, u, u + 1, u + 2, u + 3, r, r + 1, r + 2, r + 3, 1), huge);
    dark(call(cali_blc_calc_by_mean, &frame[0], 48, 40, 3, u, u + 1, u + 2, u + 3, r, r + 1, r + 2, r + 3));
    dark(call(cali_blc_calc_by_localblc, &frame[0], 48, 40, 3, u, u + 9, u + 18, u + 27, kNone, kNone, kNone, kNone, 4),
         huge, bad<12>("blocks", 0), bad<12>("blocks", 41), bad<12>("blocks", ~0U));
    dark(call(cali_blc_get_histogram, &frame[0], 48, 40, 3, u, u + 4096, u + 8192, u + 12288), huge);
    dark(call(cali_blc_verify, &frame[0], 48, 40, 3, 64, 64, 64, 64, 1, 1, 1, 1, &frame[1]), huge);

    visit("LSC",
          call(cali_lsc_calc, &frame[0], 48, 40, 3, 5, 5, 0, 1, 64, 64, 64, 64, n, n + 1, kNone, n + 2, n + 3, n + 28,
               n + 53, n + 78),
          bad<1>("width is 0", 0), bad<1>("width is 8193", 8193), bad<2>("height is 0", 0),
          bad<2>("height is 8193", 8193), bad<3>("pattern", 4), bad<4>("grid_cols", 3), bad<5>("grid_rows", 3));
    const int32_t* const m = mesh.data();
    visit("LSC",
          call(cali_lsc_verify, &frame[0], 48, 40, 3, 5, 5, 0, 64, 64, 64, 64, 1, 1, 1, 1, 24, 20, 0, 0, m, m, m, m,
               &frame[1], &frame[2])
              .may_lack({19, 20, 21, 22}),
          bad<1>("-1 x 40", -1), bad<3>("pattern", 4), bad<4>("grid_cols", 2), bad<5>("grid_rows", 130));

    visit("", call(cali_ccm_calc, patches.data(), kNone, 24, 1, 1, 3, 1, weights.data(), r, n), bad<2>("", 0),
          bad<2>("", 25), bad<3>("", 0x80000000U), bad<5>("", 4));
    visit("CCM",
          call(cali_isp_ccm_pipe_calc_v2, frame[0], 0, windows.data(), &curves, 48, 40, 3, &black, shading.data(), 1800,
               1500, weights.data(), 0, r, n, CALI_WHITE_D65, 0)
              .may_lack({2, 3}),
          bad<4>("-1 x 40", -1), bad<5>("48 x 8193", 8193), bad<6>("pattern", 4), bad<9>("wb_gain_r", 65536),
          bad<10>("wb_gain_b", -1), Spoilt{"lens_shading.mode", [](World& w) { w.shading[0].mode = 4; }},
          Spoilt{"lens_shading.grid_rows", [](World& w) { w.shading[0].grid_rows = 38; }},
          Spoilt{"lens_shading.grid_cols", [](World& w) { w.shading[0].grid_cols = 3; }},
          Spoilt{"curves.first is a null", [](World& w) { w.curves.first = nullptr; }},
          Spoilt{"curves.second is 0", [](World& w) { w.curves.second_count = 0; }},
          Spoilt{"curves.first[15] is 4096, expected 0 to 4095", [](World& w) { w.curve[15] = 4096; }},
          Spoilt{"window 24 is 4 x 4 at (45, 0)",
                 [](World& w) {
                     w.windows[23] = {45, 0, 4, 4};
                 }},
          Spoilt{"window 3 is 1 x", [](World& w) { w.windows[2].w = 1; }},
          Spoilt{"window 1 is 2147483647", [](World& w) { w.windows[0].w = kMost; }},
          Spoilt{"start of the fit", [](World& w) { std::fill_n(w.black.offset, 4, 4095); }});

    RoiRgbMean* const first = measured.data();
    RoiRgbMean* const second = reference.data();
    visit("ROI", call(cali_roi_rgb_cal, image.data(), 12, 8, first, rects.data(), 2), bad<1>("width", -1));
    visit("ROI", call(cali_roi_rgb_adjust, first, second, adjusted.data(), 24, CALI_ROI_GREY_LIGHTNESS));
    visit("ROI", call(cali_roi_rgb_interpolation, first, second, 24, &grey, &total),
          bad<2>("count + max_add", 0xFFFFFFF8U), Spoilt{"step is 0", [](World& w) { w.grey.step = 0; }});

    const auto in_levels = [&](const auto& export_call, const auto&... more) {
        visit("Noise", export_call, bad<1>("frame size", 0x80000000U), bad<1>("hold more", 40000000),
              bad<3>("count is 4, expected 0 to 3", 4), Spoilt{"level's frame", [](World& w) { w.frame[5] = nullptr; }},
              Spoilt{"level's frames", [](World& w) { w.levels[1].frames = nullptr; }}, more...);
    };
    for (const auto function : {cali_isp_roi_mean_std_calc, cali_isp_roi_mean_var_calc}) {
        in_levels(call(function, list, 48, 40, 3, 4, 2, means.data(), spreads.data()),
                  bad<4>("nch is 3, expected 4", 3), bad<5>("nframes is 3, level 0 holds 2", 3),
                  bad<5>("nframes is -1", -1), Spoilt{"means", [](World& w) { w.means[3] = nullptr; }},
                  Spoilt{"spreads", [](World& w) { w.spreads[3] = nullptr; }});
    }
    in_levels(call(cali_isp_np_float_calc, &list, 48, 40, 3, 2, 3, 9, 9, 9, 0, u, u + 1, u + 2, u + 3, u + 4, u + 5,
                   u + 6, u + 7));
    in_levels(call(cali_isp_np_float_calc_ainr, &list, 48, 40, 3, 2, 3, 9, 9, 9, 0, u, u + 1, u + 2, u + 3, u + 4,
                   u + 5, u + 6, u + 7),
              bad<5>("pattern", 4));
    in_levels(call(cali_isp_np_fix_calc, &list, 48, 40, 3, 2, 3, 9, 9, 9, 64, "U4.8, U8.0", n, n + 1, n + 2, n + 3,
                   n + 4, n + 5, n + 6, n + 7),
              bad<5>("pattern", -1), bad<10>("expected two", "U4.8"), bad<10>("\"U8\"", "U4.8,U8"),
              bad<10>("\"U4.8 \"", "U4.8 ,U8.0"));
    visit("Noise", call(cali_isp_np_lr_calc, &ratios[0], &ratios[1], 3, u, u + 1));
    visit("Noise", call(cali_isp_np_float_to_fix_calc, 1, 1, 1, n, n + 1, 0, 4, 8, 0, 8, 0));
    visit("Noise", call(cali_isp_np_float_to_fix_calc_v2, 1, 1, 1, n, n + 1, "U4.8", "U8.0"),
          bad<6>("level_format is \"U8\"", "U8"));
    // What the arithmetic of a format would take and nobody means.
    const auto by_format = [&](const auto& export_call, auto... formats) {
        visit("Noise", export_call, bad<3>("_format is", formats)...);
    };
    by_format(call(cali_isp_np_fix_to_fix_calc, 1, 1, "U4.8", "U8.0", "U4.9", "U9.0", n, n + 1), "", "U", "4.8", "-4.8",
              "U-4.8", "U4.+8", " U4.8", "U4 .8", "U4.8.1", "U32.1", "U1.32", "U4294967300.8");
    by_format(call(cali_isp_ynr_np_fix_calc, &ratios[0], &ratios[0], 9, "U4.8", "U8.0", n, n + 1), "", "U4.-8");
    visit("Noise", call(cali_isp_diff_img_calc, &frame[0], &frame[1], 48, 40, &frame[2]),
          bad<2>("frame size", 0x80000000U), bad<3>("frame size", 0x80000000U));
    visit("Noise", call(cali_isp_std_img_calc, frame.data(), 6, 48, 40, r), bad<1>("nframes is 1, expected 2", 1),
          Spoilt{"frames", [](World& w) { w.frame[5] = nullptr; }});

    const auto table = [&](auto function, const auto&... more) {
        visit("CLUT", call(function, from.data(), to.data(), 2, &clut, n), bad<2>("cell_count is 0", 0),
              Spoilt{"measured[1]", [](World& w) { w.from[1].g = 1.01F; }},
              Spoilt{"target[0]", [](World& w) { w.to[0].b = std::numeric_limits<float>::quiet_NaN(); }},
              Spoilt{"weight", [](World& w) { w.from[1].weight = -1; }},
              Spoilt{"nodes is 1", [](World& w) { w.clut.nodes[2] = 1; }},
              Spoilt{"nodes is 66", [](World& w) { w.clut.nodes[0] = 66; }},
              Spoilt{"strength", [](World& w) { w.clut.strength = 1.5F; }},
              Spoilt{"radius", [](World& w) { w.clut.radius = 0; }}, more...);
    };
    table(cali_clut_calc_rgb);
    table(cali_clut_calc, Spoilt{"without saturation", [](World& w) {
                                     w.from = {{0.5F, 0.5F, 0.505F, 1}, {0, 0, 0, 1}};
                                 }});
}

}  // namespace cali::test
