// Colour tables as a user runs them, and as other people's tools read them.

#include "calibrations/colour_table.h"

#include <cstdlib>
#include <random>

#include "lut/apply.h"
#include "results/choose_values.h"
#include "results/results_file.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

host::TableInput patches_at_5000() {
    const host::Results results = host::read_results(simulated_session() / "results.json");
    return table_input(host::ValueChooser(results, false).matrix({5000, {}}));
}

TEST(ColourTable, MendsWhatTheMatrixLeaves) {
    for (const host::TableDomain domain : {host::TableDomain::rgb, host::TableDomain::hsv}) {
        SCOPED_TRACE(host::table_domain_name(domain));
        const host::ColourTable table = calibrate_table(patches_at_5000(), {domain, 33, 1, 0.2}, {});
        EXPECT_GT(table.before.mean, 0.5);
        EXPECT_TRUE(table.needed);
        EXPECT_LT(table.after.mean, 0.4 * table.before.mean);
        // Made without the patch it is tried on: worse than with it, and still of use.
        EXPECT_LE(table.leave_one_out, table.before.mean);
        EXPECT_GT(table.leave_one_out, 2 * table.after.mean);
        EXPECT_LT(table.grey_movement, 0.2);
        EXPECT_EQ(table.value.size(), 33U * 33 * 33 * 3);
    }
    const host::ColourTable half = calibrate_table(patches_at_5000(), {host::TableDomain::rgb, 33, 0.5, 0.2}, {});
    EXPECT_NEAR(half.after.mean / half.before.mean, 0.5, 0.05);
}

TEST(ColourTable, SettingsAreChosenByWhatTheyDoForPatchesLeftOut) {
    host::TableInput input = patches_at_5000();
    host::ColourTableSettings settings;
    settings.nodes = 9;
    const host::ColourTable chosen = calibrate_table(input, settings, {});
    settings.radius = 0.2;
    const host::ColourTable near = calibrate_table(input, settings, {});
    EXPECT_GT(*chosen.settings.radius, 0.2);  // the smooth bend of the simulated sensor reaches far
    EXPECT_EQ(*near.settings.radius, 0.2);
    EXPECT_LT(chosen.leave_one_out, near.leave_one_out);
    EXPECT_EQ(chosen.gain(), chosen.before.mean - chosen.leave_one_out);
    EXPECT_TRUE(near.chosen);

    // Errors of no pattern: what mends one patch harms its neighbours.
    std::mt19937 random(1);
    input.corrected = input.reference;
    for (Colour& colour : input.corrected) {
        for (double& component : colour) {
            component *= random() % 2 == 0 ? 1.05 : 0.95;
        }
    }
    settings.radius = 0.5;
    EXPECT_EQ(*calibrate_table(input, settings, {}).settings.strength, 0.25);
    settings.strength = 1;
    input.corrected = input.reference;
    const host::ColourTable idle = calibrate_table(input, settings, {});
    EXPECT_FALSE(idle.needed);
    EXPECT_FALSE(idle.chosen);
}

TEST(ColourTable, IsTakenByAnotherReader) {
    if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {  // NOLINT(concurrency-mt-unsafe)
        GTEST_SKIP() << "ffmpeg is not installed";
    }
    const TemporaryFolder folder;
    const std::string results = (simulated_session() / "results.json").string();
    run_line(folder.path(),
             "clut " + results + " --illuminant 5000 --nodes 17 --cube t.cube --picture p.png --results clut.json");
    EXPECT_EQ(read_text(folder / "p.png").substr(1, 3), "PNG");
    const auto table = read_json(folder / "clut.json")["colour_table"][0]["table"].get<std::vector<int32_t>>();

    constexpr int kSide = 32;
    std::mt19937 random(1);
    std::string picture = "P6\n32 32\n65535\n";
    std::vector<std::array<float, 3>> colours;
    for (int i = 0; i < kSide * kSide; ++i) {
        auto& colour = colours.emplace_back();
        for (float& component : colour) {
            const unsigned code = random() % 65536;
            component = static_cast<float>(code) / 65535;
            picture += static_cast<char>(code >> 8U);
            picture += static_cast<char>(code & 0xFFU);
        }
    }
    write_text(folder / "in.ppm", picture);
    const std::string command = "cd '" + folder.path().string() +
                                "' && ffmpeg -nostdin -loglevel error -i in.ppm -vf "
                                "lut3d=file=t.cube:interp=tetrahedral -pix_fmt rgb48be -f rawvideo out.raw";
    ASSERT_EQ(std::system(command.c_str()), 0);  // NOLINT(concurrency-mt-unsafe)
    const std::string out = read_text(folder / "out.raw");
    ASSERT_EQ(out.size(), colours.size() * 6);
    lut::apply_rgb_table({lut::lattice_of(lut::Domain::rgb, {17, 17, 17}), table.data()},
                         lut::Interpolation::tetrahedral, colours);
    for (std::size_t i = 0; i < colours.size() * 3; ++i) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned>(static_cast<unsigned char>(out[at])); };
        const double read = (byte(2 * i) * 256 + byte(2 * i + 1)) / 65535.0;
        ASSERT_NEAR(read, static_cast<double>(colours[i / 3][i % 3]), 1e-4) << i;
    }
    expect_errors(folder, {{"clut " + results + " --results r.json",
                            "holds colour matrix for 2850 K, 5000 K, 6500 K; choose one"},
                           {"clut " + results + " --illuminant 5000 --domain hsv --cube u.cube",
                            "--cube takes the rgb domain, found --domain hsv"}});
}

}  // namespace
}  // namespace cali::test
