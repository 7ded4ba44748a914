#include "pictures/raw_picture.h"

#include "core/scratch.h"
#include "pictures/demosaic.h"
#include "pictures/picture.h"

namespace cali {
void write_raw_picture(const ConstRawFrame& frame, const FrontEnd& front_end) {
    const Scratch<uint32_t> corrected(frame.size());
    apply_front_end(frame, front_end, corrected.data());
    const Scratch<RgbPixel> pixels(frame.size());
    demosaic({corrected.data(), frame.width, frame.height, frame.pattern}, pixels.data());
    const Scratch<uint8_t> bytes(frame.size() * 6);
    uint8_t* next = bytes.data();
    for (const RgbPixel& pixel : pixels.span()) {
        for (const uint32_t code : pixel) {
            *next++ = limited_byte(code, kWhiteOf12Bits);
            *next++ = 0;
        }
    }
    write_ppm_wide("raw2rgb.ppm", bytes.data(), frame.width, frame.height);
}

}  // namespace cali
