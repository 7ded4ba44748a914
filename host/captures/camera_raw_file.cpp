#include "captures/camera_raw_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/text.h"
#include "captures/channels.h"
#include "captures/dng_file.h"
#include "captures/file_form.h"
#include "captures/limits.h"
#include "captures/tiff_file.h"
#include "captures/tiff_handle.h"

#if CALI_WITH_LIBRAW
#include <libraw/libraw.h>
#endif

namespace cali::host {
namespace {

constexpr std::array<std::string_view, 9> kMagics = {"FUJIFILMCCD-RAW",
                                                     "IIRO",
                                                     "IIRS",
                                                     "MMOR",
                                                     std::string_view("IIU\0", 4),
                                                     "FOVb",
                                                     std::string_view("\0MRM", 4),
                                                     std::string_view("II\x1a\0\0\0HEAPCCDR", 14),
                                                     std::string_view("\0\0\0\x18"
                                                                      "ftypcrx ",
                                                                      12)};

}  // namespace

bool is_camera_raw(const std::filesystem::path& /*file*/, std::span<const uint8_t> content) {
    const std::string_view start(reinterpret_cast<const char*>(content.data()), content.size());
    return has_tiff_magic(content) ||
           std::ranges::any_of(kMagics, [&](std::string_view magic) { return start.starts_with(magic); });
}

namespace {

/// Of a TIFF that is no camera's: what makes it none that is read.
void refuse_tiff(Capture& capture, std::span<const uint8_t> content, const Geometry& geometry) {
    if (has_tiff_magic(content)) {
        probe_tiff(capture, content, content.size(), geometry);
    }
}

}  // namespace

#if CALI_WITH_LIBRAW

std::string camera_raw_library() { return LibRaw::version(); }

namespace {

/// As TIFF counts compressions.
constexpr int kLossyJpeg = 34892;

[[noreturn]] void refuse(const Capture& capture, const std::string& found, const char* expected) {
    throw InputError(capture.file.string() + ": " + found + ", expected " + expected);
}

/// The library's plain build keeps its decoders' state in static memory.
std::mutex& one_at_a_time() {
    static std::mutex only;
    return only;
}

/// A file that LibRaw has opened.
class CameraRaw {
public:
    CameraRaw(Capture& capture, std::span<const uint8_t> content, const Geometry& geometry)
        : lock_(one_at_a_time()), capture_(capture), raw_(std::make_unique<LibRaw>(kQuiet)) {
        // Ends decoding at the first bad byte: what follows would be made up. The offset's type differs by version.
        raw_->set_dataerror_handler([](void*, const char*, auto) { throw LIBRAW_EXCEPTION_IO_CORRUPT; }, nullptr);
        call([&] {
            const int status = raw_->open_buffer(const_cast<uint8_t*>(content.data()), content.size());
            if (status == LIBRAW_FILE_UNSUPPORTED) {
                refuse_tiff(capture, content, geometry);
            }
            return status;
        });
        const auto& sizes = raw_->imgdata.sizes;
        require_plausible_size(capture.file, sizes.raw_width, sizes.raw_height, content.size(), kMostPhotositesPerByte);
        dng_ = read_dng_mosaic(capture.file, content, sizes.raw_width, sizes.raw_height);
        refuse_other_forms();
        set_active_area(geometry);
        set_metadata();
        white_level(geometry);
        black_level();
    }

    [[nodiscard]] Codes unpack() {
        call([&] { return raw_->unpack(); });
        const auto& data = raw_->imgdata.rawdata;
        if (data.raw_image == nullptr) {
            refuse(capture_, "samples of several channels", "a mosaic, or one channel");
        }
        if (!dng_) {
            black_level();  // some cameras tell it by masked photosites
        }
        const auto& sizes = data.sizes;
        if (sizes.width != capture_.sensor.width || sizes.height != capture_.sensor.height) {
            refuse(capture_, text("%d x %d samples once it is decoded", sizes.width, sizes.height),
                   by(capture_.sensor.width, capture_.sensor.height).c_str());
        }
        check_active_area(sizes);
        const std::size_t pitch = sizes.raw_pitch / sizeof(uint16_t);
        const auto columns = static_cast<std::size_t>(capture_.sensor.width);
        const int most = (1 << capture_.sensor.bits) - 1;
        Codes codes(photosites(capture_.sensor));
        for (std::size_t y = 0; y < static_cast<std::size_t>(capture_.sensor.height); ++y) {
            const uint16_t* const row = data.raw_image + (y + sizes.top_margin) * pitch + sizes.left_margin;
            std::copy_n(row, columns, codes.data() + y * columns);
        }
        if (own_bits_) {
            std::ranges::transform(codes, codes.begin(),
                                   [most](uint16_t code) { return static_cast<uint16_t>(std::min<int>(code, most)); });
        }
        return codes;
    }

private:
    static constexpr unsigned kQuiet = LIBRAW_OPIONS_NO_MEMERR_CALLBACK | LIBRAW_OPIONS_NO_DATAERR_CALLBACK;

    template <typename Call>
    void call(Call work) {
        std::string problem;
        try {
            const int status = work();
            problem = status == LIBRAW_SUCCESS ? "" : libraw_strerror(status);
        } catch (const InputError&) {
            throw;
        } catch (const LibRaw_exceptions&) {
            problem = "its samples are damaged, or end too early";
        } catch (const std::exception& error) {
            problem = error.what();
        }
        if (!problem.empty()) {
            throw InputError(capture_.file.string() + ": cannot be read as a raw file of a camera: " + problem);
        }
    }

    void refuse_other_forms() const {
        const auto& parameters = raw_->imgdata.idata;
        libraw_decoder_info_t decoder{};
        (void)raw_->get_decoder_info(&decoder);
        const std::string_view name = decoder.decoder_name != nullptr ? decoder.decoder_name : "";
        if ((dng_ && dng_->compression == kLossyJpeg) || name.find("lossy") != std::string_view::npos ||
            name.find("kodak_jpeg") != std::string_view::npos) {
            refuse(capture_, "lossy compression", "samples as the sensor gave them");
        }
        if (dng_ && dng_->floating) {
            refuse(capture_, "floating-point samples", "whole numbers");
        }
        if (parameters.is_foveon != 0 || (parameters.filters == 0 && parameters.colors != 1)) {
            refuse(capture_, text("%d channels at every photosite (linear raw)", parameters.colors),
                   "a mosaic, or one channel");
        }
        if (parameters.filters == LIBRAW_XTRANS) {
            refuse(capture_, "a mosaic of 6 x 6 (X-Trans)", "one of 2 x 2");
        }
        if (raw_->is_fuji_rotated() != 0) {
            refuse(capture_, "a mosaic turned by 45 degrees", "one of rows and columns");
        }
    }

    void check_active_area(const libraw_image_sizes_t& sizes) const {
        const auto outside = [](unsigned margin, unsigned size, unsigned whole) {
            return size == 0 || margin > whole || size > whole - margin;
        };
        if (outside(sizes.left_margin, sizes.width, sizes.raw_width) ||
            outside(sizes.top_margin, sizes.height, sizes.raw_height)) {
            refuse(capture_,
                   text("an active area of %u x %u from %u, %u in %u x %u samples", sizes.width, sizes.height,
                        sizes.left_margin, sizes.top_margin, sizes.raw_width, sizes.raw_height),
                   "it inside");
        }
    }

    /// LibRaw's active area; pattern and black level are those at its corner.
    void set_active_area(const Geometry& geometry) {
        const auto& sizes = raw_->imgdata.sizes;
        check_active_area(sizes);
        set_own_size(capture_, sizes.width, sizes.height, geometry);
        SensorGeometry& sensor = capture_.sensor;
        if (geometry.pattern) {
            sensor.pattern = *geometry.pattern;
            sensor.mono = geometry.mono;
            return;
        }
        sensor.mono = raw_->imgdata.idata.filters == 0;
        sensor.pattern = sensor.mono ? kRggb : own_pattern();
    }

    /// Of the mosaic's repeat of 8 x 2 all must be one of 2 x 2.
    [[nodiscard]] int own_pattern() const {
        const char* const colours = raw_->imgdata.idata.cdesc;
        const auto colour_at = [&](int row, int column) {
            const int index = raw_->COLOR(row, column);
            return index >= 0 && index < 4 ? colours[index] : '?';
        };
        for (int pattern = 0; pattern < kBayerPatterns; ++pattern) {
            bool same = true;
            for (int i = 0; i < 16; ++i) {
                const char expected = kPatternNames[static_cast<std::size_t>(pattern)][i / 2 % 2 * 2 + i % 2];
                same = same && colour_at(i / 2, i % 2) == expected;
            }
            if (same) {
                return pattern;
            }
        }
        refuse(capture_, "another mosaic", "2 x 2 photosites of one red, two green and one blue");
    }

    void set_metadata() {
        const auto& other = raw_->imgdata.other;
        CaptureMetadata& metadata = capture_.metadata;
        if (other.iso_speed >= 1 && other.iso_speed < 1e7F) {
            metadata.gain = static_cast<double>(other.iso_speed) / 100;
        }
        if (other.shutter > 0 && other.shutter < 1e5F) {
            metadata.exposure_ms = static_cast<double>(other.shutter) * 1000;
        }
        const auto& gains = raw_->imgdata.color.cam_mul;
        if (!capture_.sensor.mono && gains[0] > 0 && gains[1] > 0 && gains[2] > 0) {
            const auto green = static_cast<double>(gains[1]);
            metadata.neutral = {green / static_cast<double>(gains[0]), 1.0, green / static_cast<double>(gains[2])};
        }
    }

    void white_level(const Geometry& geometry) {
        const int white = dng_ && dng_->white ? *dng_->white : static_cast<int>(raw_->imgdata.color.maximum);
        if (white < 1 || white > 0xFFFF) {
            refuse(capture_, text("a white level of %d", white), "1 to 65535");
        }
        capture_.sensor.white_level = white;
        own_bits_ = !geometry.bits;
        set_own_bits(capture_, static_cast<int>(std::bit_width(static_cast<unsigned>(white))), geometry);
    }

    /// By position from the corner of the active area.
    [[nodiscard]] std::array<double, 4> black_by_position() const {
        const auto& sizes = raw_->imgdata.sizes;
        const auto& colour = raw_->imgdata.color;
        std::array<double, 4> black{};
        for (unsigned i = 0; i < 4; ++i) {
            const unsigned row = i / 2;
            const unsigned column = i % 2;
            if (dng_) {
                const unsigned y = row + sizes.top_margin + dng_->active[0];
                const unsigned x = column + sizes.left_margin + dng_->active[1];
                black[i] = dng_->black[y % 2 * 2 + x % 2];
                continue;
            }
            const int index =
                raw_->imgdata.idata.filters == 0 ? 0 : raw_->COLOR(static_cast<int>(row), static_cast<int>(column));
            black[i] = colour.black + colour.cblack[static_cast<std::size_t>(index) % 4];
            const unsigned rows = colour.cblack[4];
            const unsigned columns = colour.cblack[5];
            if (rows > 0 && columns > 0 && rows * columns <= LIBRAW_CBLACK_SIZE - 6) {
                black[i] += colour.cblack[6 + row % rows * columns + column % columns];
            }
        }
        return black;
    }

    void black_level() {
        const std::array<double, 4> black = black_by_position();
        auto& channels = capture_.metadata.black_level.emplace();
        for (uint32_t i = 0; i < 4; ++i) {
            channels[index_of(bayer_channel(capture_.sensor.pattern, i / 2, i % 2))] = black[i];
        }
    }

    static constexpr int kRggb = 3;

    const std::lock_guard<std::mutex> lock_;
    Capture& capture_;
    std::unique_ptr<LibRaw> raw_;
    std::optional<DngMosaic> dng_;
    bool own_bits_ = false;
};

}  // namespace

void probe_camera_raw(Capture& capture, std::span<const uint8_t> content, uint64_t /*bytes*/,
                      const Geometry& geometry) {
    const CameraRaw raw(capture, content, geometry);
}

void read_camera_raw(FileFrame& frame, FileContent& content, const Geometry& geometry) {
    CameraRaw raw(frame.capture, content.bytes(), geometry);
    set_codes(frame, raw.unpack());
}

#else

std::string camera_raw_library() { return {}; }

void probe_camera_raw(Capture& capture, std::span<const uint8_t> content, uint64_t /*bytes*/,
                      const Geometry& geometry) {
    refuse_tiff(capture, content, geometry);
    throw InputError(capture.file.string() +
                     ": is DNG or a raw file of a camera, which this program was built without");
}

void read_camera_raw(FileFrame& frame, FileContent& content, const Geometry& geometry) {
    probe_camera_raw(frame.capture, content.bytes(), content.bytes().size(), geometry);
}

#endif

}  // namespace cali::host
