#include "lsc/uniformity.h"

#include <algorithm>

#include "core/arithmetic.h"
#include "core/channel.h"
#include "stages/front_end.h"

namespace cali::lsc {
namespace {

/// From the middle of the frame: an eighth of its width by a sixth of its height.
WbGains centre_gains(const ConstRawFrame& frame) {
    const auto half_width = static_cast<int32_t>(frame.width * 0.125 * 0.5);
    const auto half_height = static_cast<int32_t>(frame.height * 0.1667 * 0.5);
    const int32_t first_row = (frame.height - 2 * half_height) / 2;
    const int32_t first_column = (frame.width - 2 * half_width) / 2;
    float red = 0;
    float green = 0;
    float blue = 0;
    for (int32_t y = first_row; y < first_row + 2 * half_height; ++y) {
        for (int32_t x = first_column; x < first_column + 2 * half_width; ++x) {
            const auto sample = static_cast<float>(frame.row(y)[x]);
            switch (bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x))) {
                case RR: red += sample; break;
                case BB: blue += sample; break;
                default: green += sample; break;
            }
        }
    }
    const int32_t count = 2 * half_height * 2 * half_width;
    const auto quarter = static_cast<float>(count / 4);
    const float mean_green = green / static_cast<float>(count / 2);
    return {wb_gain_register(mean_green, red / quarter), wb_gain_register(mean_green, blue / quarter)};
}

int32_t distance(uint32_t a, uint32_t b) {
    const auto difference = static_cast<int32_t>(a - b);
    return static_cast<int32_t>(a) < static_cast<int32_t>(b) ? wrap_sub(0, difference) : difference;
}

/// Absent photosites of an odd last row or column count as 0.
std::array<uint32_t, 3> cell_colour(const ConstRawFrame& frame, int32_t y, int32_t x) {
    PerChannel<uint32_t> samples;
    for (int32_t r = y; r < std::min(y + 2, frame.height); ++r) {
        for (int32_t c = x; c < std::min(x + 2, frame.width); ++c) {
            samples[bayer_channel(frame.pattern, static_cast<uint32_t>(r), static_cast<uint32_t>(c))] = frame.row(r)[c];
        }
    }
    const auto greens = static_cast<int32_t>(samples[GR] + samples[GB]);
    return {samples[RR], static_cast<uint32_t>(greens >> 1), samples[BB]};
}

}  // namespace

UniformityReport::UniformityReport(int32_t width, int32_t height) : picture_(width, height) {
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    balanced_ = Scratch<uint32_t>(size);
    for (Scratch<uint32_t>& plane : cells_) {
        plane = Scratch<uint32_t>(size);
    }
}

Uniformity UniformityReport::run(const ConstRawFrame& input, const ConstRawFrame& mesh_output,
                                 const ConstRawFrame& radial_output) {
    write_ppm_mosaic("_lsc_in.ppm", picture_.get(), input, kWhiteOf12Bits);
    write_ppm_mosaic("_lscm_out.ppm", picture_.get(), mesh_output, kWhiteOf12Bits);
    write_ppm_mosaic("_lscr_out.ppm", picture_.get(), radial_output, kWhiteOf12Bits);
    FrontEnd balance;
    balance.wb_gains = centre_gains(mesh_output);
    apply_front_end(radial_output, balance, balanced_.data());
    write_cells("_radius_lsc_A_in.ppm", input);
    write_cells("_radius_lsc_A_lsc_ByAvg.ppm", radial_output);
    write_cells("_radius_lsc_A_wb_ByAvg.ppm", {balanced_.data(), input.width, input.height, input.pattern});
    return statistics(input.width, input.height);
}

void UniformityReport::write_cells(const char* name, const ConstRawFrame& frame) {
    std::size_t i = 0;
    for (int32_t y = 0; y < frame.height; ++y) {
        for (int32_t x = 0; x < frame.width; ++x, ++i) {
            const std::array<uint32_t, 3> colour = cell_colour(frame, y & ~1, x & ~1);
            for (std::size_t k = 0; k < colour.size(); ++k) {
                cells_[k][i] = colour[k];
            }
        }
    }
    write_ppm_planes(name, picture_.get(), {cells_[0].data(), cells_[1].data(), cells_[2].data()}, kWhiteOf12Bits);
}

Uniformity UniformityReport::statistics(int32_t width, int32_t height) const {
    const std::size_t middle =
        static_cast<std::size_t>(height / 2) * static_cast<std::size_t>(width) + static_cast<std::size_t>(width / 2);
    float chroma_red = 0;
    float chroma_blue = 0;
    std::array<float, 3> luma{};
    float total = 0;
    for (std::size_t i = 0; i < balanced_.size(); ++i) {
        chroma_red += static_cast<float>(distance(cells_[0][i], cells_[1][i]));
        chroma_blue += static_cast<float>(distance(cells_[2][i], cells_[1][i]));
        int32_t sum = 0;
        for (std::size_t k = 0; k < luma.size(); ++k) {
            const int32_t from_centre = distance(cells_[k][i], cells_[k][middle]);
            luma[k] += static_cast<float>(from_centre);
            sum = wrap_add(sum, from_centre);
        }
        total += static_cast<float>(sum);
    }
    const auto mean = [&](float sum, int32_t per_photosite) {
        return static_cast<double>(sum / static_cast<float>(per_photosite * width * height));
    };
    return {mean(chroma_red, 1),
            mean(chroma_blue, 1),
            {mean(luma[0], 1), mean(luma[1], 1), mean(luma[2], 1)},
            mean(total, 3)};
}

}  // namespace cali::lsc
