// Colour tables as a user runs them, and as other people's tools read them.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>

#include "lut/apply.h"
#include "program.h"

namespace cali::test {
namespace {

using nlohmann::json;

class ColourTable : public ::testing::Test {
protected:
    /// Colours that no matrix mends.
    void SetUp() override {
        ASSERT_EQ(run({"simulate", ".", "--size", "960x640", "--series-levels", "0", "--illuminants", "5000", "6500",
                       "--bend", "0.3"})
                      .status,
                  0);
        const ProgramRun chain = run({"calibrate", "session.toml", "--tables"});
        ASSERT_EQ(chain.status, 0) << chain.err;
    }

    ProgramRun run(const std::vector<std::string>& arguments) const { return run_program(folder_.path(), arguments); }

    TemporaryFolder folder_;
};

TEST_F(ColourTable, MendsWhatTheMatrixLeaves) {
    for (const char* domain : {"rgb", "hsv"}) {
        SCOPED_TRACE(domain);
        const ProgramRun result =
            run({"clut", "results.json", "--illuminant", "5000", "--domain", domain, "--picture", "p.png"});
        ASSERT_EQ(result.status, 0) << result.err;
        const json table = read_json(folder_ / "clut.json")["colour_table"][0];
        const json& found = table["de_2000"];
        EXPECT_GT(found["before_mean"], 0.5);
        EXPECT_LT(found["after_mean"], 0.4 * found["before_mean"].get<double>());
        EXPECT_LE(found["leave_one_out_mean"], found["before_mean"]);
        EXPECT_LT(found["grey_movement"], 0.2);
        EXPECT_EQ(table["table"].size(), 33U * 33 * 33 * 3);
        EXPECT_EQ(read_text(folder_ / "p.png").substr(1, 3), "PNG");
    }
    const ProgramRun half = run({"clut", "results.json", "--illuminant", "5000", "--strength", "0.5"});
    ASSERT_EQ(half.status, 0);
    const json found = read_json(folder_ / "clut.json")["colour_table"][0]["de_2000"];
    EXPECT_NEAR(found["after_mean"].get<double>() / found["before_mean"].get<double>(), 0.5, 0.05);
    EXPECT_FALSE(read_text(folder_ / "chart_6500K.cube").empty());
}

TEST_F(ColourTable, IsTakenByAnotherReader) {
    if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {  // NOLINT(concurrency-mt-unsafe)
        GTEST_SKIP() << "ffmpeg is not installed";
    }
    ASSERT_EQ(run({"clut", "results.json", "--illuminant", "5000", "--nodes", "17", "--cube", "t.cube"}).status, 0);
    const auto table = read_json(folder_ / "clut.json")["colour_table"][0]["table"].get<std::vector<int32_t>>();

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
    write_text(folder_ / "in.ppm", picture);
    const std::string command = "cd '" + folder_.path().string() +
                                "' && ffmpeg -nostdin -loglevel error -i in.ppm -vf "
                                "lut3d=file=t.cube:interp=tetrahedral -pix_fmt rgb48be -f rawvideo out.raw";
    ASSERT_EQ(std::system(command.c_str()), 0);  // NOLINT(concurrency-mt-unsafe)
    const std::string out = read_text(folder_ / "out.raw");
    ASSERT_EQ(out.size(), colours.size() * 6);
    lut::apply_rgb_table({lut::lattice_of(lut::Domain::rgb, {17, 17, 17}), table.data()},
                         lut::Interpolation::tetrahedral, colours);
    for (std::size_t i = 0; i < colours.size() * 3; ++i) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned>(static_cast<unsigned char>(out[at])); };
        const double read = (byte(2 * i) * 256 + byte(2 * i + 1)) / 65535.0;
        ASSERT_NEAR(read, static_cast<double>(colours[i / 3][i % 3]), 1e-4) << i;
    }
}

TEST_F(ColourTable, WrongInputIsNamed) {
    write_text(folder_ / "none.json", "{\"schema\": 1}");
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"clut", "none.json"}, "none.json: holds no colour matrix"},
        {{"clut", "results.json"}, "holds colour matrix for 5000 K, 6500 K; choose one with --illuminant"},
        {{"clut", "results.json", "--illuminant", "5000", "--nodes", "66"}, "--nodes"},
        {{"clut", "results.json", "--illuminant", "5000", "--domain", "lab"}, "--domain"},
        {{"clut", "results.json", "--illuminant", "5000", "--domain", "hsv", "--cube", "t.cube"},
         "--cube takes the rgb domain"},
    };
    for (const auto& [arguments, expected] : cases) {
        const ProgramRun result = run(arguments);
        EXPECT_EQ(result.status, 2) << expected;
        EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
        EXPECT_EQ(read_text(folder_ / "clut.json"), "");
    }
}

}  // namespace
}  // namespace cali::test
