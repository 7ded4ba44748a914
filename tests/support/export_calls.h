/// The long argument lists of the exports as records that a test fills, damages and calls.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "cali/cali.h"
#include "support/support.h"

namespace cali::test {

/// What the outputs hold before a call.
inline constexpr uint32_t kSentinel = 0xDEADBEEFU;

template <typename T>
void append_bytes(std::vector<unsigned char>& bytes, std::span<const T> values) {
    const auto* first = reinterpret_cast<const unsigned char*>(values.data());
    bytes.insert(bytes.end(), first, first + values.size_bytes());
}

/// cali_awb_calc and cali_awb_verify.
struct AwbCall : NoCopy {
    OwnedFrame input;
    reference::Grids nodes;
    reference::Samples output_samples = reference::Samples(input.samples.size(), kSentinel);
    std::array<uint16_t, 3> gains{0xBEEF, 0xBEEF, 0xBEEF};

    uint32_t* input_pointer = input.samples.data();
    uint32_t* output_pointer = output_samples.data();
    uint32_t height = static_cast<uint32_t>(input.height);
    reference::BlackLevelArguments black{{64, 65, 66, 67}, {1.0158F, 1.0161F, 1.0163F, 1.0166F}};
    std::array<uint16_t, 3> applied_gains{2048, 0, 1500};

    AwbCall(OwnedFrame frame_samples, reference::Grids grids)
        : input(std::move(frame_samples)), nodes(std::move(grids)) {}

    int32_t calc() {
        const auto& [offset, gain] = black;
        return cali_awb_calc(&input_pointer, input.width, height, input.pattern, nodes.cols, nodes.rows,
                             nodes.red.data(), nodes.green.data(), nodes.blue.data(), offset[0], offset[1], offset[2],
                             offset[3], gain[0], gain[1], gain[2], gain[3], &gains[0], &gains[1], &gains[2]);
    }
    int32_t verify() {
        const auto& [offset, gain] = black;
        return cali_awb_verify(&input_pointer, input.width, height, input.pattern, nodes.cols, nodes.rows,
                               nodes.red.data(), nodes.green.data(), nodes.blue.data(), offset[0], offset[1], offset[2],
                               offset[3], gain[0], gain[1], gain[2], gain[3], applied_gains[0], applied_gains[1],
                               applied_gains[2], &output_pointer);
    }

    /// All that a call could change.
    [[nodiscard]] std::vector<unsigned char> state() const {
        std::vector<unsigned char> bytes;
        append_bytes<uint32_t>(bytes, input.samples);
        append_bytes<uint32_t>(bytes, output_samples);
        append_bytes<uint16_t>(bytes, gains);
        return bytes;
    }
};

/// The black-level exports. Channels in the order RR, GR, GB, BB.
struct BlcCall : NoCopy {
    OwnedFrame input;
    uint32_t blocks;
    reference::Samples output_samples = reference::Samples(input.samples.size(), kSentinel);
    std::array<uint32_t, 4> offsets{kSentinel, kSentinel, kSentinel, kSentinel};
    std::array<float, 4> gains{-7, -7, -7, -7};
    std::array<reference::Samples, 4> block_offsets, histograms;

    uint32_t* input_pointer = input.samples.data();
    uint32_t* output_pointer = output_samples.data();
    uint32_t width = static_cast<uint32_t>(input.width), height = static_cast<uint32_t>(input.height);
    int32_t pattern = input.pattern;
    int32_t is_12bit = 1;
    reference::BlackLevelArguments black{{64, 65, 66, 67}, {1.0158F, 1.0161F, 1.0163F, 1.0166F}};

    explicit BlcCall(OwnedFrame frame_samples, uint32_t block_count = 2)
        : input(std::move(frame_samples)), blocks(block_count) {
        for (std::size_t i = 0; i < 4; ++i) {
            // One entry more than is written.
            block_offsets[i].assign(std::size_t{blocks} * blocks / 4 + 1, kSentinel);
            histograms[i].assign(4096, kSentinel);
        }
    }

    int32_t median() {
        return cali_blc_calc_by_median(&input_pointer, width, height, pattern, &offsets[0], &offsets[1], &offsets[2],
                                       &offsets[3], &gains[0], &gains[1], &gains[2], &gains[3]);
    }
    int32_t mean() {
        return cali_blc_calc_by_mean(&input_pointer, width, height, pattern, &offsets[0], &offsets[1], &offsets[2],
                                     &offsets[3], &gains[0], &gains[1], &gains[2], &gains[3]);
    }
    int32_t deviation() {
        return cali_blc_calc(&input_pointer, static_cast<int32_t>(width), static_cast<int32_t>(height), pattern,
                             &offsets[0], &offsets[1], &offsets[2], &offsets[3], &gains[0], &gains[1], &gains[2],
                             &gains[3], is_12bit);
    }
    int32_t local() {
        return cali_blc_calc_by_localblc(&input_pointer, static_cast<int32_t>(width), static_cast<int32_t>(height),
                                         pattern, block_offsets[0].data(), block_offsets[1].data(),
                                         block_offsets[2].data(), block_offsets[3].data(), nullptr, nullptr, nullptr,
                                         nullptr, blocks);
    }
    int32_t get_histogram() {
        return cali_blc_get_histogram(&input_pointer, width, height, static_cast<uint32_t>(pattern),
                                      histograms[0].data(), histograms[1].data(), histograms[2].data(),
                                      histograms[3].data());
    }
    int32_t verify() {
        const auto& [black_offset, black_gain] = black;
        return cali_blc_verify(&input_pointer, width, height, static_cast<uint32_t>(pattern), black_offset[0],
                               black_offset[1], black_offset[2], black_offset[3], black_gain[0], black_gain[1],
                               black_gain[2], black_gain[3], &output_pointer);
    }

    /// All that a call could change.
    [[nodiscard]] std::vector<unsigned char> state() const {
        std::vector<unsigned char> bytes;
        append_bytes<uint32_t>(bytes, input.samples);
        append_bytes<uint32_t>(bytes, output_samples);
        append_bytes<uint32_t>(bytes, offsets);
        append_bytes<float>(bytes, gains);
        for (std::size_t i = 0; i < 4; ++i) {
            append_bytes<uint32_t>(bytes, block_offsets[i]);
            append_bytes<uint32_t>(bytes, histograms[i]);
        }
        return bytes;
    }
};

/// cali_lsc_calc, and cali_lsc_verify on what it gave.
struct LscCall : NoCopy {
    OwnedFrame input;
    int32_t cols, rows;
    std::vector<int32_t> nodes = std::vector<int32_t>(static_cast<std::size_t>(cols * rows), -7);
    std::array<std::vector<int32_t>, 3> mesh{nodes, nodes, nodes};  ///< red, green, blue
    std::vector<int32_t> radial = std::vector<int32_t>(128, -7);
    reference::Samples mesh_samples = reference::Samples(input.samples.size(), kSentinel);
    reference::Samples radial_samples = mesh_samples;

    uint32_t* input_pointer = input.samples.data();
    uint32_t* mesh_output_pointer = mesh_samples.data();
    uint32_t* radial_output_pointer = radial_samples.data();

    int32_t width = input.width, height = input.height, pattern = input.pattern;
    int32_t type = 0, denoise = 0;
    std::array<int32_t, 4> blc{64, 65, 66, 67};
    int32_t center_x = -7, center_y = -7, norm = -7;
    int32_t *red = mesh[0].data(), *green = mesh[1].data(), *blue = mesh[2].data();
    int32_t* radius_lut = radial.data();
    reference::BlackLevelArguments black{{64, 65, 66, 67}, {1.0158F, 1.0161F, 1.0163F, 1.0166F}};

    LscCall(OwnedFrame frame, int32_t grid_cols, int32_t grid_rows)
        : input(std::move(frame)), cols(grid_cols), rows(grid_rows) {}

    int32_t calc() {
        return cali_lsc_calc(&input_pointer, width, height, pattern, cols, rows, type, denoise, blc[0], blc[1], blc[2],
                             blc[3], &center_x, &center_y, nullptr, &norm, red, green, blue, radius_lut);
    }
    int32_t verify() {
        const auto& [offset, gain] = black;
        return cali_lsc_verify(&input_pointer, width, height, pattern, cols, rows, 0, offset[0], offset[1], offset[2],
                               offset[3], gain[0], gain[1], gain[2], gain[3], center_x, center_y, 0, 0, red, green,
                               blue, radius_lut, &mesh_output_pointer, &radial_output_pointer);
    }

    /// All that a call could change.
    [[nodiscard]] std::vector<unsigned char> state() const {
        std::vector<unsigned char> bytes;
        append_bytes<uint32_t>(bytes, input.samples);
        append_bytes<uint32_t>(bytes, mesh_samples);
        append_bytes<uint32_t>(bytes, radial_samples);
        for (const std::vector<int32_t>& table : mesh) {
            append_bytes<int32_t>(bytes, table);
        }
        append_bytes<int32_t>(bytes, radial);
        append_bytes<int32_t>(bytes, std::array{center_x, center_y, norm});
        return bytes;
    }
};

/// The exports of the noise profile. By level and frame.
struct SeriesCall : NoCopy {
    using Series = std::vector<std::vector<reference::Samples>>;

    Series series;
    uint32_t width, height;
    LevelListOwner owner;
    LevelList list = *owner.get();
    int releases = 0;

    SeriesCall(Series frames, uint32_t frame_width, uint32_t frame_height)
        : series(std::move(frames)), width(frame_width), height(frame_height), owner(pointers_of(series)) {
        list.release = [](LevelList* taken) { ++static_cast<SeriesCall*>(taken->owner)->releases; };
        list.owner = this;
    }

    [[nodiscard]] int32_t count() const { return static_cast<int32_t>(series.size()); }
    [[nodiscard]] int32_t nframes() const { return series.empty() ? 0 : static_cast<int32_t>(series[0].size()); }

    /// A mean and a spread per level for each of `positions`, and the result.
    int32_t measure(decltype(cali_isp_roi_mean_std_calc) statistics, std::size_t positions) {
        means.assign(positions, std::vector<float>(series.size(), 7));
        spreads = means;
        std::vector<float*> mean_pointers;
        std::vector<float*> spread_pointers;
        for (std::size_t c = 0; c < positions; ++c) {
            mean_pointers.push_back(means[c].data());
            spread_pointers.push_back(spreads[c].data());
        }
        return statistics(list, width, height, count(), static_cast<int32_t>(positions), nframes(),
                          mean_pointers.data(), spread_pointers.data());
    }
    std::vector<std::vector<float>> means, spreads;

private:
    static std::vector<std::vector<uint32_t*>> pointers_of(Series& series) {
        std::vector<std::vector<uint32_t*>> pointers(series.size());
        for (std::size_t k = 0; k < series.size(); ++k) {
            for (reference::Samples& frame : series[k]) {
                pointers[k].push_back(frame.data());
            }
        }
        return pointers;
    }
};

}  // namespace cali::test
