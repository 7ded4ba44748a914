#include "captures/raw_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "captures/file_form.h"
#include "captures/packed_samples.h"

namespace cali::host {

namespace {

/// Of forms that hold pictures too: recognised by their first bytes.
struct KnownForm {
    std::string_view magic;
    const char* name;
};
constexpr std::array<KnownForm, 3> kKnownForms = {
    {{"\xFF\xD8\xFF", "JPEG"}, {"P6", "a colour PPM"}, {"P2", "a PGM as text"}}};

/// Empty where the content is of none.
std::string known_form(std::span<const uint8_t> head) {
    const std::string_view start(reinterpret_cast<const char*>(head.data()), head.size());
    for (const auto& [magic, name] : kKnownForms) {
        if (start.substr(0, magic.size()) == magic) {
            return name;
        }
    }
    return "";
}

/// Where the rows of a file are.
struct Layout {
    Packing packing = Packing::none;
    bool wide = true;  ///< two bytes a sample, where they are not packed
    std::size_t header = 0;
    std::size_t stride = 0;
    std::size_t row = 0;  ///< bytes of a row that hold samples

    /// The last row may end without its padding.
    [[nodiscard]] uint64_t least(int height) const {
        return header + stride * (static_cast<uint64_t>(height) - 1) + row;
    }
    [[nodiscard]] uint64_t most(int height) const { return header + stride * static_cast<uint64_t>(height); }
};

Layout layout_of(const Capture& capture, Packing packing, bool wide, const RawLayout& told) {
    const int width = capture.sensor.width;
    Layout layout{packing, wide, static_cast<std::size_t>(told.header_bytes.value_or(0)), 0, 0};
    layout.row =
        packing != Packing::none ? packed_row_bytes(packing, width) : static_cast<std::size_t>(width) * (wide ? 2 : 1);
    layout.stride = told.stride_bytes ? static_cast<std::size_t>(*told.stride_bytes) : layout.row;
    return layout;
}

/// The geometry and, where it leaves something open, the name of the file.
void set_geometry(Capture& capture, const Geometry& geometry) {
    const Geometry named = geometry_of_name(capture.file);
    set_told_pattern(capture, geometry);
    const auto width = geometry.width ? geometry.width : named.width;
    const auto height = geometry.height ? geometry.height : named.height;
    const Packing packing = geometry.layout.packing.value_or(Packing::none);
    const auto packed_bits = packing == Packing::none ? std::nullopt : std::optional(bits_of(packing));
    const auto bits = geometry.bits ? geometry.bits : packed_bits ? packed_bits : named.bits;
    require_known(capture.file, width && height, "size", "--size");
    require_known(capture.file, bits.has_value(), "bit depth", "--bits");
    if (packed_bits && bits != packed_bits) {
        throw InputError(capture.file.string() +
                         text(": packing %s holds %d bits a sample, expected a packing of %d bits",
                              kPackingNames[static_cast<std::size_t>(packing)], *packed_bits, *bits));
    }
    capture.sensor.width = *width;
    capture.sensor.height = *height;
    capture.sensor.bits = *bits;
}

/// The layout whose length the file has: words, or else bytes where the depth is 8, or else the packing of the depth.
Layout find_layout(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry) {
    set_geometry(capture, geometry);
    const SensorGeometry& sensor = capture.sensor;
    const RawLayout& told = geometry.layout;
    std::vector<Layout> layouts;
    if (told.packing.value_or(Packing::none) != Packing::none) {
        layouts = {layout_of(capture, *told.packing, false, told)};
    } else {
        layouts = {layout_of(capture, Packing::none, true, told)};
        if (sensor.bits == kMinBits) {
            layouts.push_back(layout_of(capture, Packing::none, false, told));
        }
        if (!told.packing && packing_of(sensor.bits) != Packing::none) {
            layouts.push_back(layout_of(capture, packing_of(sensor.bits), false, told));
        }
    }
    for (const Layout& layout : layouts) {
        if (layout.stride >= layout.row && bytes >= layout.least(sensor.height) &&
            bytes <= layout.most(sensor.height)) {
            return layout;
        }
    }
    if (const std::string form = known_form(head); !form.empty()) {
        throw InputError(capture.file.string() + ": is " + form +
                         ", which is not read; docs/captures.md tells what is");
    }
    const auto holds_rows = std::ranges::find_if(layouts, [](const Layout& each) { return each.stride >= each.row; });
    if (holds_rows == layouts.end()) {
        throw InputError(capture.file.string() + text(": a stride of %zu bytes, expected at least %zu for a row of %d",
                                                      layouts.back().stride, layouts.back().row, sensor.width));
    }
    const Layout& layout = *holds_rows;
    const std::string form =
        layout.packing == Packing::none ? "16 bits" : text("%d bits, packed", bits_of(layout.packing));
    throw InputError(capture.file.string() + ": " + (bytes < layout.least(sensor.height) ? "truncated: " : "") +
                     text("%llu bytes, expected %llu for ", static_cast<unsigned long long>(bytes),
                          static_cast<unsigned long long>(layout.most(sensor.height))) +
                     by(sensor.width, sensor.height) + " samples of " + form + ", the size by " +
                     (geometry.width && geometry.height ? geometry.source : "its name"));
}

bool is_plain(const Layout& layout, const Geometry& geometry) {
    return layout.packing == Packing::none && layout.wide && layout.header == 0 && layout.stride == layout.row &&
           !geometry.layout.big_endian.value_or(false) && std::endian::native == std::endian::little;
}

uint16_t swapped(uint16_t code) { return static_cast<uint16_t>(code >> 8U | code << 8U); }

/// Mean difference of neighbours of one colour in the codes as they are and with their bytes swapped.
struct Roughness {
    double as_is = 0;
    double swapped = 0;
    bool low_bytes_differ = false;
};
Roughness roughness(std::span<const uint16_t> codes) {
    Roughness found;
    for (std::size_t i = 2; i < codes.size(); ++i) {
        found.as_is += std::abs(codes[i] - codes[i - 2]);
        found.swapped += std::abs(swapped(codes[i]) - swapped(codes[i - 2]));
        found.low_bytes_differ = found.low_bytes_differ || (codes[i] & 0xFFU) != (codes[0] & 0xFFU);
    }
    const auto pairs = static_cast<double>(codes.size() - 2);
    found.as_is /= pairs;
    found.swapped /= pairs;
    return found;
}

/// Throws InputError where the other byte order is the right one: codes leave the depth and swapped ones do not, or
/// neighbours are far smoother swapped.
void check_byte_order(const Capture& capture, const Codes& codes, bool too_large, bool big_endian) {
    constexpr std::size_t kEnough = 1000;  // photosites that tell a roughness
    constexpr std::size_t kMostLookedAt = 1U << 18U;
    constexpr double kFarSmoother = 8;  // pictures in the right order are rougher when swapped
    const int most = (1 << capture.sensor.bits) - 1;
    const std::string expected =
        text("expected --byte-order %s (byte_order of a session)", big_endian ? "little" : "big");
    const std::string order =
        capture.file.string() + ": its bytes are not " + (big_endian ? "big" : "little") + "-endian 16-bit words: ";
    const auto exceeds = [most](uint16_t code) { return code > most; };
    if (too_large) {
        if (std::ranges::none_of(codes, exceeds, swapped)) {
            throw InputError(order + text("codes exceed %d bits, swapped ones do not; ", capture.sensor.bits) +
                             expected);
        }
        return;
    }
    if (codes.size() < kEnough || std::ranges::any_of(codes, exceeds, swapped)) {
        return;
    }
    // Bytes that were shifted up by 8 bits are smooth when swapped, too.
    const std::size_t count = std::min(codes.size(), kMostLookedAt);
    const Roughness found = roughness(std::span(codes).subspan((codes.size() - count) / 2, count));
    if (found.low_bytes_differ && found.as_is > kFarSmoother * found.swapped) {
        throw InputError(order +
                         text("neighbours differ by %.0f codes, swapped ones by %.0f; ", found.as_is, found.swapped) +
                         expected);
    }
}

}  // namespace

void probe_raw(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry) {
    (void)find_layout(capture, head, bytes, geometry);
}

bool is_plain_raw(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry) {
    return is_plain(find_layout(capture, head, bytes, geometry), geometry) && capture.sensor.bits < kMaxBits;
}

bool surely_codes(uint16_t word_bits, int bits) { return word_bits >> bits == 0 && swapped(word_bits) >> bits != 0; }

void read_raw(FileFrame& frame, FileContent& content, const Geometry& geometry) {
    const std::span<const uint8_t> bytes = content.bytes();
    const Layout layout = find_layout(frame.capture, bytes, bytes.size(), geometry);
    const SensorGeometry& sensor = frame.capture.sensor;
    const bool big_endian = geometry.layout.big_endian.value_or(false);
    const auto columns = static_cast<std::size_t>(sensor.width);
    const bool as_in_memory = is_plain(layout, geometry);
    Codes codes = as_in_memory ? content.take_words(photosites(sensor)) : Codes(photosites(sensor));
    for (std::size_t y = 0; !as_in_memory && y < static_cast<std::size_t>(sensor.height); ++y) {
        const auto from = bytes.subspan(layout.header + y * layout.stride, layout.row);
        const auto row = std::span(codes).subspan(y * columns, columns);
        if (layout.packing != Packing::none) {
            unpack_row(layout.packing, from, row);
        } else {
            decode_samples(from, {layout.wide, big_endian}, row);
        }
    }
    const bool too_large = exceed(codes, sensor.bits);
    if (layout.packing == Packing::none && layout.wide) {
        check_byte_order(frame.capture, codes, too_large, big_endian);
    }
    if (too_large) {
        refuse_codes(frame.capture, codes);
    }
    frame.codes = std::move(codes);
}

void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples) {
    OutputFile output(file);
    write_samples(output.stream(), samples, {true, false});
    output.commit();
}

void write_packed(const std::filesystem::path& file, int width, Packing packing, std::span<const uint16_t> samples) {
    OutputFile output(file);
    const auto columns = static_cast<std::size_t>(width);
    for (; !samples.empty(); samples = samples.subspan(columns)) {
        const std::vector<uint8_t> row = pack_row(packing, samples.first(columns));
        output.stream().write(reinterpret_cast<const char*>(row.data()), static_cast<std::streamsize>(row.size()));
    }
    output.commit();
}

}  // namespace cali::host
