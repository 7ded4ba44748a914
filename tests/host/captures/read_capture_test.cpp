#include "captures/read_capture.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "captures/pgm_file.h"
#include "captures/raw_file.h"
#include "support/program.h"

namespace cali::test {
namespace {

using host::Capture;
using host::Geometry;

Geometry geometry(std::optional<int> width, std::optional<int> height, std::optional<int> bits) {
    return {width, height, 3, bits, "the test"};
}

TEST(LibraryScale, ShiftsUpAndRoundsDown) {
    EXPECT_EQ(host::to_library_scale(255, 8), 4080U);
    EXPECT_EQ(host::to_library_scale(1023, 10), 4092U);
    EXPECT_EQ(host::to_library_scale(4095, 12), 4095U);
    EXPECT_EQ(host::to_library_scale(1, 13), 1U);  // half a code rounds up
    EXPECT_EQ(host::to_library_scale(600, 14), 150U);
    EXPECT_EQ(host::to_library_scale(601, 14), 150U);
    EXPECT_EQ(host::to_library_scale(602, 14), 151U);
    EXPECT_EQ(host::to_library_scale(65527, 16), 4095U);
    EXPECT_EQ(host::to_library_scale(65535, 16), 4095U);  // 4096 by rounding alone
}

TEST(Capture, RawAndPgmReadBackWhatWasWritten) {
    const TemporaryFolder folder;
    for (const int bits : {8, 10, 12, 14, 16}) {
        SCOPED_TRACE(bits);
        std::vector<uint16_t> samples;
        for (uint32_t i = 0; i < 15; ++i) {
            samples.push_back(static_cast<uint16_t>(((1U << static_cast<unsigned>(bits)) - 1U) * i / 14));
        }
        host::write_raw(folder / "a.raw", samples);
        host::write_pgm(folder / "a.pgm", 5, 3, bits, samples);
        const Capture raw = host::read_capture(folder / "a.raw", geometry(5, 3, bits));
        const Capture pgm = host::read_capture(folder / "a.pgm", geometry({}, {}, {}));
        EXPECT_EQ(pgm.sensor.bits, bits);
        EXPECT_EQ(pgm.sensor.white_level, (1 << bits) - 1);
        EXPECT_EQ(host::full_scale_code(pgm.sensor), host::to_library_scale(samples.back(), bits));
        EXPECT_EQ(pgm.sensor.width, 5);
        EXPECT_EQ(pgm.sensor.height, 3);
        ASSERT_EQ(raw.samples.size(), 15U);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            EXPECT_EQ(raw.samples[i], host::to_library_scale(samples[i], bits));
        }
        EXPECT_EQ(raw.samples, pgm.samples);
    }
}

TEST(Capture, ByteOrderAndNarrowSamples) {
    const TemporaryFolder folder;
    write_text(folder / "le.raw", std::string("\x01\x02\x03\x04", 4));
    EXPECT_EQ(host::read_capture(folder / "le.raw", geometry(2, 1, 12)).samples, (host::Samples{0x201, 0x403}));
    write_text(folder / "be.PGM", "P5 # a remark\n# another\n2 1\n4095\n\x01\x02\x03\x04");
    EXPECT_EQ(host::read_capture(folder / "be.PGM", geometry({}, {}, {})).samples, (host::Samples{0x102, 0x304}));
    write_text(folder / "bytes.raw", std::string("\x01\xFF", 2));
    EXPECT_EQ(host::read_capture(folder / "bytes.raw", geometry(2, 1, 8)).samples, (host::Samples{16, 4080}));
    // Known by its content, whatever its name.
    write_text(folder / "named.raw", "P5\n2 1\n255\n\x01\xFF");
    EXPECT_EQ(host::read_capture(folder / "named.raw", geometry({}, {}, {})).samples, (host::Samples{16, 4080}));
    // A depth that is given counts more than the header's maximum value.
    write_text(folder / "loose.pgm", "P5 2 1 65535\n\x01\x02\x03\x04");
    EXPECT_EQ(host::read_capture(folder / "loose.pgm", geometry({}, {}, 12)).samples, (host::Samples{0x102, 0x304}));
}

TEST(Capture, ErrorsNameTheFileWhatWasFoundAndWhatWasExpected) {
    const TemporaryFolder folder;
    const auto file = [&](const std::string& name, const std::string& text) {
        write_text(folder / name, text);
        return folder / name;
    };
    const std::string four(4, '\1');
    Geometry without_pattern = geometry(2, 1, 12);
    without_pattern.pattern.reset();
    struct Case {
        std::filesystem::path file;
        Geometry given;
        std::string expected;
    };
    const Case cases[] = {
        {folder / "none.raw", geometry(2, 1, 12), "none.raw: no such file"},
        {folder.path(), geometry(2, 1, 12), "cannot be read as a file"},
        {file("short.raw", "ab"), geometry(2, 1, 12), "short.raw: truncated: 2 bytes, expected 4 for 2 x 1"},
        {file("a.jpg", "\xFF\xD8\xFF"), geometry(2, 1, 13), "a.jpg: is JPEG, which is not read"},
        {file("a.dng", "abcd"), geometry(2, 1, 12), "a.dng: cannot be read as TIFF: "},
        {file("a.png", "abcd"), geometry(2, 1, 12), "a.png: cannot be read as PNG: "},
        {file("long.raw", "abcdef"), geometry(2, 1, 12), "long.raw: 6 bytes, expected 4"},
        {file("empty.raw", ""), geometry(2, 1, 12), "empty.raw: truncated: 0 bytes"},
        {file("a.raw", four), geometry({}, {}, 12), "its size is not known, expected --size"},
        {file("a.raw", four), geometry(2, 1, {}), "its bit depth is not known, expected --bits"},
        {file("a.raw", four), without_pattern, "its colour pattern is not known, expected --pattern"},
        {file("swapped.raw", std::string("\x01\x10\x00\x10", 4)), geometry(2, 1, 12),
         "not little-endian 16-bit words: codes exceed 12 bits, swapped ones do not; expected --byte-order big"},
        {file("deep.raw", std::string("\x00\x00\x11\x11", 4)), geometry(2, 1, 12),
         "the sample at column 1, row 0 is 4369, expected at most 4095 (12 bits)"},
        {file("p2.pgm", "P2 1 1 255 0"), geometry({}, {}, {}),
         "p2.pgm: not a binary PGM, expected it to start with P5"},
        {file("cut.pgm", "P5 2"), geometry({}, {}, {}), "the PGM header has no height"},
        {file("word.pgm", "P5 2 x 255\n"), geometry({}, {}, {}), "the PGM header has no height"},
        {file("zero.pgm", "P5 0 1 255\n"), geometry({}, {}, {}), "width is 0, expected 1 to 65535"},
        {file("deep.pgm", "P5 1 1 70000\n"), geometry({}, {}, {}), "maximum value is 70000, expected 1 to 65535"},
        {file("half.pgm", "P5 2 1 4095\nab"), geometry({}, {}, {}), "truncated: 2 bytes of samples, expected 4"},
        {file("nothing.pgm", "P5 2 1 4095"), geometry({}, {}, {}), "truncated: 0 bytes of samples, expected 4"},
        {file("other.pgm", "P5 2 1 255\nab"), geometry(4, 1, {}), "2 x 1 samples, expected 4 x 1 by the test"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        const std::string error = refusal([&] { (void)host::read_capture(c.file, c.given); });
        EXPECT_NE(error.find(c.expected), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace cali::test
