// Every form of files: the same codes, what each tells beside them, and what becomes of damaged ones.

#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/resource.h>
#endif
#include <tiffio.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "base/error.h"
#include "base/text.h"
#include "captures/dng_file.h"
#include "captures/frame_series.h"
#include "captures/packed_samples.h"
#include "captures/pgm_file.h"
#include "captures/png_file.h"
#include "captures/raw_file.h"
#include "captures/read_capture.h"
#include "captures/tiff_file.h"
#include "support/program.h"

namespace cali::test {
namespace {

using host::Codes;
using host::Geometry;
using host::Packing;

constexpr int kWidth = 67;  // no whole number of groups of a packing
constexpr int kHeight = 48;

Codes some_codes(int bits) {
    std::mt19937 random(static_cast<unsigned>(bits));
    Codes codes(kWidth * kHeight);
    std::ranges::generate(codes, [&] { return static_cast<uint16_t>(random() >> static_cast<unsigned>(32 - bits)); });
    return codes;
}

Geometry geometry(int bits) { return {kWidth, kHeight, 3, bits, "the test"}; }

host::DngContent dng_content(int bits) {
    host::DngContent content;
    content.width = kWidth;
    content.height = kHeight;
    content.bits = bits;
    content.pattern = 3;
    content.active = {0, 0, kHeight, kWidth};
    content.black = {64.25, 65.5, 66.75, 63};
    content.neutral = {0.5, 1, 0.625};
    content.gain = 4;
    content.exposure_ms = 12.5;
    return content;
}

/// An entry of the first directory of a little-endian TIFF.
struct Tag {
    uint16_t number;
    uint16_t type;
    uint32_t count;
    uint32_t value;
};
/// Puts another in the place of a tag and returns the one that was there.
Tag set_tag(std::string& dng, uint16_t number, const Tag& to) {
    uint32_t directory = 0;
    std::memcpy(&directory, &dng[4], sizeof directory);
    Tag found{};
    for (std::size_t at = directory + 2; at + sizeof found <= dng.size(); at += sizeof found) {
        std::memcpy(&found, &dng[at], sizeof found);
        if (found.number == number) {
            std::memcpy(&dng[at], &to, sizeof to);
            return found;
        }
    }
    throw std::logic_error("no such tag");
}

/// A DNG as a grey TIFF: the writer of TIFFs has the directory last.
std::string tiff_with_directory_first(int bits, const Codes& codes) {
    std::string tiff = dng_of(dng_content(bits), codes);
    set_tag(tiff, 50706, {50705, 1, 4, 0});
    set_tag(tiff, 262, {262, 3, 1, 1});
    set_tag(tiff, 284, {281, 3, 1, (1U << static_cast<unsigned>(bits)) - 1U});
    return tiff;
}

constexpr std::array kForms = {
    "a.raw", "packed.raw", "a.pgm", "a.png", "a.tif", "first.tif",
#if CALI_WITH_LIBRAW
    "a.dng",
#endif
};

void write_form(const std::filesystem::path& file, int bits, const Codes& codes) {
    const std::string name = file.filename().string();
    if (name == "packed.raw") {
        host::write_packed(file, kWidth, host::packing_of(bits), codes);
    } else if (name == "first.tif") {
        write_text(file, tiff_with_directory_first(bits, codes));
    } else if (name == "a.raw") {
        host::write_raw(file, codes);
    } else if (name == "a.dng") {
        write_dng(file, dng_content(bits), codes);
    } else {
        void (*write)(const std::filesystem::path&, int, int, int, std::span<const uint16_t>) = host::write_tiff;
        if (name == "a.pgm") {
            write = host::write_pgm;
        } else if (name == "a.png") {
            write = host::write_png;
        }
        write(file, kWidth, kHeight, bits, codes);
    }
}

std::string error_of(const std::filesystem::path& file, const Geometry& given) {
    return refusal([&] { (void)host::read_frame(file, given); });
}

std::string setting(const host::Capture& capture, const std::string& name) {
    for (const host::Setting& each : capture.settings) {
        if (each.name == name) {
            return each.value + " by " + host::kSourceNames[static_cast<std::size_t>(each.source)];
        }
    }
    return "none";
}

TEST(Forms, AllHoldTheSameCodes) {
    const TemporaryFolder folder;
    for (const int bits : {8, 10, 12, 14, 16}) {
        const Codes codes = some_codes(bits);
        for (const std::string form : kForms) {
            if (form == "packed.raw" && host::packing_of(bits) == Packing::none) {
                continue;
            }
            SCOPED_TRACE(host::text("%s, %d bits", form.c_str(), bits));
            write_form(folder / form, bits, codes);
            const bool told = form.ends_with(".raw");
            const host::FileFrame frame =
                host::read_frame(folder / form, told ? geometry(bits) : Geometry{{}, {}, 3, {}});
            EXPECT_EQ(frame.codes, codes);
            EXPECT_TRUE(same_sensor(frame.capture.sensor, {kWidth, kHeight, 3, bits, {}}));
            EXPECT_EQ(setting(frame.capture, "bits"), std::to_string(bits) + (told ? " by session" : " by metadata"));
            const host::Capture probed = host::probe_capture(folder / form, geometry(bits));
            EXPECT_TRUE(same_sensor(probed.sensor, frame.capture.sensor));
        }
    }
}

TEST(HeaderlessRaw, PackingsAsTheInterfaceSendsThem) {
    const struct {
        Packing packing;
        Codes codes;
        std::vector<uint8_t> bytes;
    } cases[] = {
        {Packing::raw10, {0x3FD, 0x002, 0x0FF, 0x100}, {0xFF, 0x00, 0x3F, 0x40, 0b00'11'10'01}},
        {Packing::raw12, {0xABC, 0x123}, {0xAB, 0x12, 0x3C}},
        {Packing::raw14, {0x3FC1, 0x0002, 0x1003, 0x0044}, {0xFF, 0x00, 0x40, 0x01, 0x81, 0x30, 0x10}},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(pack_row(each.packing, each.codes), each.bytes);
        Codes codes(each.codes.size());
        unpack_row(each.packing, each.bytes, codes);
        EXPECT_EQ(codes, each.codes);
    }
}

TEST(HeaderlessRaw, LayoutByGeometryAndName) {
    const TemporaryFolder folder;
    const auto file = folder / "x_2x2_12bits_MONO.raw";
    write_text(file, std::string("HEAD\x01\x02\x03\x04..\x05\x06\x07\x08", 14));  // the last row without its padding
    Geometry given;
    given.layout = {6, 4, true, {}};
    const host::FileFrame frame = host::read_frame(file, given);
    EXPECT_EQ(frame.codes, (Codes{0x102, 0x304, 0x506, 0x708}));
    EXPECT_TRUE(frame.capture.sensor.mono);
    EXPECT_EQ(setting(frame.capture, "pattern"), "MONO by metadata");
    given.layout.stride_bytes = 2;
    EXPECT_NE(error_of(file, given).find("a stride of 2 bytes, expected at least 3"), std::string::npos);
    given.layout = {{}, {}, {}, Packing::raw10};
    given.bits = 12;
    EXPECT_NE(error_of(file, given).find("packing raw10 holds 10 bits a sample"), std::string::npos);
    // What is told counts more than the name.
    given = {2, 1, 2, 8, "the test"};
    write_text(file, "ab");
    EXPECT_TRUE(same_sensor(host::read_frame(file, given).capture.sensor, {2, 1, 2, 8, {}}));

    for (const char* const name : {"noise_1_1_2x1_8bits_RGGB.raw", "noise_1_2_2x1_8bits_RGGB.raw", "noise_2_1.DNG"}) {
        write_text(folder / name, "");
    }
    std::filesystem::remove(file);
    EXPECT_EQ(host::levels_of_folder(folder.path()).size(), 2U);
}

TEST(HeaderlessRaw, SwappedBytesAreSaid) {
    const TemporaryFolder folder;
    const auto file = folder / "a.raw";
    Codes codes = some_codes(9);
    const auto error_with = [&](int bits) {
        host::write_raw(file, codes);
        return error_of(file, geometry(bits));
    };
    for (uint16_t& code : codes) {
        code = static_cast<uint16_t>(code + 20000);
    }
    EXPECT_EQ(error_with(16), "no error");
    const auto swap_all = [&] {
        std::ranges::transform(codes, codes.begin(),
                               [](unsigned code) { return static_cast<uint16_t>(code >> 8U | code << 8U); });
    };
    swap_all();
    EXPECT_NE(error_with(16).find("swapped ones by"), std::string::npos) << error_with(16);
    Geometry big = geometry(16);
    big.layout.big_endian = true;
    swap_all();
    EXPECT_EQ(host::read_frame(file, big).codes, codes);
    // Bytes that were shifted up are smooth swapped, too.
    std::ranges::transform(codes, codes.begin(), [](uint16_t code) { return static_cast<uint16_t>(code << 8U); });
    EXPECT_EQ(error_with(16), "no error");
}

/// Of the chunk with this name, whose content was changed.
void mend_crc(std::string& png, const char* chunk, unsigned bytes) {
    const std::size_t at = png.find(chunk);
    const auto crc = static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(&png[at]), bytes + 4));
    for (unsigned i = 0; i < 4; ++i) {
        png[at + bytes + 4 + i] = static_cast<char>(crc >> (24 - 8 * i));
    }
}

TEST(Png, SignificantBitsAreScaledBackOnlyWhereTheyWereScaled) {
    const TemporaryFolder folder;
    const auto file = folder / "a.png";
    const Codes codes = some_codes(12);
    host::write_png(file, kWidth, kHeight, 16, codes);  // as a writer that scales nothing
    std::string png = read_text(file);
    png[png.find("sBIT") + 4] = 12;
    mend_crc(png, "sBIT", 1);
    write_text(file, png);
    EXPECT_EQ(host::read_frame(file, {{}, {}, 3, {}}).codes, codes);
}

TEST(Forms, SizesThatLieTakeNoMemory) {
    const TemporaryFolder folder;
    const Geometry given{{}, {}, 3, {}};
    host::write_png(folder / "a.png", kWidth, kHeight, 8, some_codes(8));
    std::string png = read_text(folder / "a.png");
    png.replace(png.find("IHDR") + 4, 8, std::string("\0\0\x3F\xFF\0\0\x3F\xFF", 8));
    mend_crc(png, "IHDR", 13);
    write_text(folder / "a.png", png);
    EXPECT_NE(error_of(folder / "a.png", given).find("its size lies: 16383 x 16383"), std::string::npos);
    host::write_tiff(folder / "a.tif", kWidth, kHeight, 8, some_codes(8));
    std::string tiff = read_text(folder / "a.tif");
    const struct {
        uint32_t width;
        uint32_t height;
        const char* expected;
    } sizes[] = {
        {0, kHeight, "size is zero"}, {16000, 16000, "its size lies: 16000 x 16000"}, {70000, 1, "expected sides of"}};
    for (const auto& [width, height, expected] : sizes) {
        set_tag(tiff, 256, {256, 4, 1, width});
        set_tag(tiff, 257, {257, 4, 1, height});
        write_text(folder / "a.tif", tiff);
        EXPECT_NE(error_of(folder / "a.tif", given).find(expected), std::string::npos)
            << error_of(folder / "a.tif", given);
    }
    std::filesystem::resize_file(folder / "a.png", (uint64_t{1} << 30U) + 1);  // takes no room on the disk
    EXPECT_NE(error_of(folder / "a.png", given).find("expected a capture of at most 1073741824"), std::string::npos);
}

#if CALI_WITH_LIBRAW
TEST(Dng, TellsGainBlackAndWhiteAtTheActiveAreasCorner) {
    const TemporaryFolder folder;
    const auto file = folder / "a.dng";
    const Codes codes = some_codes(12);
    host::DngContent content = dng_content(12);
    content.pattern = 1;  // GBRG
    content.active = {3, 5, kHeight - 2, kWidth - 1};
    host::write_dng(file, content, codes);
    const host::FileFrame frame = host::read_frame(file, {});
    const host::Capture& capture = frame.capture;
    // An odd corner may be moved to the next even one; everything is then as it is there.
    const auto left = static_cast<std::size_t>(kWidth - 1 - capture.sensor.width);
    const auto top = static_cast<std::size_t>(kHeight - 2 - capture.sensor.height);
    ASSERT_TRUE((left == 5 || left == 6) && (top == 3 || top == 4)) << left << ", " << top;
    EXPECT_EQ(capture.sensor.pattern, top == 3 ? (left == 5 ? 1 : 0) : left == 5 ? 3 : 2);
    EXPECT_EQ(capture.sensor.bits, 12);
    EXPECT_EQ(capture.sensor.white_level, 4095);
    EXPECT_EQ(frame.codes[0], codes[top * kWidth + left]);
    EXPECT_EQ(frame.codes.end()[-1], codes[(kHeight - 3) * kWidth + kWidth - 2]);
    EXPECT_EQ(capture.metadata.black_level, (std::array{66.75, 63.0, 64.25, 65.5}));
    EXPECT_EQ(capture.metadata.gain, 4.0);
    EXPECT_NEAR(capture.metadata.exposure_ms.value_or(0), 12.5, 1e-4);
    EXPECT_NEAR(capture.metadata.neutral.value_or(std::array<double, 3>{})[2], 0.625, 1e-6);
    EXPECT_EQ(setting(capture, "black level"), "66.75, 63, 64.25, 65.5 by metadata");

    Geometry told;
    told.pattern = 3 - capture.sensor.pattern;  // turned by 180 degrees
    told.pattern_by = host::Source::option;
    const host::Capture other = host::read_frame(file, told).capture;
    EXPECT_TRUE(setting(other, "pattern").ends_with(" by option"));
    EXPECT_EQ(other.metadata.black_level, (std::array{65.5, 64.25, 63.0, 66.75}));
    told.width = 100;
    told.height = 100;
    EXPECT_NE(error_of(file, told).find(" samples, expected 100 x 100 by "), std::string::npos);
}

TEST(Dng, TablesOneChannelAndWhatIsRefused) {
    const TemporaryFolder folder;
    const auto file = folder / "a.dng";
    Codes codes = some_codes(5);
    const std::string plain = dng_of(dng_content(12), codes);
    std::string dng = plain;

    // The colour matrix gives its place to a table of squares, the as-shot neutral its own to differences of columns.
    const uint32_t table = set_tag(dng, 50721, {}).value;
    for (uint16_t i = 0; i < 36; ++i) {
        const auto square = static_cast<uint16_t>(i * i);
        std::memcpy(&dng[table + i * 2U], &square, sizeof square);
    }
    set_tag(dng, 0, {50712, 3, 36, table});
    const uint32_t deltas = set_tag(dng, 50728, {}).value;
    const std::array<int32_t, 6> values = {1, 1, -3, 1, 1, 1};
    std::memcpy(&dng[deltas], values.data(), sizeof values);
    set_tag(dng, 0, {50715, 10, 3, deltas});
    write_text(file, dng);
    const host::FileFrame frame = host::read_frame(file, {});
    EXPECT_EQ(frame.codes[7], codes[7] * codes[7]);
    EXPECT_EQ(frame.capture.metadata.black_level, (std::array{65.25, 62.5, 67.75, 60.0}));

    dng = plain;
    set_tag(dng, 262, {262, 3, 1, 34892});
    write_text(file, dng);
    EXPECT_TRUE(host::read_frame(file, {}).capture.sensor.mono);
    EXPECT_EQ(host::read_frame(file, {}).codes, codes);

#ifdef _WIN32
    constexpr const char* kLossy = "compression 34892";  // LibRaw without JPEG does not take it for a DNG
#else
    constexpr const char* kLossy = "lossy compression";
#endif
    const struct {
        Tag tag;
        const char* expected;
    } refused[] = {
        {{259, 3, 1, 34892}, kLossy},
        {{339, 3, 1, 3}, "floating-point"},
        {{33422, 1, 4, 0x01020100}, "another mosaic"},
        {{273, 4, 1, 0x7FFFFFFF}, "truncated: samples from byte 2147483647"},
        {{256, 4, 1, 60000}, "truncated, or its size lies"},
    };
    for (const auto& each : refused) {
        dng = plain;
        // The planar configuration says what is the default, and so may say something else.
        set_tag(dng, each.tag.number == 339 ? 284 : each.tag.number, each.tag);
        write_text(file, dng);
        EXPECT_NE(error_of(file, {}).find(each.expected), std::string::npos) << error_of(file, {});
    }
}

#endif

TIFF* open_tiff(const std::filesystem::path& file, const char* mode) {
#ifdef _WIN32
    return TIFFOpenW(file.c_str(), mode);
#else
    return TIFFOpen(file.c_str(), mode);
#endif
}

/// In tiles of 32 x 32.
void write_tiles(const std::filesystem::path& file, const char* mode, int compression, const Codes& codes) {
    constexpr uint32_t kTile = 32;
    TIFF* const tiff = open_tiff(file, mode);
    for (const auto& [tag, value] : {std::pair(TIFFTAG_IMAGEWIDTH, kWidth),
                                     {TIFFTAG_IMAGELENGTH, kHeight},
                                     {TIFFTAG_BITSPERSAMPLE, 16},
                                     {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                                     {TIFFTAG_COMPRESSION, compression},
                                     {TIFFTAG_TILEWIDTH, 32},
                                     {TIFFTAG_TILELENGTH, 32}}) {
        TIFFSetField(tiff, static_cast<uint32_t>(tag), value);
    }
    uint32_t index = 0;
    for (uint32_t top = 0; top < kHeight; top += kTile) {
        for (uint32_t left = 0; left < kWidth; left += kTile, ++index) {
            Codes tile(kTile * kTile);
            for (uint32_t i = 0; i < tile.size(); ++i) {
                const uint32_t y = top + i / kTile;
                const uint32_t x = left + i % kTile;
                tile[i] = y < kHeight && x < kWidth ? codes[y * kWidth + x] : uint16_t{0};
            }
            ASSERT_GT(TIFFWriteEncodedTile(tiff, index, tile.data(), kTile * kTile * 2), 0);
        }
    }
    TIFFClose(tiff);
}

TEST(Tiff, TilesCompressionsAndPackedSamples) {
    const TemporaryFolder folder;
    const auto file = folder / "a.tif";
    const Geometry given{{}, {}, 3, {}};
    const Codes codes = some_codes(16);
    for (const char* const mode : {"wl", "wb"}) {
        for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_PACKBITS}) {
            write_tiles(file, mode, compression, codes);
            EXPECT_EQ(host::read_frame(file, given).codes, codes) << mode << compression;
        }
    }
    TIFF* const tiff = open_tiff(file, "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 3);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 12);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    std::array<uint8_t, 5> row = {0xAB, 0xC1, 0x23, 0x45, 0x60};
    ASSERT_EQ(TIFFWriteEncodedStrip(tiff, 0, row.data(), 5), 5);
    TIFFClose(tiff);
    EXPECT_EQ(host::read_frame(file, given).codes, (Codes{0xABC, 0x123, 0x456}));
}

TEST(Tiff, OfAColourPictureSaysSo) {
    const TemporaryFolder folder;
    host::write_tiff(folder / "a.tif", kWidth, kHeight, 8, some_codes(8));
    std::string tiff = read_text(folder / "a.tif");
    set_tag(tiff, 277, {277, 3, 1, 3});
    write_text(folder / "a.tif", tiff);
    EXPECT_NE(error_of(folder / "a.tif", geometry(8)).find("a TIFF of 3 channels, expected one"), std::string::npos)
        << error_of(folder / "a.tif", geometry(8));
}

#if CALI_WITH_LIBRAW
TEST(Dng, OtherProgramsReadTheSame) {
    if (std::system("command -v unprocessed_raw exiftool > /dev/null") != 0) {
        GTEST_SKIP() << "libraw-bin and exiftool are not installed";
    }
    const TemporaryFolder folder;
    const auto file = (folder / "a.dng").string();
    const Codes codes = some_codes(12);
    host::write_dng(file, dng_content(12), codes);
    const std::string command = "unprocessed_raw " + file +
                                " > /dev/null && exiftool -s3 -BlackLevel -WhiteLevel -ISO "
                                "-ExposureTime -AsShotNeutral -ActiveArea -CFAPattern " +
                                file + " > " + file + ".txt";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(host::read_frame(file + ".pgm", {{}, {}, 3, 12}).codes, codes);
    EXPECT_EQ(read_text(file + ".txt"),
              "64.25 65.5 66.75 63\n4095\n400\n1/80\n0.5 1 0.625\n0 0 48 67\n[Red,Green][Green,Blue]\n");
}

#endif

/// Every one of them gives frames or one line that names the file.
void expect_frame_or_error(const std::filesystem::path& file, const Geometry& given) {
    try {
        (void)host::probe_capture(file, given);
        const host::FileFrame frame = host::read_frame(file, given);
        EXPECT_EQ(frame.codes.size(), photosites(frame.capture.sensor));
    } catch (const host::InputError& problem) {
        const std::string line = problem.what();
        EXPECT_TRUE(line.starts_with(file.string() + ": ") && line.find('\n') == std::string::npos) << line;
    }
}

TEST(Forms, DamagedFilesGiveOneLineAndTakeLittleMemory) {
    const TemporaryFolder folder;
    const Codes codes = some_codes(12);
    testing::internal::CaptureStderr();
    for (const std::string form : kForms) {
        SCOPED_TRACE(form);
        const auto file = folder / form;
        write_form(file, 12, codes);
        const std::string whole = read_text(file);
        const auto given = form.ends_with(".raw") ? geometry(12) : Geometry{{}, {}, 3, {}};
        for (std::size_t size = 0; size < whole.size(); size += size < 700 ? 7 : 97) {
            write_text(file, whole.substr(0, size));
            EXPECT_NE(error_of(file, given), "no error") << size;
        }
        std::mt19937 random(1);
        for (int i = 0; i < 100; ++i) {
            std::string damaged = whole;
            // Mostly where headers are: at either end.
            const std::size_t reach = std::min<std::size_t>(whole.size(), i % 3 == 2 ? whole.size() : 500);
            for (int k = 0; k <= i % 4; ++k) {
                const std::size_t at = random() % reach;
                damaged[i % 3 == 1 ? whole.size() - 1 - at : at] = static_cast<char>(random());
            }
            write_text(file, damaged);
            expect_frame_or_error(file, given);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
#ifndef _WIN32
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 400'000) << "kilobytes";
#endif
}

}  // namespace
}  // namespace cali::test
