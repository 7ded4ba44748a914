// What the program says, where, and with which status.

#include "cali/cali.h"
#include "captures/pgm_file.h"
#include "captures/raw_file.h"
#include "support/program.h"

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

    TemporaryFolder folder_;
};

TEST_F(CommandLine, WrongInputIsOneLineAndStatus2AndWritesNothing) {
    write_text(folder_ / "cut.raw", std::string(100, 'x'));
    write_text(folder_ / "missing.toml", "[captures]\ndark = \"gone.raw\"\n[sensor]\npattern = \"RGGB\"\n");
    write_text(
        folder_ / "none.json",
        R"({"schema": 3, "cali_version": "", "sensor": {"width": 32, "height": 32, "pattern": "RGGB", "bits": 12},
                   "limits": {}, "findings": [], "verdict": "pass"})");
    write_text(folder_ / "other.json", replaced(read_text(folder_ / "none.json"), "RGGB", "GBRG"));
    write_text(folder_ / "old.json", R"({"schema": 1, "cali_version": ""})");
    write_text(folder_ / "lights.toml", replaced(read_text(folder_ / "s.toml"), "\"grey.raw\"",
                                                 "[{ file = \"grey.raw\", illuminant_k = 5000 }, "
                                                 "{ file = \"grey.pgm\", illuminant_k = 5000 }]"));
    write_text(folder_ / "limits.toml", "[limits]\ndark_lavel = [1, 2]\n");
    write_text(folder_ / "corners.toml",
               read_text(folder_ / "s.toml") + "[colour_matrix]\ncorners = [[0, 0], [99, 0], [99, 60], [0, 60]]\n");
    write_text(folder_ / "empty.toml", "[sensor]\nwidth = 32\n");
    std::filesystem::create_directory(folder_ / "empty");
    host::write_pgm(folder_ / "small.pgm", 16, 16, 12, std::vector<uint16_t>(256, 500));
    expect_errors(
        folder_,
        {{"", "no command is given"},
         {"fly", "fly"},
         {"blc", "FRAME"},
         {"blc gone.raw --session s.toml", "gone.raw: no such file"},
         {"blc cut.raw --session s.toml",
          "cut.raw: truncated: 100 bytes, expected 2048 for 32 x 32 samples of 16 bits, the size by s.toml"},
         {"blc dark.raw --session s.toml --size 16x16", "expected 512 for 16 x 16"},
         {"blc dark.raw --session s.toml --size 16by16", "size is '16by16', expected WIDTHxHEIGHT"},
         {"blc dark.raw --session s.toml --pattern RGBG", "--pattern is 'RGBG', expected BGGR"},
         {"blc dark.raw --session s.toml --bits 20", "--bits is 20, expected 8 to 16"},
         {"blc dark.raw --session s.toml --blocks 1", "--blocks: Value 1 not in range"},
         {"blc dark.raw --session s.toml --method best", "--method is 'best', expected median"},
         {"blc dark.raw --session s.toml --results no/such/r.json",
          "no/such/r.json: cannot be written: there is no folder such"},
         {"blc dark.raw --session s.toml --json --results -", "--json and --results - both write to standard output"},
         {"clut none.json --verbose --cube -", "--verbose and --cube - both write to standard output"},
         {"chart grey.raw --session s.toml --json --picture -", "both write to standard output"},
         {"blc dark.raw --session s.toml --results dark.raw", "is also the dark frame dark.raw"},
         {"blc dark.raw --session s.toml --results grey.pgm", "grey.pgm: no results file of cali"},
         {"blc dark.raw --session s.toml --new --results s.toml", "is also the session s.toml"},
         {"lsc grey.raw --session s.toml --log grey.raw", "is also the flat field grey.raw"},
         {"awb grey.raw --session s.toml --log grey.raw", "is also the grey card grey.raw"},
         {"ccm grey.raw --session s.toml --log grey.raw", "is also the chart grey.raw"},
         {"ccm grey.raw --session s.toml --reference cut.raw --log cut.raw", "is also --reference cut.raw"},
         {"noise --session s.toml --level dark.raw --level grey.raw --log grey.raw", "is also the frame grey.raw"},
         {"awb grey.raw --session s.toml --limits limits.toml --log limits.toml", "is also --limits limits.toml"},
         {"awb grey.raw --session s.toml --black-level none.json --log none.json", "is also --black-level none.json"},
         {"awb grey.raw --session s.toml --lens-shading none.json --log none.json", "is also --lens-shading none.json"},
         {"calibrate s.toml --log s.toml", "is also the session s.toml"},
         {"verify grey.raw --session s.toml --results none.json --out grey.raw", "is also the capture grey.raw"},
         {"verify grey.raw --session s.toml --results none.json --out none.json", "is also --results none.json"},
         {"chart grey.raw --session s.toml --picture grey.raw", "is also the capture grey.raw"},
         {"clut none.json --log none.json", "is also the RESULTS none.json"},
         {"export none.json --format csv --out none.json", "is also the results none.json"},
         {"export none.json --format rkisp1 --update s.toml --out s.toml", "is also --update s.toml"},
         {"report none.json --out none.json", "is also the results none.json"},
         {"blc dark.raw --session s.toml --new --results grey.raw", "grey.raw: no results file of cali"},
         {"blc dark.raw --session s.toml --results old.json", "old.json: its schema is 1, expected 3"},
         {"blc dark.raw --session s.toml --results other.json",
          "dark.raw: 32 x 32, RGGB, 12 bits; other.json: 32 x 32, GBRG, 12 bits: expected one sensor"},
         {"blc dark.raw --session s.toml --limits limits.toml",
          "limits.toml: limits: dark_lavel: there is no check of that name"},
         {"blc dark.raw --session s.toml --log results.json --results results.json", "--log results.json"},
         {"awb grey.raw --session s.toml --black-level 64,66", "--black-level is '64,66', expected a file, one whole"},
         {"awb grey.raw --session s.toml --black-level 5000", "--black-level is 5000, expected 0 to 4095"},
         {"awb grey.raw --session s.toml --black-level other.json", "expected one sensor"},
         {"calibrate lights.toml", "lights.toml: captures: grey: grey.raw and grey.pgm are both of 5000 K"},
         {"calibrate s.toml --only awb,lsc", "s.toml: --only lsc: no flat field ([captures] flat)"},
         {"diff none.json other.json", "expected one sensor"},
         {"show s.toml", "s.toml: no results file of cali"},
         {"verify grey.raw --session s.toml --results none.json", "none.json: holds no black level"},
         {"verify dark.raw --session s.toml --results none.json", "expected --as, or --out for a corrected frame"},
         {"blc dark.raw --session s.toml --results .", "is a folder"},
         {"blc dark.raw --session s.toml --log /dev/full", "/dev/full: the log cannot be written", 1},
         {"blc dark.raw --session s.toml --log no/such/log", "no/such/log: cannot be written as the log"},
         {"blc dark.raw --session s.toml -v --log l", "--verbose excludes --log"},
         {"blc dark.raw --session gone.toml", "gone.toml: no such session file"},
         {"blc grey.pgm --session s.toml --size 64x64", "32 x 32 samples, expected 64 x 64 by --size"},
         {"awb grey.raw --session s.toml --black-level gone.json", "gone.json: no such results file"},
         {"awb grey.raw --session s.toml --black-level none.json", "none.json: holds no black level"},
         {"awb grey.raw --session s.toml --window 0 0 32 8", "the window [0, 0, 32, 8] does not fit"},
         {"awb grey.raw --session s.toml --window 0 0 8", "--window"},
         {"awb grey.raw --session s.toml --illuminant nan", "nan not in range 1000 to 40000"},
         {"awb grey.raw --session s.toml --lens-shading none.json", "none.json: holds no lens shading"},
         {"awb-curve none.json", "none.json: white balance for 0 lights of known temperature"},
         {"lsc grey.raw --session s.toml --grid 17", "--grid is '17', expected COLSxROWS"},
         {"lsc grey.raw --session s.toml --grid 69x70", "--grid has 4830 nodes, expected at most 4761"},
         {"lsc grey.raw --session s.toml --type hue", "--type is 'hue', expected chroma_and_luma"},
         {"ccm grey.raw --session corners.toml", "inside the frame of 32 x 32"},
         {"ccm grey.raw --session s.toml --method best", "--method is 'best'"},
         {"ccm grey.raw --session s.toml --white D55", "--white is 'D55'"},
         {"ccm grey.raw --session s.toml --saturation nan", "nan not in range 0 to 4"},
         {"ccm grey.raw --session s.toml --corners 0 0 9 9 9 0 0 9", "corners"},
         {"clut none.json", "none.json: holds no colour matrix"},
         {"clut none.json --nodes 66", "--nodes"},
         {"clut none.json --domain lab", "--domain"},
         {"verify grey.raw --session s.toml --results none.json --out o.pgm", "none.json: holds no black level"},
         {"calibrate gone.toml", "gone.toml: no such session file"},
         {"calibrate missing.toml --out new", "gone.raw: no such file"},
         {"calibrate empty.toml", "empty.toml: nothing can be calibrated: no dark frame"},
         {"noise --session s.toml", "no series is given"},
         {"noise --session s.toml --level grey.raw", "the noise series has 1 level, expected two or more"},
         {"noise --session s.toml --level grey.raw --level gone_*", "gone_*: matches no file"},
         {"noise --pattern RGGB --level grey.pgm --level small.pgm",
          "small.pgm: 16 x 16 samples of 12 bits, expected 32 x 32 of 12 as in grey.pgm"},
         {"noise empty --session s.toml", "empty: holds no captures"},
         {"noise empty --session s.toml --level grey.raw", "both a folder and --level"},
         {"noise --session s.toml --level grey.raw --level dark.raw --window 0 0 33 32",
          "the window [0, 0, 33, 32], expected even numbers inside"},
         {"noise --session s.toml --slope-format U4", "no series is given"},
         {"noise --session s.toml --level grey.raw --slope-format U4", "--slope-format is 'U4', expected a format"},
         {"simulate out --size 2x2", "width is 2, expected 24 to 8192"},
         {"simulate out --bits 17", "--bits: Value 17 not in range"},
         {"simulate out --format bmp", "--format: bmp not in {raw,pgm,both,tiff,"},
         {"simulate out --format mipi --bits 11", "no packing holds 11 bits, expected --bits 10, 12 or 14"},
         {"blc dark.raw --session s.toml --packing raw9", "--packing is 'raw9', expected none, raw10, raw12 or raw14"},
         {"blc dark.raw --session s.toml --byte-order middle", "--byte-order is 'middle', expected little or big"},
         {"blc dark.raw --session s.toml --pattern RGBW",
          "--pattern is 'RGBW', expected BGGR, GBRG, GRBG, RGGB or MONO"},
         {"simulate out --illuminants 1600", "1600 not in range 1667 to 25000"},
         {"simulate out --illuminants 5000 4999.8", "two lights would give files named chart_5000K.pgm"},
         {"simulate out --bend 1.1", "1.1 not in range -1 to 1"},
         {"simulate out --read-noise -1", "-1 not in range 0 to 200"},
         {"simulate out --conversion-gain 101", "101 not in range 0 to 100"},
         {"simulate out --dark-frames 0", "--dark-frames: Value 0 not in range"},
         {"simulate dark.raw", "dark.raw: is no folder and cannot be made one"}});
}

TEST_F(CommandLine, HelpHasExamplesAndVersionIsPrinted) {
    for (const char* command : {"simulate", "blc", "lsc", "awb", "awb-curve", "ccm", "clut", "noise", "calibrate",
                                "verify", "show", "diff", "help"}) {
        const std::string help = run_line(folder_.path(), std::string(command) + " --help");
        EXPECT_NE(help.find(std::string("Examples:\n  cali ") + command), std::string::npos) << help;
    }
    EXPECT_EQ(run_line(folder_.path(), "--version").rfind("cali " CALI_VERSION_STRING "\nraw files of cameras: ", 0),
              0U);
}

TEST_F(CommandLine, TheLibrarysOutputStaysApart) {
    const ProgramRun quiet = run_program(folder_.path(), {"calibrate", "s.toml"});
    EXPECT_EQ(quiet.status, 0) << quiet.err;
    EXPECT_EQ(quiet.out.find("LSC..."), std::string::npos);
    EXPECT_EQ(quiet.err, "1 of 2: dark.raw\n2 of 2: grey.raw\n");

    const ProgramRun verbose = run_program(folder_.path(), {"calibrate", "s.toml", "-v"});
    EXPECT_NE(verbose.out.find("  pass: dark.raw: dark_level is 64 codes"), std::string::npos) << verbose.out;
    EXPECT_NE(verbose.err.find("blc result=0\n"), std::string::npos);
    EXPECT_NE(verbose.err.find("LSC...100%"), std::string::npos);

    EXPECT_EQ(run_line(folder_.path(), "calibrate s.toml --log lib.log"), quiet.out);
    const std::string log = read_text(folder_ / "lib.log");
    const std::size_t mean = log.find("== cali_blc_calc_by_mean\nblc result=0\n");
    const std::size_t gains = log.find("== cali_awb_calc\nLSC...");
    ASSERT_NE(gains, std::string::npos) << log;
    EXPECT_LT(mean, gains);
}

TEST_F(CommandLine, ProgressCountsEveryFrame) {
    const ProgramRun run =
        run_program(folder_.path(), words("noise --session s.toml --level dark.raw --level grey.raw --progress"));
    EXPECT_NE(run.err.find("1 of 2: dark.raw\n2 of 2: grey.raw\n"), std::string::npos) << run.err;
}

/// A run that fails its checks leaves results that say so, and nothing else; forced, they are applied.
TEST_F(CommandLine, FailedChecksEndWithStatus1AndAreNotApplied) {
    const ProgramRun bright = run_program(folder_.path(), words("blc grey.raw --session s.toml"));
    EXPECT_EQ(bright.status, 1);
    EXPECT_NE(bright.err.find("cali: fail: grey.raw: dark_level is 1000 codes (rr), limit 800"), std::string::npos)
        << bright.err;
    EXPECT_NE(bright.out.find("verdict: fail"), std::string::npos);
    EXPECT_EQ(read_json(folder_ / "results.json")["black_level"][0]["status"], "rejected");
    const ProgramRun refused = run_program(folder_.path(), words("awb grey.raw --session s.toml"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("results.json: black_level was rejected (dark_level"), std::string::npos) << refused.err;
    // Forced, it is applied: then nothing of the card is left.
    const ProgramRun forced = run_program(folder_.path(), words("awb grey.raw --session s.toml --force"));
    EXPECT_EQ(forced.status, 1);
    EXPECT_NE(forced.err.find("not_computed: grey.raw: red or blue has no signal above black"), std::string::npos)
        << forced.err;
    // Warnings are status 0, or 3 where that is asked for.
    host::write_raw(folder_ / "pale.raw", std::vector<uint16_t>(32 * 32, 600));
    EXPECT_EQ(run_program(folder_.path(), words("blc pale.raw --session s.toml")).status, 0);
    EXPECT_EQ(run_program(folder_.path(), words("blc pale.raw --session s.toml --strict")).status, 3);
    write_text(folder_ / "l.toml", "[limits]\ndark_level = [700, 800]\n");
    EXPECT_EQ(run_program(folder_.path(), words("blc pale.raw --session s.toml --strict --limits l.toml")).status, 0);
}

}  // namespace
}  // namespace cali::test
