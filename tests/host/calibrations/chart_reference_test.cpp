// Charts that were measured: their files, and what comes of them.

#include <cmath>

#include "base/error.h"
#include "calibrations/chart_reference_file.h"
#include "math/colour_space.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

std::string row(const Colour& c, const char* separator) {
    char text[120];
    std::snprintf(text, sizeof text, "%.9g%s%.9g%s%.9g\n", c[0], separator, c[1], separator, c[2]);
    return text;
}

/// Of linear colours under the white of the selector; Y of white is `scale`.
std::vector<Colour> xyz_of(const std::vector<Colour>& linear, int white, double scale) {
    std::vector<Colour> xyz;
    for (const Colour& rgb : linear) {
        Colour& out = xyz.emplace_back();
        for (std::size_t r = 0; r < 3; ++r) {
            const Colour& weights = white_point(white).xyz_of_rgb[r];
            out[r] = scale * (weights[0] * rgb[0] + weights[1] * rgb[1] + weights[2] * rgb[2]);
        }
    }
    return xyz;
}

std::string csv(const std::string& head, const std::vector<Colour>& values) {
    std::string text = head + "\n";
    for (std::size_t i = 0; i < values.size(); ++i) {
        text += std::to_string(i + 1) + "," + row(values[i], ",");
    }
    return text;
}

/// By columns, A1, B1 and so on, with a running number beside the name.
std::string cgats(const std::string& head, const char* columns, const std::vector<Colour>& values) {
    std::string text = "CGATS.17\n" + head + "NUMBER_OF_FIELDS 6\nBEGIN_DATA_FORMAT\nSAMPLE_ID\tSAMPLE_NAME\tNOTE " +
                       std::string(columns) + "\nEND_DATA_FORMAT\nNUMBER_OF_SETS 24\nBEGIN_DATA\n";
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t patch = i % 4 * 6 + i / 4;
        text += std::to_string(i + 1) + "\t" + static_cast<char>('A' + i % 4) + std::to_string(i / 4 + 1) +
                "\t\"a note\" " + row(values[patch], " ");
    }
    return text + "END_DATA\n";
}

TEST(ChartReference, EveryFormGivesTheSameColours) {
    std::vector<Colour> linear = host::built_in_colours();
    linear[23] = {0.002, 0.0021, 0.0019};  // where CIELAB is linear
    std::vector<Colour> lab;
    for (const Colour& rgb : linear) {
        lab.push_back(lab_of_linear_rgb(rgb, white_point(50)));
    }
    const std::vector<Colour> d50 = xyz_of(linear, 50, 100);
    std::string spread = csv("# X-Rite\n# white d50, scale 100, observer 2\n\npatch, X, Y, Z", d50);
    for (std::size_t at = 0; (at = spread.find('\n', at)) != std::string::npos; at += 2) {
        spread.replace(at, 1, "\r\n");
    }
    const std::string files[] = {
        csv("# white D65, observer 2, scale 1\npatch,X,Y,Z", xyz_of(linear, 65, 1)),
        "\xEF\xBB\xBF" + spread,
        csv("# white D50, observer 2\npatch,L,a,b", lab),
        cgats("", "XYZ_X XYZ_Y XYZ_Z", d50),
        cgats("WEIGHTING_FUNCTION \"ILLUMINANT, D50\"\n", "LAB_L LAB_A LAB_B", lab),
    };
    const TemporaryFolder folder;
    for (const std::string& text : files) {
        SCOPED_TRACE(text.substr(0, 80));
        write_text(folder / "r", text);
        const host::ChartReference reference = host::read_chart_reference(folder / "r");
        for (const int white : {50, 65}) {
            const std::vector<Colour> found = linear_colours(reference, white);
            for (std::size_t i = 0; i < linear.size(); ++i) {
                for (std::size_t c = 0; c < 3; ++c) {
                    EXPECT_NEAR(found[i][c], linear[i][c], 2e-5) << i << ", " << c;
                }
            }
        }
        EXPECT_EQ(reference.input.bytes, text.size());
        EXPECT_EQ(reference.light.find("observer 2 (not stated)") != std::string::npos, text.starts_with("CGATS"));
    }
}

/// What reflects every light alike is grey, whatever light and observer it was measured for.
TEST(ChartReference, WhitesAreThoseOfLightAndObserver) {
    const std::pair<const char*, Colour> cases[] = {
        {"WEIGHTING_FUNCTION \"ILLUMINANT, D65\"\nWEIGHTING_FUNCTION \"OBSERVER, 10 degree\"\n",
         {94.811, 100, 107.304}},
        {"MEASUREMENT_SOURCE \"Illumination=A ObserverAngle=2degree Filter=no\"\n", {109.85, 100, 35.585}},
        {"ILLUMINANT \"C\"\nOBSERVER \"1931\"\n", {98.074, 100, 118.232}},
    };
    const TemporaryFolder folder;
    for (const auto& [head, white] : cases) {
        std::vector<Colour> greys;
        for (int i = 0; i < 24; ++i) {
            const double share = (25 - i) / 8.0 * 0.9;  // patch 19 has 0.79
            greys.push_back(
                {white[0] * std::min(share, 1.0), white[1] * std::min(share, 1.0), white[2] * std::min(share, 1.0)});
        }
        write_text(folder / "r", cgats(head, "XYZ_X XYZ_Y XYZ_Z", greys));
        for (const Colour& grey : linear_colours(host::read_chart_reference(folder / "r"), 65)) {
            EXPECT_NEAR(grey[0] / grey[1], 1, 2e-5) << head;
            EXPECT_NEAR(grey[2] / grey[1], 1, 2e-5) << head;
        }
    }
}

TEST(ChartReference, ErrorsNameTheLine) {
    const std::vector<Colour> d50 = xyz_of(host::built_in_colours(), 50, 100);
    const std::string sound = csv("# white D50, observer 2, scale 100\npatch,X,Y,Z", d50);
    const std::string table = cgats("ILLUMINANT D50\n", "XYZ_X XYZ_Y XYZ_Z", d50);
    const auto line = [](const std::string& text, int number) {
        std::size_t at = 0;
        for (; number > 1; --number) {
            at = text.find('\n', at) + 1;
        }
        return text.substr(at, text.find('\n', at) + 1 - at);
    };
    const std::tuple<std::string, std::string, std::string, const char*> cases[] = {
        {sound, line(sound, 9), "", "no patch 7 (B1); expected each of 1 to 24, or A1 to D6"},
        {sound, "\n8,", "\nB1,", "line 10: patch 7 (B1) stands in line 9 already"},
        {sound, "\n8,", "\nE1,", "line 10: patch 'E1', expected 1 to 24"},
        {sound, "\n24,", "\n25,", "line 26: patch '25', expected 1 to 24"},
        {sound, "\n8,", "\n8;", "line 10: 3 columns, expected 4"},
        {sound, line(sound, 10), "8,1,2,3x\n", "line 10: Z of patch 8 (B2) is '3x', expected a number"},
        {sound, line(sound, 10), "8,nan,2,3\n", "line 10: X of patch 8 (B2) is 'nan', expected a number"},
        {sound, line(sound, 10), "8,1,150.1,3\n", "line 10: Y of patch 8 (B2) is 150.1, expected 0 to 150"},
        {sound, "white D50", "white D93", "line 1: white 'D93', expected A, C, D50, D55, D65, D75 or E"},
        {sound, "observer 2", "observer 4", "line 1: observer '4', expected 2 or 10"},
        {sound, "observer 2, ", "", "line 1: the header names no observer"},
        {sound, ", scale 100", "", "line 2: the header names no scale"},
        {sound, "scale 100", "scale 0", "line 1: scale '0', expected Y"},
        {sound, "scale 100", "size 100", "line 1: 'size 100' in the header, expected '# white D50, observer 2,"},
        {sound, "# white", "# by white", "line 2: no header before the columns"},
        {sound, "X,Y,Z", "R,G,B", "line 2: the columns are 'patch,R,G,B', expected patch,X,Y,Z or patch,L,a,b"},
        {sound, "X,Y,Z", "L,a,b", "line 21: the grey 19 (D1) has a chroma of"},
        {sound, line(sound, 22), line(sound, 21).replace(0, 2, "20"), "line 22: the grey 20 (D2) is no darker than"},
        {sound, "scale 100", "scale 1000", "line 21: the white patch 19 (D1) has 0.089"},
        {sound, sound, "", "holds no columns"},
        {table, "D50", "F11", "line 2: white 'F11'"},
        {table, "SAMPLE_ID\tSAMPLE_NAME", "ID NAME", "line 6: the data have no SAMPLE_ID"},
        {table, "XYZ_X", "XYZ_R", "line 6: the data have neither XYZ_X, XYZ_Y, XYZ_Z nor LAB_L"},
        {table, "\"a note\" " + line(sound, 3).substr(2, 5), "a note ", "line 9: 7 columns, expected the format's 6"},
        {table, "END_DATA\n", "", "ends before END_DATA"},
    };
    const TemporaryFolder folder;
    for (const auto& [from, old, changed, expected] : cases) {
        SCOPED_TRACE(expected);
        std::string text = from;
        text.replace(text.find(old), old.size(), changed);
        write_text(folder / "r.csv", text);
        try {
            (void)host::read_chart_reference(folder / "r.csv");
            ADD_FAILURE();
        } catch (const host::InputError& problem) {
            const std::string what = problem.what();
            EXPECT_NE(what.find(std::string("r.csv: ") + expected), std::string::npos) << what;
        }
    }
}

/// A chart whose colours are others than the built-in ones, by a matrix, and a fifth darker.
class MeasuredChart : public ::testing::Test {
protected:
    MeasuredChart() {
        run_line(folder_.path(), "simulate . --size 480x320 --illuminants 5000 --dark-frames 1 --bend 0 --seed 4");
        write_text(folder_ / "ref.csv",
                   csv("# white D65, observer 2, scale 100\npatch,X,Y,Z", xyz_of(reference_, 65, 100)));
        std::string session = read_text(folder_ / "session.toml");
        write_text(folder_ / "measured.toml", replaced(session, "[colour_matrix]\n",
                                                       "[colour_matrix]\nreference = \"ref.csv\"\nmethod = "
                                                       "\"measured\"\n"));
    }

    static std::vector<Colour> other_colours() {
        constexpr std::array<Colour, 3> kChange = {{{0.8, 0.2, 0}, {0.1, 0.85, 0.05}, {-0.05, 0.2, 0.85}}};
        std::vector<Colour> colours;
        for (const Colour& rgb : host::built_in_colours()) {
            Colour& out = colours.emplace_back();
            for (std::size_t r = 0; r < 3; ++r) {
                out[r] = 0.8 * (kChange[r][0] * rgb[0] + kChange[r][1] * rgb[1] + kChange[r][2] * rgb[2]);
            }
        }
        return colours;
    }

    const TemporaryFolder folder_;
    const std::vector<Colour> reference_ = other_colours();
};

TEST_F(MeasuredChart, SessionFitsAndJudgesByIt) {
    run_line(folder_.path(), "calibrate measured.toml --only blc,lsc,awb,ccm,clut");
    const json results = read_json(folder_ / "results.json");
    const json& found = results["colour_matrix"][0];
    EXPECT_EQ(found["method"], "measured");
    EXPECT_EQ(found["reference"], "ref.csv");
    EXPECT_EQ(found["made"]["inputs"][1]["file"], "ref.csv");
    EXPECT_EQ(found["made"]["in_force"].back()["value"], "ref.csv, white D65, observer 2");
    EXPECT_EQ(results["colour_table"][0]["reference"], "ref.csv");

    // The simulated patches, without noise or shading, become the reference.
    const json light = read_json(folder_ / "truth.json")["illuminants"][0];
    const auto camera = light["chart_camera"].get<std::vector<Colour>>();
    const auto white = light["camera_white"].get<Colour>();
    const auto matrix = found["matrix"].get<std::array<Colour, 3>>();
    const double exposure = reference_[20][1] / (camera[20][1] / white[1]);
    for (std::size_t i = 0; i < reference_.size(); ++i) {
        for (std::size_t r = 0; r < 3; ++r) {
            double value = 0;
            for (std::size_t c = 0; c < 3; ++c) {
                value += matrix[r][c] * camera[i][c] / white[c] * exposure;
            }
            EXPECT_NEAR(value, reference_[i][r], 0.004) << i << ", " << r;
        }
    }
    for (std::size_t r = 0; r < 3; ++r) {
        EXPECT_NEAR(matrix[r][0] + matrix[r][1] + matrix[r][2], 1, 2e-7);
        const auto q10 = found["matrix_q10"][r].get<std::array<int, 3>>();
        EXPECT_EQ(q10[0] + q10[1] + q10[2], 1024);
        EXPECT_EQ(q10[0], static_cast<int>(1024 * matrix[r][0] + 0.5));
    }
    EXPECT_LT(found["difference_after"]["de_2000"]["mean"], 0.4);
    EXPECT_LT(found["leave_one_out_de_2000"], 0.5);
    EXPECT_FALSE(results["colour_table"][0]["needed"]);

    // Results keep it: the file is not asked for again.
    std::filesystem::remove(folder_ / "ref.csv");
    const std::string proof = run_line(folder_.path(),
                                       "verify chart_5000K.raw --session session.toml --results "
                                       "results.json --as chart --json");
    const json other = json::parse(proof);
    for (const json& figure : other["sections"][0]["figures"]) {
        if (figure["name"] == "after_mean_de_2000") {
            EXPECT_EQ(figure["value"], found["difference_after"]["de_2000"]["mean"]);
        }
    }
    EXPECT_NE(run_line(folder_.path(), "clut results.json --nodes 5").find("reference: ref.csv"), std::string::npos);
    expect_errors(folder_, {{"calibrate measured.toml --only ccm", "ref.csv: no such file"}});
}

TEST_F(MeasuredChart, CommandTakesItForExportsThatKeepTheirTable) {
    run_line(folder_.path(), "calibrate session.toml --only blc,lsc,awb,ccm");
    const std::string ccm = "ccm chart_5000K.raw --session session.toml --illuminant 5000 ";
    const std::string printed = run_line(folder_.path(), ccm +
                                                             "--reference ref.csv --new --values results.json "
                                                             "--results other.json --force");
    EXPECT_NE(printed.find("reference: ref.csv"), std::string::npos);
    const json built_in = read_json(folder_ / "results.json")["colour_matrix"][0];
    const json other = read_json(folder_ / "other.json")["colour_matrix"][0];
    EXPECT_EQ(built_in["reference"], "built-in");
    EXPECT_EQ(other["matrix"], built_in["matrix"]);
    EXPECT_GT(other["difference_after"]["de_2000"]["mean"], 2);
    EXPECT_NEAR(other["exposure"].get<double>() / built_in["exposure"].get<double>(), 0.8, 0.002);

    // Before there were others.
    json old = read_json(folder_ / "results.json");
    old["colour_matrix"][0].erase("reference");
    write_text(folder_ / "old.json", old.dump());
    EXPECT_NE(run_line(folder_.path(), "show old.json").find("reference: built-in"), std::string::npos);
    write_text(folder_ / "wrong.csv", replaced(read_text(folder_ / "ref.csv"), "\n24,", "\n23,"));
    expect_errors(folder_, {{ccm + "--method measured", "method measured: the chart's measured colours are not known"},
                            {ccm + "--reference wrong.csv", "wrong.csv: line 26: patch 23 (D5) stands in line 25"},
                            {ccm + "--reference .", ".: cannot be read as a file"},
                            {ccm + "--reference ref.csv --picture ref.csv", "ref.csv"}});
}

}  // namespace
}  // namespace cali::test
