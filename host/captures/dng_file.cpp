#include "captures/dng_file.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "captures/geometry.h"
#include "captures/tiff_handle.h"
#include "core/channel.h"

namespace cali::host {
namespace {

constexpr uint16_t kLinearRaw = 34892;

/// Sum and number of what falls on each of two positions.
struct ByParity {
    std::array<double, 2> sum = {};
    std::array<double, 2> count = {};
    void add(std::size_t at, double value) {
        sum[at % 2] += value;
        count[at % 2] += 1;
    }
    [[nodiscard]] double mean(std::size_t parity) const { return count[parity] > 0 ? sum[parity] / count[parity] : 0; }
};

/// A pattern of `rows` x `columns` repeats over the active area. Where it is no divisor of 2 x 2, a position has the
/// mean of all that fall on it.
std::array<double, 4> black_by_position(const TiffHandle& tiff) {
    const auto levels = tiff.values<float>(TIFFTAG_BLACKLEVEL);
    std::size_t rows = 1;
    std::size_t columns = 1;
    const uint16_t* repeat = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_BLACKLEVELREPEATDIM, &repeat) == 1 && repeat != nullptr && repeat[0] > 0 &&
        repeat[1] > 0) {
        rows = repeat[0];
        columns = repeat[1];
    }
    std::array<double, 4> black = {};
    if (!levels.empty() && levels.size() >= rows * columns) {
        std::array<double, 4> count = {};
        for (std::size_t y = 0; y < std::lcm<std::size_t>(rows, 2); ++y) {
            for (std::size_t x = 0; x < std::lcm<std::size_t>(columns, 2); ++x) {
                const std::size_t position = y % 2 * 2 + x % 2;
                black[position] += static_cast<double>(levels[y % rows * columns + x % columns]);
                count[position] += 1;
            }
        }
        for (std::size_t i = 0; i < black.size(); ++i) {
            black[i] /= count[i];
        }
    }
    for (const bool horizontal : {true, false}) {
        const auto deltas = tiff.values<float>(horizontal ? TIFFTAG_BLACKLEVELDELTAH : TIFFTAG_BLACKLEVELDELTAV);
        ByParity means;
        for (std::size_t i = 0; i < deltas.size(); ++i) {
            means.add(i, static_cast<double>(deltas[i]));
        }
        for (std::size_t i = 0; i < black.size(); ++i) {
            black[i] += means.mean(horizontal ? i % 2 : i / 2);
        }
    }
    return black;
}

bool holds_mosaic(const TiffHandle& tiff, uint32_t width, uint32_t height) {
    const auto photometric = tiff.value<uint16_t>(TIFFTAG_PHOTOMETRIC, 0);
    return (photometric == PHOTOMETRIC_CFA || photometric == kLinearRaw) &&
           tiff.value<uint32_t>(TIFFTAG_IMAGEWIDTH, 0) == width &&
           tiff.value<uint32_t>(TIFFTAG_IMAGELENGTH, 0) == height;
}

/// Of the first directory, those below it, and those beside it.
bool go_to_mosaic(const TiffHandle& tiff, uint32_t width, uint32_t height) {
    constexpr int kMostDirectories = 64;
    if (holds_mosaic(tiff, width, height)) {
        return true;
    }
    uint16_t count = 0;
    const toff_t* offsets = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_SUBIFD, &count, &offsets) == 1 && offsets != nullptr) {
        const std::vector<toff_t> below(offsets, offsets + std::min<int>(count, kMostDirectories));
        for (const toff_t offset : below) {
            if (TIFFSetSubDirectory(tiff.get(), offset) == 1 && holds_mosaic(tiff, width, height)) {
                return true;
            }
        }
        if (TIFFSetDirectory(tiff.get(), 0) != 1) {
            return false;
        }
    }
    for (int i = 0; i < kMostDirectories && TIFFReadDirectory(tiff.get()) == 1; ++i) {
        if (holds_mosaic(tiff, width, height)) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::optional<DngMosaic> read_dng_mosaic(const std::filesystem::path& file, std::span<const uint8_t> content,
                                         uint32_t width, uint32_t height) {
    if (!has_tiff_magic(content)) {
        return std::nullopt;
    }
    const TiffHandle tiff(file, content);
    const uint8_t* version = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_DNGVERSION, &version) != 1) {
        return std::nullopt;
    }
    if (!go_to_mosaic(tiff, width, height)) {
        tiff.fail("no directory of this DNG holds raw samples of its size");
    }
    tiff.require_data();
    DngMosaic mosaic;
    mosaic.compression = tiff.value<uint16_t>(TIFFTAG_COMPRESSION, 0);
    mosaic.floating = tiff.value<uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) == SAMPLEFORMAT_IEEEFP;
    mosaic.active = {0, 0, height, width};
    const uint32_t* active = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_ACTIVEAREA, &active) == 1 && active != nullptr) {
        std::copy_n(active, mosaic.active.size(), mosaic.active.begin());
    }
    mosaic.black = black_by_position(tiff);
    const auto white = tiff.values<uint32_t>(TIFFTAG_WHITELEVEL);
    const int bits = tiff.value<uint16_t>(TIFFTAG_BITSPERSAMPLE, 0);
    if (!white.empty()) {
        mosaic.white = static_cast<int>(std::min<uint32_t>(white[0], 0xFFFFU));
    } else if (tiff.values<uint16_t>(TIFFTAG_LINEARIZATIONTABLE).empty() && bits >= 1 && bits <= kMaxBits) {
        mosaic.white = (1 << bits) - 1;
    }
    return mosaic;
}

std::string dng_of(const DngContent& content, std::span<const uint16_t> samples) {
    TiffHandle handle("DNG");
    TIFF* const tiff = handle.get();
    // The directory of the exposure first, so that the mosaic's can tell where it is.
    const auto iso = static_cast<uint16_t>(std::clamp(std::lround(content.gain * 100), 1L, 65535L));
    uint64_t exposure = 0;
    if (TIFFCreateEXIFDirectory(tiff) != 0 ||
        TIFFSetField(tiff, EXIFTAG_EXPOSURETIME, content.exposure_ms / 1000) != 1 ||
        TIFFSetField(tiff, EXIFTAG_ISOSPEEDRATINGS, 1, &iso) != 1 || TIFFWriteCustomDirectory(tiff, &exposure) != 1) {
        handle.fail("its exposure was not taken");
    }
    TIFFFreeDirectory(tiff);
    TIFFCreateDirectory(tiff);
    const std::array<uint8_t, 4> version = {1, 4, 0, 0};
    const std::array<uint8_t, 4> backward = {1, 1, 0, 0};
    const std::array<uint16_t, 2> two_by_two = {2, 2};
    const auto white = static_cast<uint32_t>((1 << content.bits) - 1);
    std::array<uint8_t, 4> colours{};
    std::array<float, 4> black{};
    for (uint32_t i = 0; i < 4; ++i) {
        colours[i] = static_cast<uint8_t>(colour_of(bayer_channel(content.pattern, i / 2, i % 2)));
        black[i] = static_cast<float>(content.black[i]);
    }
    // Of XYZ: the camera's own are for whoever develops the pictures.
    const std::array<float, 9> matrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, content.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, content.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, content.mono ? kLinearRaw : PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, content.height);
    TIFFSetField(tiff, TIFFTAG_MAKE, "Simulated");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Sensor");
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Simulated Sensor");
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version.data());
    TIFFSetField(tiff, TIFFTAG_DNGBACKWARDVERSION, backward.data());
    if (!content.mono) {
        TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, two_by_two.data());
        TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, colours.data());
        TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, matrix.data());
        TIFFSetField(tiff, TIFFTAG_CALIBRATIONILLUMINANT1, 21);  // D65
    }
    TIFFSetField(tiff, TIFFTAG_ACTIVEAREA, content.active.data());
    TIFFSetField(tiff, TIFFTAG_BLACKLEVELREPEATDIM, two_by_two.data());
    TIFFSetField(tiff, TIFFTAG_BLACKLEVEL, 4, black.data());
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, &white);
    if (content.neutral && !content.mono) {
        std::array<float, 3> neutral{};
        std::ranges::transform(*content.neutral, neutral.begin(),
                               [](double share) { return static_cast<float>(share); });
        TIFFSetField(tiff, TIFFTAG_ASSHOTNEUTRAL, 3, neutral.data());
    }
    TIFFSetField(tiff, TIFFTAG_EXIFIFD, exposure);
    TIFFDeferStrileArrayWriting(tiff);
    std::vector<uint16_t> codes(samples.begin(), samples.end());
    if (TIFFWriteCheck(tiff, 0, "DNG") != 1 || TIFFWriteDirectory(tiff) != 1 || TIFFSetDirectory(tiff, 0) != 1 ||
        TIFFWriteEncodedStrip(tiff, 0, codes.data(), static_cast<tmsize_t>(codes.size() * sizeof(uint16_t))) < 0 ||
        TIFFForceStrileArrayWriting(tiff) != 1) {
        handle.fail("its samples were not taken");
    }
    return handle.finish();
}

void write_dng(const std::filesystem::path& file, const DngContent& content, std::span<const uint16_t> samples) {
    write_text_file(file, dng_of(content, samples));
}

}  // namespace cali::host
