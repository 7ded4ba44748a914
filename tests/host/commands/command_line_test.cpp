// What the program says, where, and with which status.

#include <gtest/gtest.h>

#include <algorithm>

#include "cali/cali.h"
#include "captures/capture.h"
#include "program.h"

namespace cali::test {
namespace {

class CommandLine : public ::testing::Test {
protected:
    void SetUp() override {
        host::write_raw(folder_ / "dark.raw", std::vector<uint16_t>(32 * 32, 64));
        std::vector<uint16_t> grey(32 * 32, 1000);
        host::write_raw(folder_ / "grey.raw", grey);
        host::write_pgm(folder_ / "grey.pgm", 32, 32, 12, grey);
        write_text(folder_ / "s.toml",
                   "[sensor]\nwidth = 32\nheight = 32\npattern = \"RGGB\"\nbits = 12\n"
                   "[captures]\ndark = \"dark.raw\"\ngrey = \"grey.raw\"\n");
    }

    ProgramRun run(const std::vector<std::string>& arguments) const { return run_program(folder_.path(), arguments); }

    TemporaryFolder folder_;
};

TEST_F(CommandLine, WrongInputIsOneLineAndStatus2AndWritesNothing) {
    write_text(folder_ / "cut.raw", std::string(100, 'x'));
    write_text(folder_ / "broken.json", "{\"schema\": 1, \"black_level\": {}}");
    write_text(folder_ / "other.json", "{\"schema\": 9}");
    write_text(folder_ / "missing.toml", "[captures]\ndark = \"gone.raw\"\n[sensor]\npattern = \"RGGB\"\n");
    write_text(folder_ / "nomesh.json", "{\"schema\": 1}");
    write_text(
        folder_ / "mesh.json",
        R"({"schema": 1, "lens_shading": [{"file": "f", "mesh": {"cols": 4, "rows": 4, "gain_q9": {"red": [1, 2]}}}]})");
    write_text(folder_ / "grid.toml", "[lens_shading]\ngrid = [129, 129]\n");
    write_text(folder_ / "empty.toml", "[sensor]\nwidth = 32\n");
    const std::vector<std::string> before = folder_.names();
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "no command is given"},
        {{"fly"}, "fly"},
        {{"blc"}, "FRAME"},
        {{"blc", "gone.raw", "--session", "s.toml"}, "gone.raw: no such file"},
        {{"blc", "cut.raw", "--session", "s.toml"},
         "cut.raw: truncated: 100 bytes, expected 2048 for 32 x 32 samples of 16 bits, the size by s.toml"},
        {{"blc", "dark.raw", "--session", "s.toml", "--size", "16x16"}, "expected 512 for 16 x 16"},
        {{"blc", "dark.raw", "--session", "s.toml", "--size", "16by16"}, "size is '16by16', expected WIDTHxHEIGHT"},
        {{"blc", "dark.raw", "--session", "s.toml", "--pattern", "RGBG"}, "--pattern is 'RGBG', expected BGGR"},
        {{"blc", "dark.raw", "--session", "s.toml", "--bits", "20"}, "--bits is 20, expected 8 to 16"},
        {{"blc", "dark.raw", "--session", "s.toml", "--method", "best"}, "--method is 'best', expected median"},
        {{"blc", "dark.raw", "--session", "s.toml", "--results", "no/such/r.json"},
         "no/such/r.json: cannot be written"},
        {{"blc", "dark.raw", "--session", "s.toml", "--results", "."}, "is a folder"},
        {{"blc", "dark.raw", "--session", "gone.toml"}, "gone.toml: no such session file"},
        {{"blc", "grey.pgm", "--session", "s.toml", "--size", "64x64"}, "32 x 32 samples, expected 64 x 64 by --size"},
        {{"awb", "grey.raw", "--session", "s.toml", "--black-level", "gone.json"}, "gone.json: no such results file"},
        {{"awb", "grey.raw", "--session", "s.toml", "--black-level", "broken.json"}, "broken.json: not a results file"},
        {{"awb", "grey.raw", "--session", "s.toml", "--black-level", "other.json"}, "schema 9, expected 1"},
        {{"awb", "grey.raw", "--session", "s.toml", "--window", "0", "0", "32", "8"},
         "the window [0, 0, 32, 8] does not fit"},
        {{"awb", "grey.raw", "--session", "s.toml", "--lens-shading", "nomesh.json"},
         "nomesh.json: holds no lens shading"},
        {{"lsc", "grey.raw", "--session", "s.toml", "--grid", "17"}, "--grid is '17', expected COLSxROWS"},
        {{"lsc", "grey.raw", "--session", "s.toml", "--grid", "3x13"}, "--grid: columns is 3, expected 4 to 129"},
        {{"lsc", "grey.raw", "--session", "s.toml", "--grid", "69x70"}, "--grid has 4830 nodes, expected at most 4761"},
        {{"lsc", "grey.raw", "--session", "s.toml", "--type", "hue"}, "--type is 'hue', expected chroma_and_luma"},
        {{"calibrate", "grid.toml"}, "grid.toml: lens_shading: grid has 16641 nodes"},
        {{"verify", "grey.raw", "--session", "s.toml", "--results", "mesh.json", "--out", "o.pgm"},
         "mesh.json: mesh: 2 gains, expected 16"},
        {{"verify", "grey.raw", "--session", "s.toml", "--results", "other.json", "--out", "o.pgm"}, "schema 9"},
        {{"calibrate", "gone.toml"}, "gone.toml: no such session file"},
        {{"calibrate", "missing.toml"}, "gone.raw: no such file"},
        {{"calibrate", "empty.toml"}, "dark names no file"},
        {{"simulate", "out", "--size", "2x2"}, "width is 2, expected 24 to 8192"},
        {{"simulate", "dark.raw"}, "dark.raw: is no folder and cannot be made one"},
    };
    for (const auto& [arguments, expected] : cases) {
        SCOPED_TRACE(expected);
        const ProgramRun result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
        // awb says first that it subtracts no black level; the error itself is one line.
        const std::string error = result.err.substr(result.err.rfind("cali: "));
        EXPECT_EQ(std::ranges::count(error, '\n'), 1) << result.err;
        EXPECT_EQ(folder_.names(), before);
    }
}

TEST_F(CommandLine, HelpHasExamplesAndVersionIsPrinted) {
    for (const char* command :
         {"simulate", "blc", "lsc", "awb", "awb-curve", "ccm", "clut", "noise", "calibrate", "verify"}) {
        const ProgramRun help = run({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.out.find(std::string("Examples:\n  cali ") + command), std::string::npos) << help.out;
    }
    EXPECT_EQ(run({"--version"}).out, "cali " CALI_VERSION_STRING "\n");
}

TEST_F(CommandLine, TheLibrarysOutputStaysApart) {
    const ProgramRun quiet = run({"calibrate", "s.toml"});
    EXPECT_EQ(quiet.status, 0) << quiet.err;
    EXPECT_EQ(quiet.out.find("LSC..."), std::string::npos);
    EXPECT_EQ(quiet.err, "");

    const ProgramRun verbose = run({"calibrate", "s.toml", "-v"});
    EXPECT_EQ(verbose.out, quiet.out);
    EXPECT_NE(verbose.err.find("blc result=0\n"), std::string::npos);
    EXPECT_NE(verbose.err.find("LSC...100%"), std::string::npos);

    const ProgramRun logged = run({"calibrate", "s.toml", "--log", "lib.log"});
    EXPECT_EQ(logged.out, quiet.out);
    const std::string log = read_text(folder_ / "lib.log");
    const std::size_t mean = log.find("== cali_blc_calc_by_mean\nblc result=0\n");
    const std::size_t gains = log.find("== cali_awb_calc\nLSC...");
    EXPECT_NE(mean, std::string::npos) << log;
    EXPECT_NE(gains, std::string::npos) << log;
    EXPECT_LT(mean, gains);
}

TEST_F(CommandLine, ChoosesAmongSeveralLights) {
    write_text(folder_ / "two.toml",
               read_text(folder_ / "s.toml") + "chart = []\n[white_balance]\nwindow = [4, 4, 16, 16]\n");
    std::string text = read_text(folder_ / "two.toml");
    const std::string plain = "grey = \"grey.raw\"";
    text.replace(text.find(plain), plain.size(),
                 "grey = [{ file = \"grey.raw\", illuminant_k = 3000 }, { file = \"grey.raw\", illuminant_k = 6500 }]");
    write_text(folder_ / "two.toml", text);
    ASSERT_EQ(run({"calibrate", "two.toml"}).status, 0);
    EXPECT_EQ(read_json(folder_ / "results.json")["white_balance"][1]["window"]["width"], 16);
    std::vector<std::string> arguments = {"verify",    "grey.raw",     "--session", "s.toml",
                                          "--results", "results.json", "--out",     "o.raw"};
    const ProgramRun unclear = run(arguments);
    EXPECT_EQ(unclear.status, 2);
    EXPECT_NE(unclear.err.find("holds white balance for 3000 K, 6500 K; choose one with --illuminant"),
              std::string::npos);
    arguments.insert(arguments.end(), {"--illuminant", "6500"});
    EXPECT_EQ(run(arguments).status, 0);
    EXPECT_EQ(read_text(folder_ / "o.raw").size(), 2048U);
}

TEST_F(CommandLine, AGreyCardWithoutSignalIsAFailureOfTheCalibration) {
    ASSERT_EQ(run({"blc", "grey.raw", "--session", "s.toml"}).status, 0);  // as black as grey
    const ProgramRun result =
        run({"awb", "grey.raw", "--session", "s.toml", "--black-level", "results.json", "--results", "awb.json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("grey.raw: red or blue has no signal"), std::string::npos) << result.err;
    EXPECT_EQ(read_text(folder_ / "awb.json"), "");
}

}  // namespace
}  // namespace cali::test
