/// Captures as frames on the library's scale.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <span>
#include <utility>
#include <vector>

#include "base/conditions.h"
#include "base/frame_memory.h"
#include "base/record.h"
#include "captures/geometry.h"
#include "core/frame.h"

namespace cali::host {

inline constexpr uint32_t kLibraryFullScale = 4095;

using Samples = FrameVector<uint32_t>;
using Codes = FrameVector<uint16_t>;

/// A frame that differs from the others of its burst.
struct LeftOutFrame {
    std::filesystem::path file;
    double difference = 0;  ///< of its mean from the burst's median, as a share
};

/// A frame on the library's 12-bit scale.
struct Capture {
    std::filesystem::path file;
    SensorGeometry sensor;
    Samples samples;                       ///< row-major
    std::vector<InputRecord> inputs = {};  ///< of the file, or the frames of a burst
    Conditions taken = {};
    std::vector<LeftOutFrame> left_out = {};  ///< of a burst
    CaptureMetadata metadata = {};
    std::vector<Setting> settings = {};  ///< size, pattern, depth and what else is in force, each with its source

    [[nodiscard]] ConstRawFrame view() const { return {samples.data(), sensor.width, sensor.height, sensor.pattern}; }
};

/// A capture as its file has it.
struct FileFrame {
    Capture capture;  ///< without samples
    Codes codes;      ///< row-major, of the sensor's depth
};

/// A file's bytes, in memory that its codes can take over.
class FileContent {
public:
    explicit FileContent(std::size_t size) : words_((size + 1) / 2), size_(size) {}

    [[nodiscard]] std::span<uint8_t> bytes() { return {reinterpret_cast<uint8_t*>(words_.data()), size_}; }
    [[nodiscard]] std::span<const uint8_t> bytes() const {
        return {reinterpret_cast<const uint8_t*>(words_.data()), size_};
    }
    /// Its first 16-bit words as codes. Uses up the content.
    [[nodiscard]] Codes take_words(std::size_t count) {
        words_.shorten(count);
        return std::move(words_);
    }

private:
    Codes words_;
    std::size_t size_;
};

/// The frame on the library's scale.
[[nodiscard]] Capture to_capture(FileFrame frame);
/// `codes` of `bits` bits on it, as many `samples`.
void to_library_scale(std::span<const uint16_t> codes, int bits, uint32_t* samples);

/// The 12-bit code of a sample of `bits` bits: fewer are shifted up, more are rounded to nearest and end at 4095.
[[nodiscard]] uint32_t to_library_scale(uint32_t sample, int bits);
/// That of the mean of `count` samples whose sum is known, rounded once.
[[nodiscard]] uint32_t mean_on_library_scale(uint64_t sum, uint32_t count, int bits);

/// Largest step between codes of `bits` bits on the library's scale.
[[nodiscard]] double code_step(int bits);

/// Library samples as a file of 12 bits takes them: what exceeds 4095 becomes 4095.
[[nodiscard]] Codes to_file_codes(std::span<const uint32_t> samples);

/// Throws InputError where the sensor has one channel; `what` needs colours.
void require_colours(const Capture& capture, const char* what);

/// What a saturated sample of the sensor is on the library's scale.
[[nodiscard]] uint32_t full_scale_code(const SensorGeometry& sensor);

/// Two-byte samples, or one-byte ones, as files hold them.
struct SampleForm {
    bool wide = true;
    bool big_endian = false;
};

/// Fills `codes` from as many samples.
void decode_samples(std::span<const uint8_t> bytes, const SampleForm& form, std::span<uint16_t> codes);

/// Whether one of the codes has more bits. Walks all.
[[nodiscard]] bool exceed(std::span<const uint16_t> codes, int bits);

/// Photosites of the sensor.
[[nodiscard]] std::size_t photosites(const SensorGeometry& sensor);

/// Codes of the frame's size. Throws InputError for one that its depth does not hold.
void set_codes(FileFrame& frame, Codes codes);
/// That error, for codes of which one is known to exceed the depth.
[[noreturn]] void refuse_codes(const Capture& capture, const Codes& codes);

/// As decode_samples and set_codes.
void fill_codes(FileFrame& frame, std::span<const uint8_t> bytes, const SampleForm& form);

void write_samples(std::ostream& stream, std::span<const uint16_t> samples, const SampleForm& form);

}  // namespace cali::host
