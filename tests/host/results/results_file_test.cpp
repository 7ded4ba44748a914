#include "results/results_file.h"

#include "base/error.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

void write(const std::filesystem::path& file, const host::Results& results) {
    write_text(file, host::results_text(file, results));
}

/// Every section there is: the chain's, the local black levels, and a table.
std::filesystem::path whole_results(const TemporaryFolder& folder) {
    const TemporaryFolder& session = simulated_session();
    json results = read_json(session / "results.json");
    const std::string geometry = " --session " + (session / "session.toml").string();
    run_line(folder.path(),
             "blc " + (session / "dark_1.raw").string() + geometry + " --blocks 6 --results blocks.json");
    run_line(folder.path(), "clut " + (session / "results.json").string() +
                                " --illuminant 5000 --nodes 5 --domain hsv --results clut.json");
    results["black_level"] = read_json(folder / "blocks.json")["black_level"];
    results["colour_table"] = read_json(folder / "clut.json")["colour_table"];
    results["sensor"]["white_level"] = 4000;
    write_text(folder / "whole.json", results.dump());
    return folder / "whole.json";
}

TEST(ResultsFile, IsReadBackWhole) {
    const TemporaryFolder folder;
    const std::filesystem::path file = whole_results(folder);
    write(folder / "again.json", host::read_results(file));
    write(folder / "twice.json", host::read_results(folder / "again.json"));
    EXPECT_EQ(read_text(folder / "again.json"), read_text(folder / "twice.json"));
    EXPECT_EQ(read_json(folder / "again.json"), read_json(file));  // nothing lost, nothing moved
    const json whole = read_json(file);
    // A field that a codec leaves out is missing both ways: the keys that docs/results.md promises.
    const std::pair<const char*, const char*> promised[] = {
        {"", "schema cali_version sensor limits findings calibrations verdict"},
        {"/sensor", "width height pattern bits white_level"},
        {"/black_level/0", "method scale_bits offset_codes restoring_gain mean_codes frames status made"},
        {"/truth", "seed axis_x axis_y gains illuminants"},
        {"/black_level/0/frames/0",
         "file median_in_bounds median mean mean_deviation block_offset_codes histogram measured"},
        {"/lens_shading/0", "file illuminant_k type denoise width height mesh radial uniformity"},
        {"/lens_shading/0/mesh", "cols rows xstep ystep imgx0 imgy0 gain_q9"},
        {"/lens_shading/0/radial", "center_x center_y norm gain_q9"},
        {"/lens_shading/0/uniformity/after_mesh", "corner_to_centre luminance_rms worst_luminance worst_colour_shift"},
        {"/white_balance/0", "file illuminant_k lens_shading window gain_q10 gain unrounded status made"},
        {"/white_balance_curve", "a b c pack reference_k lights table"},
        {"/white_balance_curve/lights/0", "illuminant_k x y fitted_y"},
        {"/colour_matrix/0",
         "file illuminant_k method white_point saturation lens_shading gain_q10 exposure matrix matrix_q10 patches "
         "difference_before difference_after uncertainty leave_one_out_de_2000 left_out_de_2000 picture"},
        {"/colour_matrix/0/patches", "measured corrected reference limited_components"},
        {"/colour_matrix/0/difference_after/de_2000", "mean worst worst_patch per_patch"},
        {"/colour_table/0",
         "file illuminant_k domain nodes strength radius chosen needed limited_components de_2000 table"},
        {"/colour_table/0/de_2000", "before_mean before_worst after_mean after_worst leave_one_out_mean grey_movement"},
        {"/noise/0", "window levels deviation_line variance_line weighted_variance_line registers"},
        {"/noise/0/registers", "slope_format level_format ref_level slope level luma_slope luma_level"}};
    for (const auto& [section, keys] : promised) {
        for (const std::string& key : words(keys)) {
            EXPECT_TRUE(whole[json::json_pointer(section)].contains(key)) << section << ": " << key;
        }
    }
    EXPECT_GT(whole["colour_table"][0]["radius"], 0.0);
}

/// Keys and values stand where docs/results.md says: a codec that swaps two fields reads its own mistake back.
TEST(ResultsFile, FieldsAreWhatTheirNamesSay) {
    host::Results results;
    results.sensor = {640, 480, 1, 10, 1000};
    host::BlackLevelResults& black = results.black_level.emplace_back();
    black.values = {{1, 2, 3, 4}, {1.5F, 2.5F, 3.5F, 4.5F}};
    black.mean[host::kGB] = {64.25, 0.125};
    black.taken.gain = 4;
    results.findings.push_back({"dark_level",
                                host::Severity::warn,
                                {"black_level", "/shots/d.raw", {5000, {}}},
                                "rr",
                                600,
                                "codes",
                                500,
                                "cap the lens"});
    host::WhiteBalance& white = results.white_balance.emplace_back();
    white.file = "/shots/grey.raw";
    white.window = {1, 2, 3, 4};
    white.gains = {1100, 1024, 1200};
    host::NoiseResults& noise = results.noise.emplace_back();
    noise.window = {5, 6, 7, 8};
    noise.registers = {{{1, 11}, {2, 12}, {3, 13}, {4, 14}}};
    noise.luma_registers = {21, 22};
    noise.deviation[host::kGB].slope = 0.5F;
    noise.variance[host::kBB].intercept = 0.25F;
    noise.levels.push_back({"dark", 2, {1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    const json found = json::parse(host::to_json(results, "/shots").dump());
    const auto channels = [](auto rr, auto gr, auto gb, auto bb) {
        return json{{"rr", rr}, {"gr", gr}, {"gb", gb}, {"bb", bb}};
    };
    EXPECT_EQ(found["sensor"],
              (json{{"width", 640}, {"height", 480}, {"pattern", "GBRG"}, {"bits", 10}, {"white_level", 1000}}));
    EXPECT_EQ(found["black_level"][0]["offset_codes"], channels(1, 2, 3, 4));
    EXPECT_EQ(found["black_level"][0]["analogue_gain"], 4.0);
    EXPECT_EQ(found["black_level"][0]["mean_codes"]["gb"], (json{{"value", 64.25}, {"uncertainty", 0.125}}));
    EXPECT_EQ(found["findings"][0], (json{{"code", "dark_level"},
                                          {"severity", "warn"},
                                          {"calibration", "black_level"},
                                          {"capture", "d.raw"},
                                          {"illuminant_k", 5000},
                                          {"place", "rr"},
                                          {"value", 600},
                                          {"unit", "codes"},
                                          {"limit", 500},
                                          {"message", "cap the lens"}}));
    EXPECT_EQ(found["verdict"], "warn");
    EXPECT_EQ(found["calibrations"]["black_level"], "warn");
    EXPECT_EQ(found["calibrations"]["colour_table"], "not done");
    EXPECT_EQ(found["black_level"][0]["restoring_gain"], channels(1.5, 2.5, 3.5, 4.5));
    EXPECT_EQ(found["white_balance"][0]["file"], "grey.raw");
    EXPECT_EQ(found["white_balance"][0]["lens_shading"], "unity");
    EXPECT_EQ(found["white_balance"][0]["window"], (json{{"x", 1}, {"y", 2}, {"width", 3}, {"height", 4}}));
    EXPECT_EQ(found["white_balance"][0]["gain_q10"], (json{{"red", 1100}, {"green", 1024}, {"blue", 1200}}));
    EXPECT_EQ(found["noise"][0]["window"], (json{{"x", 5}, {"y", 6}, {"width", 7}, {"height", 8}}));
    EXPECT_EQ(found["noise"][0]["registers"]["slope"], channels(1, 2, 3, 4));
    EXPECT_EQ(found["noise"][0]["registers"]["level"], channels(11, 12, 13, 14));
    EXPECT_EQ(found["noise"][0]["registers"]["luma_slope"], 21);
    EXPECT_EQ(found["noise"][0]["registers"]["luma_level"], 22);
    EXPECT_EQ(found["noise"][0]["deviation_line"]["gb"]["slope"], 0.5);
    EXPECT_EQ(found["noise"][0]["variance_line"]["bb"]["intercept"], 0.25);
    EXPECT_EQ(found["noise"][0]["levels"][0]["mean"], channels(1.0, 2.0, 3.0, 4.0));
    EXPECT_EQ(found["noise"][0]["levels"][0]["deviation"], channels(5.0, 6.0, 7.0, 8.0));
    EXPECT_EQ(found["noise"][0]["levels"][0]["variance"], channels(9.0, 10.0, 11.0, 12.0));
}

TEST(ResultsFile, NamesOfFilesFollowTheFolder) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "sub");
    const auto name_of = [&](const std::filesystem::path& results) {
        return read_json(results)["white_balance"][0]["file"].get<std::string>();
    };
    host::Results results;
    results.white_balance.emplace_back().file = folder / "sub/grey.raw";
    write(folder / "a.json", results);
    EXPECT_EQ(name_of(folder / "a.json"), "sub/grey.raw");
    EXPECT_EQ(host::read_results(folder / "a.json").white_balance[0].file, folder / "sub/grey.raw");
    write(folder / "sub/b.json", host::read_results(folder / "a.json"));
    EXPECT_EQ(name_of(folder / "sub/b.json"), "grey.raw");
    // Not below the folder: as it was given.
    results.white_balance[0].file = "../elsewhere/grey.raw";
    write(folder / "a.json", results);
    EXPECT_EQ(host::read_results(folder / "a.json").white_balance[0].file, "../elsewhere/grey.raw");
}

TEST(ResultsFile, ErrorsNameTheFieldWhatWasFoundAndWhatWasExpected) {
    const TemporaryFolder folder;
    const json whole = read_json(whole_results(folder));
    const auto error_of = [&](const std::string& text) {
        write_text(folder / "r.json", text);
        return refusal([&] { (void)host::read_results(folder / "r.json"); });
    };
    EXPECT_NE(error_of("{\"schema\": 1, ").find("r.json: no results file of cali: "), std::string::npos);
    EXPECT_NE(error_of("{}").find("r.json: no results file of cali: it has no \"schema\""), std::string::npos);
    EXPECT_NE(error_of("{\"schema\": 9, \"cali_version\": \"\"}").find("schema is 9, expected 3"), std::string::npos);
    const std::tuple<const char*, json, const char*> cases[] = {
        {"/sensor/bits", 17, "sensor.bits is 17, expected a whole number within 8..16"},
        {"/sensor/pattern", "RGBG", "sensor.pattern is 'RGBG', expected BGGR"},
        {"/black_level", 3, "black_level is 3, expected a list"},
        {"/black_level/0/offset_codes/gb", -1,
         "black_level[0].offset_codes.gb is -1, expected a whole number within 0.."},
        {"/black_level/0/method", "mode", "black_level[0].method is 'mode', expected median"},
        {"/black_level/0/frames", 1.5, "black_level[0].frames is 1.5, expected a list"},
        {"/black_level/0/frames/0/median_in_bounds", "yes", "median_in_bounds is \"yes\", expected true or false"},
        {"/black_level/0/frames/0/block_offset_codes/bb", json::array(), "0 blocks of bb, expected 9 as of rr"},
        {"/black_level/0/frames/0/measured/blocks/columns", 0,
         "blocks.columns is 0, expected a whole number within 1.."},
        {"/lens_shading/1/uniformity/before/blocks/rows", 12, "before.blocks.red is 221 blocks, expected 204"},
        {"/lens_shading/1/uniformity/before/blocks/columns", 60000, "blocks.columns is 60000, expected a whole number"},
        {"/colour_matrix/0/picture/png", "iVBO Rw0", "colour_matrix[0].picture.png: is no base64 text"},
        {"/lens_shading/1/file", 1, "lens_shading[1].file is 1, expected a text"},
        {"/lens_shading/1/mesh/rows", 200, "lens_shading[1].mesh.cols and rows: rows is 200, expected 4 to 129"},
        {"/lens_shading/1/mesh/gain_q9/red", {1, 2}, "gain_q9.red is 2 gains, expected 825"},
        {"/lens_shading/1/radial/gain_q9/blue", {1}, "blue is a list of 1, expected 32 elements"},
        {"/white_balance/2/gain_q10/red", 70000, "gain_q10.red is 70000, expected a whole number within 0..65535"},
        {"/white_balance/2/window/x", "0", "white_balance[2].window.x is \"0\", expected a whole number"},
        {"/white_balance_curve/a", "steep", "white_balance_curve.a is \"steep\", expected a number"},
        {"/colour_matrix/0/patches/reference", json::array(), "patches.reference is 0 colours, expected 24"},
        {"/colour_matrix/0/difference_after/de_2000/worst_patch", 25, "worst_patch is 25, expected a whole number"},
        {"/colour_table/0/nodes", 6, "table is 375 values, expected 648"},
        {"/findings/0/severity", "bad", "findings[0].severity is 'bad', expected pass, warn or fail"},
        {"/limits/dark_level", {3, 2}, "limits.dark_level is [3, 2], expected two finite numbers"},
        {"/black_level/0/made/inputs/0/bytes", -1, "made.inputs[0].bytes is -1, expected a whole number within 0.."},
        {"/noise/0/registers/ref_level", json::array(), "noise[0].registers.ref_level is a list, expected"},
    };
    for (const auto& [pointer, value, expected] : cases) {
        json broken = whole;
        broken[json::json_pointer(pointer)] = value;
        const std::string error = error_of(broken.dump());
        EXPECT_NE(error.find(expected), std::string::npos) << pointer << ": " << error;
    }
}

}  // namespace
}  // namespace cali::test
