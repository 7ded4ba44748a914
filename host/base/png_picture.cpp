#include "base/png_picture.h"

#include <png.h>

#include <stdexcept>

namespace cali::host {

std::string png_of(const std::vector<uint8_t>& pixels, std::size_t width, std::size_t height, PngEffort effort) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    image.flags = effort == PngEffort::little ? PNG_IMAGE_FLAG_FAST : 0;
    png_alloc_size_t size = 0;
    std::string bytes;
    // The first round tells the size alone.
    for (int round = 0; round < 2; ++round) {
        bytes.resize(size);
        if (png_image_write_to_memory(&image, round == 0 ? nullptr : bytes.data(), &size, 0, pixels.data(), 0,
                                      nullptr) == 0) {
            throw std::runtime_error(std::string("a picture cannot be made: ") + image.message);
        }
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace cali::host
