// Sessions with several analogue gains, bursts, one channel, and charts in perspective, held against the truth.

#include <cmath>
#include <regex>

#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

/// "black_level gain 4, lens_shading 5000 K at gain 4": what an entry was made with.
std::string made_with(const json& entry) {
    std::string line;
    for (const json& value : entry["made"]["values"]) {
        line +=
            (line.empty() ? "" : ", ") + value["section"].get<std::string>() + " " + value["entry"].get<std::string>();
    }
    return line;
}

void expect_truth_at_every_gain(const std::filesystem::path& folder, const std::vector<std::string>& channels) {
    const json truth = read_json(folder / "truth.json")["gains"];
    const json results = read_json(folder / "results.json");
    ASSERT_EQ(results["black_level"].size(), truth.size());
    ASSERT_EQ(results["noise"].size(), truth.size());
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const json& black = results["black_level"][i];
        const json& noise = results["noise"][i]["weighted_variance_line"];
        SCOPED_TRACE(truth[i].dump());
        EXPECT_EQ(black["analogue_gain"], truth[i]["analogue_gain"]);
        EXPECT_EQ(results["noise"][i]["analogue_gain"], truth[i]["analogue_gain"]);
        EXPECT_EQ(black["mean_codes"].size(), channels.size());
        for (const std::string& channel : channels) {
            const double pedestal = truth[i]["pedestal_codes"][channel == "y" ? "gr" : channel];
            const double electron = truth[i]["codes_per_electron"];
            const double read_variance = truth[i]["read_variance_codes2"].get<double>() + 1.0 / 12;
            EXPECT_NEAR(black["mean_codes"][channel]["value"].get<double>(), pedestal, 0.1);
            EXPECT_NEAR(noise[channel]["slope"]["value"].get<double>(), electron, 0.02 * electron);
            EXPECT_NEAR(noise[channel]["intercept"]["value"].get<double>(), read_variance, 0.1 * read_variance);
            const json& model = results["gain_model"];
            EXPECT_NEAR(model["black_level_line"][channel]["slope"].get<double>(), 2, 0.03);
            EXPECT_NEAR(model["codes_per_electron_line"][channel]["slope"].get<double>(), 0.25, 0.01);
        }
    }
}

TEST(Gains, EachHasItsBlackLevelAndNoiseAndTheRestTheNearest) {
    const TemporaryFolder folder;
    const std::string line = " --gains 4,1 --all-at-every-gain --size 640x480 --dark-frames 1 --series-levels 4 ";
    run_line(folder.path(), "simulate raw --format raw --illuminants 2850 5000 6500" + line);
    // 2.2 is nearer to 4 by ratio, to 1 by difference.
    const std::string grey = "\"grey_5000K_g4.raw\", illuminant_k = 5000, gain = ";
    write_text(folder / "raw/session.toml", replaced(read_text(folder / "raw/session.toml"), grey + "4", grey + "2.2"));
    run_line(folder.path(), "calibrate raw/session.toml");
    expect_truth_at_every_gain(folder / "raw", {"rr", "gr", "gb", "bb"});
    const json results = read_json(folder / "raw/results.json");
    ASSERT_EQ(results["white_balance"].size(), 6U);
    EXPECT_EQ(made_with(results["white_balance"][1]), "black_level gain 1, lens_shading 5000 K at gain 1");
    EXPECT_EQ(made_with(results["white_balance"][4]), "black_level gain 4, lens_shading 5000 K at gain 4");
    EXPECT_EQ(made_with(results["colour_matrix"][4]),
              "black_level gain 4, lens_shading 5000 K at gain 4, white_balance 5000 K at gain 2.2");
    for (const json& value : results["white_balance_curve"]["made"]["values"]) {
        EXPECT_TRUE(value["entry"].get<std::string>().ends_with(" K at gain 1")) << value;
    }

    // The session tells single commands, too.
    run_line(folder.path(),
             "awb raw/grey_6500K_g4.raw --session raw/session.toml --results raw/results.json "
             "--illuminant 6500");
    json again = read_json(folder / "raw/results.json")["white_balance"];
    ASSERT_EQ(again.size(), 6U);
    EXPECT_EQ(again[5]["gain"], results["white_balance"][5]["gain"]);

    // DNGs tell their gain, to a session that is made of the folder too.
    run_line(folder.path(), "simulate dng --format dng --names tuning --burst 2 --illuminants 5000" + line);
    run_line(folder.path(), "init dng --overwrite");
    run_line(folder.path(), "calibrate dng/session.toml");
    expect_truth_at_every_gain(folder / "dng", {"rr", "gr", "gb", "bb"});
    const json of_dngs = read_json(folder / "dng/results.json");
    EXPECT_EQ(of_dngs["lens_shading"].size(), 2U);
    EXPECT_EQ(of_dngs["colour_matrix"][1]["analogue_gain"], 4.0);
    EXPECT_EQ(of_dngs["colour_matrix"][1]["made"]["inputs"].size(), 2U);

    // They tell their black level, too, where no dark frames do.
    std::filesystem::create_directory(folder / "lit");
    for (const auto& file : std::filesystem::directory_iterator(folder / "dng")) {
        if (const std::string name = file.path().filename().string(); !name.starts_with("dark")) {
            std::filesystem::create_hard_link(file, folder / "lit" / name);
        }
    }
    std::filesystem::remove(folder / "lit/results.json");
    run_line(folder.path(), "init lit --overwrite");
    run_line(folder.path(), "calibrate lit/session.toml --only blc");
    const json given = read_json(folder / "lit/results.json")["black_level"];
    ASSERT_EQ(given.size(), 2U);
    for (std::size_t i = 0; i < given.size(); ++i) {
        EXPECT_EQ(given[i]["method"], "given");
        EXPECT_EQ(given[i]["analogue_gain"], of_dngs["black_level"][i]["analogue_gain"]);
        EXPECT_EQ(given[i]["offset_codes"], of_dngs["black_level"][i]["offset_codes"]);
    }

    // What belongs to several gains is refused.
    write_text(folder / "flat.toml",
               "[black_level]\noffset = 64\n[captures]\nflat = { files = [\"dng/alsc_5000k_1.dng\", "
               "\"dng/alsc_5000k_3.dng\"], illuminant_k = 5000 }\n");
    EXPECT_NE(run_program(folder.path(), {"calibrate", "flat.toml"})
                  .err.find("alsc_5000k_3.dng: is of gain 4, expected gain 1, that of"),
              std::string::npos);
    expect_errors(folder,
                  {{"noise --session raw/session.toml --black-level 64 --results n.json",
                    "the series has levels of gain 1 and gain 4, expected one gain"},
                   {"noise --level dng/noise_1_1.dng --level dng/noise_?_2.dng --results n.json --black-level 64",
                    "noise_5_2.dng: is of gain 4, expected gain 1"}});
}

TEST(Bursts, AreAveragedWithoutTheFrameThatFlickers) {
    const TemporaryFolder folder;
    const auto calibrated = [&](const std::string& name, const std::string& options, const std::string& from,
                                const std::string& to) {
        run_line(folder.path(), "simulate " + name +
                                    " --format raw --size 640x480 --illuminants 5000 --dark-frames 1 " +
                                    "--series-levels 0 " + options);
        const std::filesystem::path session = folder / (name + "/session.toml");
        write_text(session, std::regex_replace(read_text(session), std::regex(from), to));
        run_line(folder.path(), "calibrate " + session.string());
        return read_json(folder / (name + "/results.json"));
    };
    const std::string first = "\"([^\"]*)_1.raw\", \"([^\"]*)_2.raw\"";
    const json one = calibrated("one", "", "", "");
    const json four = calibrated("four", "--burst 4", "", "");
    const json three = calibrated("three", "--burst 4", first, "\"$1_1.raw\"");
    const json flicker =
        calibrated("flicker", "--burst 4 --fault burst-flicker=5", first, "\"$2_2.raw\", \"$1_1.raw\"");
    const auto deviation = [](const json& results) {
        return results["white_balance"][0]["unrounded"]["red"]["uncertainty"].get<double>();
    };
    EXPECT_NEAR(deviation(one) / deviation(four), 2, 0.1);
    EXPECT_EQ(flicker["lens_shading"][0]["mesh"], three["lens_shading"][0]["mesh"]);
    EXPECT_EQ(flicker["white_balance"][0]["unrounded"], three["white_balance"][0]["unrounded"]);
    EXPECT_EQ(flicker["colour_matrix"][0]["matrix"], three["colour_matrix"][0]["matrix"]);
    EXPECT_NE(four["white_balance"][0]["unrounded"], three["white_balance"][0]["unrounded"]);
    std::string left_out;
    for (const json& finding : flicker["findings"]) {
        left_out += finding["code"] == "burst_frame" ? finding["place"].get<std::string>() + " " : "";
    }
    EXPECT_EQ(left_out, "flat_5000K_2.raw grey_5000K_2.raw chart_5000K_2.raw ");
}

TEST(Mono, HasOneChannelThroughout) {
    const TemporaryFolder folder;
    run_line(folder.path(),
             "simulate m --pattern MONO --format dng --gains 1,2 --size 640x480 --illuminants 5000 "
             "--dark-frames 1 --series-levels 4");
    const std::string out = run_line(folder.path(), "calibrate m/session.toml");
    expect_truth_at_every_gain(folder / "m", {"y"});
    const json results = read_json(folder / "m/results.json");
    EXPECT_EQ(results["lens_shading"][0]["mesh"]["gain_q9"].size(), 1U);
    // Behind the mesh, photosites of every position are as even as those of green.
    EXPECT_LT(results["lens_shading"][0]["uniformity"]["after_mesh"]["worst_colour_shift"].get<double>(), 0.01);
    for (const std::string section : {"white_balance", "colour_matrix", "colour_table"}) {
        EXPECT_FALSE(results.contains(section));
        EXPECT_NE(out.find(section + ": not done: the sensor is MONO: it has no colours\n"), std::string::npos) << out;
    }
}

TEST(Perspective, ChartIsFoundAndCalibratesWithinTheLimits) {
    const TemporaryFolder folder;
    run_line(folder.path(),
             "simulate p --chart perspective --format raw --size 1024x768 --illuminants 2850 6500 "
             "--series-levels 0 --seed 6");
    run_line(folder.path(), "calibrate p/session.toml --strict");  // no warning
    const json corners = read_json(folder / "p/truth.json")["chart_corners"];
    const json found = json::parse(run_line(folder.path(), "chart p/chart_6500K.raw --session p/session.toml --json"));
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t k = 0; k < 2; ++k) {
            EXPECT_NEAR(found["corners"][i][k].get<double>(), corners[i][k].get<double>(), 3) << i;
        }
    }
}

}  // namespace
}  // namespace cali::test
