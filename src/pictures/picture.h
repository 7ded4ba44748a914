/// Debug pictures in binary PPM form, written to the current directory behind the debug switches.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/frame.h"

namespace cali {

/// An 8-bit picture: width * height * 3 bytes, red, green, blue per pixel.
struct Picture {
    uint8_t* rgb = nullptr;
    int32_t width = 0;
    int32_t height = 0;
};

/// A zeroed picture with its memory.
class OwnedPicture {
public:
    OwnedPicture(int32_t width, int32_t height)
        : bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3),
          picture_{bytes_.data(), width, height} {}

    [[nodiscard]] const Picture& get() const { return picture_; }

private:
    std::vector<uint8_t> bytes_;
    Picture picture_;
};

/// White of pictures in codes of 12 bits.
inline constexpr int32_t kWhiteOf12Bits = 4096;

/// A sample in 8 bits, at most 255.
[[nodiscard]] uint8_t limited_byte(uint32_t sample, int32_t full_scale);

/// Every writer replaces the file, then prints "output ppm to NAME". A file that cannot be opened is passed over.
/// `full_scale` is the sample that would give 256.

/// Each 2 x 2 cell in one colour: its red, the mean of its greens, its blue; low 8 bits. Absent photosites of an odd
/// last row or column count as 0.
void write_ppm_cells(const char* name, const Picture& picture, const ConstRawFrame& frame, int32_t full_scale);

/// Red, green and blue planes of the picture's size; at most 255.
void write_ppm_planes(const char* name, const Picture& picture, const std::array<const uint32_t*, 3>& planes,
                      int32_t full_scale);

/// Each photosite in its own colour alone; low 8 bits.
void write_ppm_mosaic(const char* name, const Picture& picture, const ConstRawFrame& frame, int32_t full_scale);

/// From six bytes per pixel, three 16-bit colours low byte first. The file is twice as long as its header announces:
/// the pixels are laid down six bytes wide but three bytes apart, and the whole buffer is written.
void write_ppm_wide(const std::string& name, const uint8_t* pixels, int32_t width, int32_t height);

}  // namespace cali
