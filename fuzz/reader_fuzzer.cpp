// One reader of captures, chosen as it is compiled: FUZZED_PROBE and FUZZED_READ are its functions.

#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "base/error.h"
#include "captures/camera_raw_file.h"
#include "captures/file_form.h"
#include "captures/limits.h"
#include "captures/pgm_file.h"
#include "captures/png_file.h"
#include "captures/raw_file.h"
#include "captures/tiff_file.h"
#include "draw.h"

namespace {

using namespace cali::host;
using cali::fuzz::Draw;

struct Form {
    void (*probe)(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
    void (*read)(FileFrame& frame, FileContent& content, const Geometry& geometry);
};
const Form kForm = {FUZZED_PROBE, FUZZED_READ};

/// What the user tells; raw files are told most of it.
Geometry told(Draw& draw) {
    Geometry geometry;
    const bool all = FUZZED_PACKING >= 0 || draw.one_in(4);
    if (all) {
        geometry.width = draw.within(1, draw.one_in(16) ? kMaxSide : 40);
        geometry.height = draw.within(1, draw.one_in(16) ? kMaxSide : 40);
    }
    if (all || draw.one_in(2)) {
        geometry.bits = draw.within(kMinBits, kMaxBits);
    }
    geometry.pattern = draw.within(0, 3);
    geometry.mono = draw.one_in(8);
    if (FUZZED_PACKING > 0) {
        geometry.layout.packing = static_cast<Packing>(draw.within(1, 3));
        geometry.bits = 8 + 2 * static_cast<int>(*geometry.layout.packing);
    }
    if (FUZZED_PACKING >= 0 && draw.one_in(4)) {
        geometry.layout.stride_bytes = draw.within(1, draw.one_in(8) ? kMostLayoutBytes : 100);
        geometry.layout.header_bytes = draw.within(0, draw.one_in(8) ? kMostLayoutBytes : 100);
        geometry.layout.big_endian = draw.one_in(2);
    }
    return geometry;
}

/// Sets the checksum behind each of a PNG's chunks, which hardly any change would get past.
void mend_checksums(std::vector<uint8_t>& bytes) {
    constexpr std::size_t kAround = 12;  // length, name, checksum
    const auto word = [&](std::size_t at) {
        return std::size_t{bytes[at]} << 24U | std::size_t{bytes[at + 1]} << 16U | std::size_t{bytes[at + 2]} << 8U |
               bytes[at + 3];
    };
    for (std::size_t at = 8; at + kAround <= bytes.size();) {
        const std::size_t length = word(at);
        if (length > bytes.size() - at - kAround) {
            return;
        }
        const auto sum = static_cast<uint32_t>(crc32(0, bytes.data() + at + 4, static_cast<unsigned>(length + 4)));
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[at + 8 + length + i] = static_cast<uint8_t>(sum >> (24 - 8 * i));
        }
        at += length + kAround;
    }
}

/// LibRaw 0.20 writes beyond a text with names of this maker's models. The program loses no more by it than the process
/// that decodes; here it would end the fuzzer before it finds anything else.
bool names_hasselblad(std::span<const uint8_t> bytes) {
    constexpr std::string_view kName = "hasselblad";
    return std::search(bytes.begin(), bytes.end(), kName.begin(), kName.end(),
                       [](uint8_t byte, char letter) { return std::tolower(byte) == letter; }) != bytes.end();
}

/// Whether `work` takes its input.
template <typename Work>
bool accepted(Work work) {
    try {
        work();
        return true;
    } catch (const InputError& problem) {
        if (std::string_view(problem.what()).find("capture.bin: ") != 0) {
            std::abort();  // it does not name the input
        }
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Draw draw(data, size);
    const Geometry geometry = told(draw);
    std::vector<uint8_t> bytes = draw.rest();
    if (bytes.empty() || (kForm.read == read_camera_raw && names_hasselblad(bytes))) {
        return 0;
    }
    if (kForm.read == read_png) {
        mend_checksums(bytes);
    }
    Capture probed;
    probed.file = "capture.bin";
    const bool probe = accepted([&] { kForm.probe(probed, bytes, bytes.size(), geometry); });
    FileFrame frame;
    frame.capture.file = probed.file;
    FileContent content(bytes.size());
    std::ranges::copy(bytes, content.bytes().begin());
    if (!accepted([&] { kForm.read(frame, content, geometry); })) {
        return 0;
    }
    const SensorGeometry sensor = frame.capture.sensor;
    if (!probe || !same_sensor(probed.sensor, sensor) || frame.codes.size() != photosites(sensor) ||
        exceed(frame.codes, sensor.bits)) {
        std::abort();
    }
    const Capture capture = to_capture(std::move(frame));
    if (capture.samples.size() != photosites(sensor)) {
        std::abort();
    }
    return 0;
}
