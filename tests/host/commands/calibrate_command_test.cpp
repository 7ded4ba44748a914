// The chain as a user runs it, held against the simulated sensor's truth.

#include <array>
#include <map>
#include <set>
#include <sstream>

#include "base/process.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

constexpr std::array kChannels = {"rr", "gr", "gb", "bb"};

void expect_truth(const std::filesystem::path& folder) {
    const json truth = read_json(folder / "truth.json");
    const json results = read_json(folder / "results.json");
    EXPECT_EQ(results["sensor"]["width"], truth["width"]);
    EXPECT_EQ(results["sensor"]["bits"], truth["bits"]);
    for (const char* channel : kChannels) {
        SCOPED_TRACE(channel);
        const double pedestal = truth["pedestal_codes"][channel];
        const double offset = results["black_level"][0]["offset_codes"][channel];
        EXPECT_NEAR(offset, pedestal, 0.5);
        EXPECT_FLOAT_EQ(results["black_level"][0]["restoring_gain"][channel].get<float>(),
                        static_cast<float>(4096 / (4096 - offset)));
    }
    ASSERT_EQ(results["white_balance"].size(), truth["illuminants"].size());
    for (std::size_t i = 0; i < truth["illuminants"].size(); ++i) {
        const json& found = results["white_balance"][i];
        const json& light = truth["illuminants"][i];
        EXPECT_EQ(found["illuminant_k"], light["illuminant_k"]);
        for (const char* colour : {"red", "green", "blue"}) {
            const double expected = light["gain"][colour];
            EXPECT_NEAR(found["gain"][colour].get<double>(), expected, 0.005 * expected) << colour;
            EXPECT_EQ(found["gain_q10"][colour].get<double>(), found["gain"][colour].get<double>() * 1024);
        }
    }
}

TEST(Calibrate, RecoversTheSimulatedSensor) {
    for (const char* sensor : {"--size 1024x640 --pattern GRBG --bits 10 --format pgm --seed 3",
                               "--size 1025x771 --pattern BGGR --bits 14 --format raw",
                               "--size 800x600 --pattern GBRG --bits 16 --format pgm", "--size 800x600 --bits 8"}) {
        SCOPED_TRACE(sensor);
        const TemporaryFolder folder;
        run_line(folder.path(),
                 std::string("simulate s --series-levels 0 --dark-frames 2 --illuminants 2850 6500 ") + sensor);
        run_line(folder.path(), "calibrate s/session.toml --strict");  // no warning
        expect_truth(folder.path() / "s");
    }
}

/// No option beyond the folder.
TEST(Init, FoldersOfDngsAndOfPackedRawGiveTheTruth) {
    const TemporaryFolder folder;
    for (const std::string form : {"dng --names tuning", "mipi --bits 10 --names geometry"}) {
        SCOPED_TRACE(form);
        run_line(folder.path(), "simulate s --overwrite --size 800x600 --series-levels 4 --format " + form);
        std::filesystem::remove(folder / "s/session.toml");
        run_line(folder.path(), "init s");
        const std::string shown = run_line(folder.path(), "check s/session.toml");
        EXPECT_EQ(shown.find(" no "), std::string::npos) << shown;
        run_line(folder.path(), "calibrate s/session.toml --strict");
        expect_truth(folder / "s");
        const json results = read_json(folder / "s/results.json");
        EXPECT_EQ(results["noise"].size(), 1U);
        EXPECT_EQ(results["colour_matrix"].size(), 4U);
        EXPECT_EQ(results["white_balance"][0]["measured_on"], form.starts_with("dng") ? "chart" : "grey card");
        EXPECT_NEAR(results["white_balance_curve"]["reference_k"], 5000, 1);
        std::filesystem::remove_all(folder / "s");
    }
}

TEST(Init, PlacesByNamesFoldersAndPictures) {
    const TemporaryFolder folder;
    run_line(folder.path(),
             "simulate s --size 640x480 --format dng --illuminants 5000 --dark-frames 3 --series-levels 2");
    const auto move = [&](const std::string& from, const std::string& to) {
        std::filesystem::create_directories((folder / to).parent_path());
        std::filesystem::rename(folder / ("s/" + from), folder / to);
    };
    move("dark_1.dng", "c/dark/a.dng");
    move("dark_2.dng", "c/IMG_4K_2.dng");  // no light of 4 K
    move("flat_5000K.dng", "c/IMG_4K_3.dng");
    move("chart_5000K.dng", "c/IMG_4K_4.dng");
    move("grey_5000K.dng", "c/Grey/5000K/b.dng");
    move("series_1_1.dng", "c/noise/dim/1.dng");
    move("series_1_2.dng", "c/noise/dim/2.dng");
    move("series_2_1.dng", "c/series_2_1.dng");
    move("series_2_2.dng", "c/series_2_2.dng");
    move("dark_3.dng", "c/dark_of_600k.dng");
    std::filesystem::copy_file(folder / "c/dark/a.dng", folder / "c/flat_4000K_1.dng");
    std::filesystem::copy_file(folder / "c/dark/a.dng", folder / "c/flat_4000K_2.dng");
    write_text(folder / "c/flat_4000K_2.tif", "II*");
    write_text(folder / "c/notes.txt", "not a capture");
    run_line(folder.path(), "simulate t --size 64x48 --format pgm --illuminants 5000 --series-levels 0");
    std::filesystem::copy_file(folder / "t/dark_1.pgm", folder / "c/dark_9.pgm");
    const std::string printed = run_line(folder.path(), "init c --out session.toml --pattern RGGB");
    EXPECT_NE(printed.find("c/IMG_4K_3.dng: a flat field"), std::string::npos) << printed;
    EXPECT_NE(printed.find("c/dark_9.pgm: 64 x 48, RGGB, 12 bits, and most captures are 640 x 480"), std::string::npos)
        << printed;
    EXPECT_NE(printed.find("c/flat_4000K_2.tif: "), std::string::npos) << printed;
    EXPECT_EQ(printed.find("notes"), std::string::npos);
    const std::string session = read_text(folder / "session.toml");
    for (const char* const line :
         {"{ file = \"c/dark/a.dng\" }", "{ file = \"c/dark_of_600k.dng\" }", "{ file = \"c/IMG_4K_2.dng\" }",
          "{ files = [\"c/flat_4000K_1.dng\", \"c/flat_4000K_2.dng\"], illuminant_k = 4000 }",
          "{ file = \"c/Grey/5000K/b.dng\", illuminant_k = 5000 }", "chart = [\n    { file = \"c/IMG_4K_4.dng\" }",
          "series = [\n    { files = [\"c/noise/dim/1.dng\", \"c/noise/dim/2.dng\"] }",
          "{ files = [\"c/series_2_1.dng\", \"c/series_2_2.dng\"] }", "pattern = \"RGGB\""}) {
        EXPECT_NE(session.find(line), std::string::npos) << line << "\n" << session;
    }
    const std::string coverage = run_line(folder.path(), "check session.toml");
    EXPECT_NE(coverage.find("white_balance_curve  no    1 lights of known temperature: grey cards or charts under 3"),
              std::string::npos)
        << coverage;
    expect_errors(folder, {{"init c --out session.toml", "session.toml: exists already; expected another name"},
                           {"init nothere", "nothere: no such folder"},
                           {"init c/dark/a.dng", "no such folder"},
                           {"check nothere.toml", "nothere.toml: no such session file"}});
    std::filesystem::create_directory(folder / "empty");
    expect_errors(folder, {{"init empty", "empty: holds no capture that could be placed"}});
}

TEST(Init, SaysOfEachFileWhyItIsNotPlaced) {
    const TemporaryFolder folder;
    const auto write_picture = [&](const char* name, int left, int right) {
        std::string content = std::string(name).ends_with(".pgm") ? "P5\n64 48\n4095\n" : "";
        for (int i = 0; i < 64 * 48; ++i) {
            const int code = i % 64 < 32 ? left : right;
            content += {static_cast<char>(code / 256), static_cast<char>(code % 256)};
        }
        write_text(folder / name, content);
    };
    std::filesystem::create_directory(folder / "s");
    write_picture("s/dark_1.pgm", 256, 256);
    write_picture("s/dark_1.raw", 256, 256);
    write_picture("s/dim.pgm", 300, 300);
    write_picture("s/halves.pgm", 200, 3000);
    write_picture("s/noise.pgm", 900, 900);
    for (const std::string pattern : {"MONO", "RGGB"}) {
        const std::string printed =
            run_line(folder.path(), "init s --overwrite --bits 12 --size 64x48 --pattern " + pattern);
        for (const std::string line :
             {"dark_1.raw: the same capture as dark_1.pgm\n", "noise.pgm: its name tells no brightness level",
              "dim.pgm: its name says nothing, and it is dark, but brighter than other dark frames\n",
              pattern == "MONO"
                  ? "halves.pgm: its name says nothing, and it shows neither a dark frame nor a flat field\n"
                  : "halves.pgm: its name says nothing, and it shows neither a dark frame nor a flat field nor a "
                    "chart ("}) {
            EXPECT_NE(printed.find(line), std::string::npos) << line << printed;
        }
    }
}

TEST(Calibrate, RunsEveryCalibrationAndWritesWhatIsAskedFor) {
    const TemporaryFolder& folder = simulated_session();
    expect_truth(folder.path());
    const json results = read_json(folder / "results.json");
    for (const char* channel : kChannels) {
        EXPECT_NEAR(results["noise"][0]["variance_line"][channel]["slope"].get<double>(), 0.25, 0.01) << channel;
    }
    std::set<std::string> made;
    for (const std::string& name : folder.names()) {
        EXPECT_EQ(name.find(".part"), std::string::npos) << name;
        if (name.find("series_") == std::string::npos && name.find("dark_") == std::string::npos) {
            made.insert(name);
        }
    }
    for (const std::string light : {"2850K", "5000K", "6500K"}) {
        for (const std::string& name :
             {"flat_" + light + "_lsc_registers.txt", "flat_" + light + "_lsc_coefficients.csv",
              "flat_" + light + "_mesh.pgm", "flat_" + light + "_radial.pgm", "chart_" + light + "_patches.png",
              "chart_" + light + ".cube"}) {
            EXPECT_EQ(made.count(name), 1U) << name;
        }
    }
    EXPECT_EQ(made.count("noise.svg"), 1U);
    EXPECT_TRUE(std::filesystem::exists(folder / "series_1_1.raw"));
    EXPECT_TRUE(std::filesystem::exists(folder / "series_4_2.pgm"));
}

TEST(Calibrate, GivesTheSameBitsOnTheBaselineInstructionSet) {
    const TemporaryFolder folder;
    const std::string line = "calibrate " + (simulated_session() / "session.toml").string() +
                             " --out base --corrected --only blc,lsc,awb,ccm,noise";
    host::process::set_variable("CALI_ISA", "baseline");
    run_line(folder.path(), line);
    host::process::set_variable("CALI_ISA", "");
    for (const std::string name : {"flat_2850K_mesh.pgm", "flat_6500K_radial.pgm"}) {
        EXPECT_EQ(read_text(folder.path() / "base" / name), read_text(simulated_session() / name)) << name;
    }
    json results = read_json(folder / "base/results.json");
    json wide = read_json(simulated_session() / "results.json");
    for (json* const document : {&results, &wide}) {  // of other parts of the chain
        (*document)["noise"][0].erase("made");
        (*document)["white_balance_curve"].erase("made");
    }
    EXPECT_EQ(results["noise"], wide["noise"]);
    EXPECT_EQ(results["white_balance_curve"], wide["white_balance_curve"]);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(results["lens_shading"][i]["mesh"], wide["lens_shading"][i]["mesh"]);
        EXPECT_EQ(results["colour_matrix"][i]["matrix"], wide["colour_matrix"][i]["matrix"]);
    }
}

/// Also of what fails its checks, and of a file that is found damaged on the way.
TEST(Calibrate, JobsSideBySideGiveWhatOneGives) {
    const TemporaryFolder folder;
    run_line(
        folder.path(),
        "simulate s --size 320x240 --illuminants 2850 5000 --gains 1,4 --burst 2 --dark-frames 2 --series-levels 3 "
        "--format png --fault tilt=8");
    for (const std::string name : {"s/flat_5000K_g1_2.png", "s/series_3_g4_1.png"}) {
        std::string damaged = read_text(folder / name);
        damaged[damaged.size() / 2] = static_cast<char>(~damaged[damaged.size() / 2]);
        write_text(folder / name, damaged);
    }
    struct Made {
        ProgramRun run;
        std::set<std::string> told;  ///< on standard error, but for the progress
        std::map<std::string, std::string> files;
    };
    const auto made_by = [&](const std::string& options) {
        Made made{run_program(folder.path(), words("calibrate s/session.toml --out out --registers --corrected "
                                                   "--pictures --tables" +
                                                   options)),
                  {},
                  {}};
        std::istringstream lines(made.run.err);
        for (std::string line; std::getline(lines, line);) {
            if (line.find(" of ") == std::string::npos) {
                made.told.insert(line);
            }
        }
        for (const std::string& name : TemporaryFolder(folder / "out").names()) {
            made.files[name] = read_text(folder / ("out/" + name));
        }
        std::filesystem::remove_all(folder / "out");
        return made;
    };
    write_text(folder / "library.log", "");
    for (const std::string options : {" --log library.log", " --only blc,lsc,noise"}) {
        SCOPED_TRACE(options);
        const Made one = made_by(options + " --jobs 1");
        const std::string log = read_text(folder / "library.log");
        const Made many = made_by(options + " --jobs 4");
        EXPECT_EQ(one.run.status, 2);
        EXPECT_EQ(many.run.status, 2);
        EXPECT_EQ(one.run.out, many.run.out);
        EXPECT_EQ(one.told, many.told);
        EXPECT_GE(one.files.size(), 5U);
        EXPECT_TRUE(one.files == many.files);
        EXPECT_TRUE(log == read_text(folder / "library.log"));
    }
    run_line(folder.path(),
             "simulate d --size 64x48 --illuminants 5000 --dark-frames 1 --series-levels 0 --fault grey-dim=0");
    const std::string line = "calibrate d/session.toml --out out --jobs ";
    const ProgramRun one = run_program(folder.path(), words(line + "1"));
    EXPECT_EQ(one.status, 1);
    EXPECT_NE(one.out.find("colour_matrix: not done: white_balance for 5000 K was rejected "
                           "(grey_level, grey_uniformity): calibrate it again"),
              std::string::npos)
        << one.out;
    EXPECT_EQ(one.out, run_program(folder.path(), words(line + "2")).out);
}

TEST(Calibrate, SaysWhichCalibrationsTheSessionLeavesOut) {
    const TemporaryFolder folder;
    std::filesystem::copy_file(simulated_session() / "dark_1.raw", folder / "dark_1.raw");
    write_text(folder / "s.toml",
               "[sensor]\nwidth = 640\nheight = 480\npattern = \"GRBG\"\nbits = 12\n[captures]\ndark = "
               "\"dark_1.raw\"\n");
    const std::string out = run_line(folder.path(), "calibrate s.toml --out new/deep");
    EXPECT_NE(out.find("lens_shading: not done: no flat field ([captures] flat)\n"), std::string::npos) << out;
    EXPECT_NE(out.find("colour_matrix: not done: no chart ([captures] chart)\n"), std::string::npos) << out;
    EXPECT_NE(out.find("written: new/deep/results.json\n"), std::string::npos) << out;
    EXPECT_NE(out.find("verdict: pass\n"), std::string::npos) << out;
    EXPECT_EQ(folder.names(),
              (std::vector<std::string>{"dark_1.raw", "new", "new/deep", "new/deep/results.json", "s.toml"}));
}

TEST(Calibrate, RefusesTwoCapturesWhoseFilesWouldHaveOneName) {
    const TemporaryFolder folder;
    write_text(folder / "flat.toml", "[black_level]\noffset = 64\n[captures]\nflat = [\"a/f.raw\", \"b/f.raw\"]\n");
    write_text(folder / "chart.toml",
               "[black_level]\noffset = 64\n[colour_matrix]\nmethod = \"joint\"\n[captures]\nchart = [\"a/c.raw\", "
               "\"x.raw\", \"b/c.pgm\"]\n");
    expect_errors(folder, {{"calibrate flat.toml --registers", "b/f.raw and a/f.raw: both would give files named f"},
                           {"calibrate flat.toml --corrected", "b/f.raw and a/f.raw"},
                           {"calibrate chart.toml --pictures", "b/c.pgm and a/c.raw: both would give files named c"},
                           {"calibrate chart.toml --tables", "b/c.pgm and a/c.raw"},
                           {"calibrate chart.toml --registers", "a/c.raw: no such file"}});
}

TEST(Verify, GreyCardBecomesGrey) {
    const TemporaryFolder& session = simulated_session();
    const TemporaryFolder folder;
    const std::string values =
        " --session " + (session / "session.toml").string() + " --results " + (session / "results.json").string();
    const auto grey_at = [&](int x0, int y0, const std::string& name) {
        const std::string pgm = read_text(folder / name);
        double sum[2][2] = {};
        for (int y = y0; y < y0 + 64; ++y) {
            for (int x = x0; x < x0 + 64; ++x) {
                const std::size_t at = pgm.size() - (640 * 480 - static_cast<std::size_t>(y * 640 + x)) * 2;
                sum[y & 1][x & 1] +=
                    static_cast<unsigned char>(pgm[at]) * 256 + static_cast<unsigned char>(pgm[at + 1]);
            }
        }
        EXPECT_NEAR(sum[0][1] / sum[0][0], 1, 0.01) << x0;  // GRBG: red, then blue over green
        EXPECT_NEAR(sum[1][0] / sum[0][0], 1, 0.01) << x0;
        return sum[0][0] / 1024;
    };
    const std::string grey = (session / "grey_2850K.raw").string();
    run_line(folder.path(), "verify " + grey + values + " --illuminant 2850 --out out.pgm");
    // The mesh lifts the corner to the centre, and its colour with it.
    EXPECT_NEAR(grey_at(0, 0, "out.pgm") / grey_at(288, 208, "out.pgm"), 1, 0.02);

    // The black-level stage alone: what a dark frame keeps is noise around 0. Any suffix but .pgm is raw.
    const std::string of_dark = "verify " + (session / "dark_1.raw").string() + values + " --stage black-level --out ";
    const std::string out = run_line(folder.path(), of_dark + "d");
    EXPECT_EQ(out, "applied: black level 64 66 65 63; no mesh; gains 1.0000 and 1.0000\nwritten: d\n");
    const std::string dark = read_text(folder / "d");
    EXPECT_TRUE(run_line(folder.path(), of_dark + "-") == dark);  // and nothing else there
    ASSERT_EQ(dark.size(), std::size_t{640} * 480 * 2);
    std::size_t zeros = 0;
    for (std::size_t i = 0; i < dark.size(); i += 2) {
        ASSERT_EQ(dark[i + 1], 0);
        ASSERT_LT(dark[i], 25);
        zeros += dark[i] == 0 ? 1 : 0;
    }
    EXPECT_GT(zeros, dark.size() / 5);
    write_text(folder / "g.toml", "[sensor]\nwidth = 640\nheight = 480\npattern = \"GRBG\"\nbits = 12\n");
    expect_errors(folder,
                  {{"verify " + grey + replaced(values, (session / "session.toml").string(), "g.toml") + " --out o.raw",
                    "holds white balance for 2850 K, 5000 K, 6500 K; choose one with --illuminant"}});
}

}  // namespace
}  // namespace cali::test
