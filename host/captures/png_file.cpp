#include "captures/png_file.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "captures/file_form.h"
#include "captures/limits.h"

namespace cali::host {
namespace {

constexpr std::size_t kMagicBytes = 8;

/// libpng leaves by longjmp where something is wrong, so what it does runs in steps that own nothing.
class Png {
public:
    explicit Png(const std::filesystem::path& file) : file_(file) {}
    ~Png() {
        if (writes_) {
            png_destroy_write_struct(&png_, &info_);
        } else {
            png_destroy_read_struct(&png_, &info_, nullptr);
        }
    }
    Png(const Png&) = delete;
    Png& operator=(const Png&) = delete;

    void start_reading(std::span<const uint8_t> content) {
        content_ = content;
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
        start();
        png_set_read_fn(png_, this, on_read);
        png_set_user_limits(png_, kMaxSide, kMaxSide);
        png_set_chunk_malloc_max(png_, kMostChunk);
    }
    void start_writing() {
        writes_ = true;
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
        start();
        png_set_write_fn(png_, this, on_write, nullptr);
    }

    /// Runs a step. Throws InputError with libpng's message.
    template <typename Step>
    void run(Step step) {
        if (!guarded(step)) {
            throw InputError(file_.string() + ": cannot be " + (writes_ ? "made" : "read") +
                             " as PNG: " + message_.data());
        }
    }

    [[nodiscard]] png_structp png() const { return png_; }
    [[nodiscard]] png_infop info() const { return info_; }
    [[nodiscard]] const std::string& written() const { return written_; }

private:
    static constexpr png_alloc_size_t kMostChunk = 8000000;

    void start() {
        info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
        if (info_ == nullptr) {
            throw InputError(file_.string() + ": no memory for PNG");
        }
    }

    template <typename Step>
    bool guarded(Step& step) {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            return false;
        }
        step(png_, info_);
        return true;
    }

    static void on_error(png_structp png, png_const_charp message) {
        auto& self = *static_cast<Png*>(png_get_error_ptr(png));
        (void)std::snprintf(self.message_.data(), self.message_.size(), "%s", message);
        png_longjmp(png, 1);
    }
    static void on_warning(png_structp /*png*/, png_const_charp /*message*/) {}
    static void on_read(png_structp png, png_bytep bytes, std::size_t count) {
        auto& self = *static_cast<Png*>(png_get_io_ptr(png));
        if (count > self.content_.size()) {
            png_error(png, "truncated");
        }
        std::memcpy(bytes, self.content_.data(), count);
        self.content_ = self.content_.subspan(count);
    }
    static void on_write(png_structp png, png_bytep bytes, std::size_t count) {
        static_cast<Png*>(png_get_io_ptr(png))->written_.append(reinterpret_cast<const char*>(bytes), count);
    }

    const std::filesystem::path& file_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    bool writes_ = false;
    std::span<const uint8_t> content_;
    std::string written_;
    std::array<char, 120> message_{};
};

struct Header {
    int sample_bits = 0;
    int significant_bits = 0;
};

Header check_header(Png& png, Capture& capture, std::span<const uint8_t> content, const Geometry& geometry) {
    png.start_reading(content);
    png.run([](png_structp reader, png_infop info) { png_read_info(reader, info); });
    const uint32_t width = png_get_image_width(png.png(), png.info());
    const uint32_t height = png_get_image_height(png.png(), png.info());
    const int depth = png_get_bit_depth(png.png(), png.info());
    const int colour = png_get_color_type(png.png(), png.info());
    if (colour != PNG_COLOR_TYPE_GRAY || depth < kMinBits) {
        throw InputError(capture.file.string() + text(": a PNG of colour type %d and %d bits a sample, expected grey "
                                                      "(0) of 8 or 16 bits",
                                                      colour, depth));
    }
    require_plausible_size(capture.file, width, height, content.size(), kMostInflation);
    set_told_pattern(capture, geometry);
    set_own_size(capture, static_cast<int>(width), static_cast<int>(height), geometry);
    Header header{depth, depth};
    png_color_8p significant = nullptr;
    if (png_get_sBIT(png.png(), png.info(), &significant) != 0 && significant->gray >= kMinBits &&
        significant->gray < depth) {
        header.significant_bits = significant->gray;
    }
    set_own_bits(capture, header.significant_bits, geometry);
    return header;
}

/// A code of `bits` bits over the whole range of the sample's: its high bits again below it.
uint32_t scaled_up(uint32_t code, int bits, int sample_bits) {
    const auto free = static_cast<unsigned>(sample_bits - bits);
    const auto held = static_cast<unsigned>(bits);
    return code << free | (free <= held ? code >> (held - free) : code * ((1U << free) - 1U) / ((1U << held) - 1U));
}

/// Some writers shift alone, and some leave codes as they are.
bool is_scaled_up(std::span<const uint16_t> samples, int bits, int sample_bits) {
    const auto free = static_cast<unsigned>(sample_bits - bits);
    const uint32_t low = (1U << free) - 1U;
    return std::ranges::all_of(samples, [&](uint32_t sample) {
        return (sample & low) == 0 || sample == scaled_up(sample >> free, bits, sample_bits);
    });
}

}  // namespace

bool is_png(const std::filesystem::path& file, std::span<const uint8_t> content) {
    const std::string suffix = lower_suffix(file);
    return suffix == ".png" || (content.size() >= kMagicBytes && png_sig_cmp(content.data(), 0, kMagicBytes) == 0);
}

void probe_png(Capture& capture, std::span<const uint8_t> content, uint64_t /*bytes*/, const Geometry& geometry) {
    Png png(capture.file);
    (void)check_header(png, capture, content, geometry);
}

void read_png(FileFrame& frame, FileContent& content, const Geometry& geometry) {
    Png png(frame.capture.file);
    const Header header = check_header(png, frame.capture, content.bytes(), geometry);
    const SensorGeometry& sensor = frame.capture.sensor;
    const bool wide = header.sample_bits > 8;
    const std::size_t row_bytes = static_cast<std::size_t>(sensor.width) * (wide ? 2 : 1);
    std::vector<uint8_t> bytes(row_bytes * static_cast<std::size_t>(sensor.height));
    std::vector<png_bytep> rows;
    for (std::size_t at = 0; at < bytes.size(); at += row_bytes) {
        rows.push_back(&bytes[at]);
    }
    png_bytepp const first = rows.data();
    png.run([first](png_structp reader, png_infop /*info*/) {
        (void)png_set_interlace_handling(reader);
        png_read_image(reader, first);
        png_read_end(reader, nullptr);
    });
    Codes codes(photosites(sensor));
    decode_samples(bytes, {wide, true}, codes);
    const int significant = header.significant_bits;
    if (significant < header.sample_bits && sensor.bits <= significant &&
        is_scaled_up(codes, significant, header.sample_bits)) {
        const auto shift = static_cast<unsigned>(header.sample_bits - significant);
        std::ranges::transform(codes, codes.begin(),
                               [shift](uint16_t code) { return static_cast<uint16_t>(code >> shift); });
    }
    set_codes(frame, std::move(codes));
}

void write_png(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples) {
    const bool wide = bits > kMinBits;
    const int sample_bits = wide ? kMaxBits : kMinBits;
    std::vector<uint8_t> bytes;
    for (const uint16_t sample : samples) {
        const uint32_t code = scaled_up(sample, bits, sample_bits);
        if (wide) {
            bytes.push_back(static_cast<uint8_t>(code >> 8U));
        }
        bytes.push_back(static_cast<uint8_t>(code & 0xFFU));
    }
    const uint8_t* const data = bytes.data();
    Png png(file);
    png.start_writing();
    png.run([=](png_structp writer, png_infop info) {
        png_set_compression_level(writer, 1);  // noise does not deflate
        png_set_IHDR(writer, info, static_cast<uint32_t>(width), static_cast<uint32_t>(height), sample_bits,
                     PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_color_8 significant{};
        significant.gray = static_cast<png_byte>(bits);
        png_set_sBIT(writer, info, &significant);
        png_write_info(writer, info);
        const std::size_t row_bytes = static_cast<std::size_t>(width) * (wide ? 2 : 1);
        for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
            png_write_row(writer, data + y * row_bytes);
        }
        png_write_end(writer, info);
    });
    write_text_file(file, png.written());
}

}  // namespace cali::host
