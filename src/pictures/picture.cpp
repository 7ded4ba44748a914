#include "pictures/picture.h"

#include <algorithm>
#include <cstdio>

#include "core/arithmetic.h"
#include "core/channel.h"
#include "pictures/debug_file.h"

namespace cali {
namespace {

int32_t scale(uint32_t sample, int32_t full_scale) {
    return to_int32(static_cast<double>(static_cast<float>(sample)) * 256.0 /
                    static_cast<double>(static_cast<float>(full_scale)));
}

uint8_t low_byte(int32_t value) { return static_cast<uint8_t>(static_cast<uint32_t>(value) & 0xFFU); }

/// Says so when the file is complete.
void write_file(const char* name, int32_t width, int32_t height, const uint8_t* bytes, std::size_t size) {
    {
        const DebugFile file = open_debug_file(name);
        if (!file) {
            return;
        }
        std::fprintf(file.get(), "P6 %d %d 255\n", width, height);
        std::fwrite(bytes, 1, size, file.get());
    }
    std::printf("output ppm to %s\n", name);
}

void write_picture(const char* name, const Picture& picture) {
    write_file(name, picture.width, picture.height, picture.rgb,
               static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 3);
}

uint8_t* pixel(const Picture& picture, int32_t y, int32_t x) {
    return picture.rgb +
           (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) + static_cast<std::size_t>(x)) * 3;
}

}  // namespace

uint8_t limited_byte(uint32_t sample, int32_t full_scale) { return low_byte(std::min(scale(sample, full_scale), 255)); }

void write_ppm_cells(const char* name, const Picture& picture, const ConstRawFrame& frame, int32_t full_scale) {
    for (int32_t y = 0; y < frame.height; y += 2) {
        const int32_t end_y = std::min(y + 2, frame.height);
        for (int32_t x = 0; x < frame.width; x += 2) {
            const int32_t end_x = std::min(x + 2, frame.width);
            PerChannel<int32_t> cell;
            for (int32_t r = y; r < end_y; ++r) {
                for (int32_t c = x; c < end_x; ++c) {
                    cell[bayer_channel(frame.pattern, static_cast<uint32_t>(r), static_cast<uint32_t>(c))] =
                        scale(frame.row(r)[c], full_scale);
                }
            }
            const std::array<uint8_t, 3> rgb = {low_byte(cell[RR]), low_byte(wrap_add(cell[GR], cell[GB]) >> 1),
                                                low_byte(cell[BB])};
            for (int32_t r = y; r < end_y; ++r) {
                for (int32_t c = x; c < end_x; ++c) {
                    std::ranges::copy(rgb, pixel(picture, r, c));
                }
            }
        }
    }
    write_picture(name, picture);
}

void write_ppm_planes(const char* name, const Picture& picture, const std::array<const uint32_t*, 3>& planes,
                      int32_t full_scale) {
    const std::size_t pixels = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
    for (std::size_t i = 0; i < pixels; ++i) {
        for (std::size_t k = 0; k < planes.size(); ++k) {
            picture.rgb[i * 3 + k] = limited_byte(planes[k][i], full_scale);
        }
    }
    write_picture(name, picture);
}

void write_ppm_mosaic(const char* name, const Picture& picture, const ConstRawFrame& frame, int32_t full_scale) {
    for (int32_t y = 0; y < frame.height; ++y) {
        for (int32_t x = 0; x < frame.width; ++x) {
            const Channel channel = bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            uint8_t* const rgb = pixel(picture, y, x);
            std::fill_n(rgb, 3, uint8_t{0});
            rgb[colour_of(channel)] = low_byte(scale(frame.row(y)[x], full_scale));
        }
    }
    write_picture(name, picture);
}

void write_ppm_wide(const std::string& name, const uint8_t* pixels, int32_t width, int32_t height) {
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<uint8_t> bytes(count * 6);
    for (std::size_t p = 0; p < count; ++p) {
        for (std::size_t k = 0; k < 3; ++k) {
            bytes[p * 3 + k * 2] = pixels[p * 6 + k * 2];
            bytes[p * 3 + k * 2 + 1] = 0;
        }
    }
    write_file(name.c_str(), width, height, bytes.data(), bytes.size());
}

}  // namespace cali
