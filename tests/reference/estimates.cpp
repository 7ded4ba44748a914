#include "reference/estimates.h"

#include <algorithm>
#include <cmath>

namespace cali::reference {
namespace {

constexpr std::array<std::size_t, 4> kRedFirst = {3, 2, 1, 0};

float restoring_gain(int32_t offset) {
    const auto rest = static_cast<int32_t>(4096U - static_cast<uint32_t>(offset));
    return static_cast<float>(4096.0 / static_cast<double>(static_cast<float>(rest)));
}

/// Takes the offsets by channel code.
void deliver(BlackLevelEstimate& estimate, const std::array<int32_t, 4>& offset) {
    for (std::size_t i = 0; i < 4; ++i) {
        estimate.offset[i] = static_cast<uint32_t>(offset[kRedFirst[i]]);
        estimate.gain[i] = restoring_gain(offset[kRedFirst[i]]);
    }
}

void print_report(BlackLevelEstimate& estimate) {
    const std::array<const char*, 4> names = {"rr", "gr", "gb", "bb"};
    for (std::size_t i = 0; i < 4; ++i) {
        estimate.printed += text("blc_%s_offset = %d\n", names[i], static_cast<int>(estimate.offset[i]));
    }
    for (std::size_t i = 0; i < 4; ++i) {
        estimate.printed += text("blc_%s_gain = %f\n", names[i], static_cast<double>(estimate.gain[i]));
    }
}

std::size_t code_at(int pattern, uint32_t row, uint32_t column) {
    return static_cast<std::size_t>(colour_code(pattern, row, column));
}

}  // namespace

HistogramBlock histogram(const Samples& frame, uint32_t width, uint32_t height, int pattern, bool report) {
    HistogramBlock block;
    block.count.fill(Samples(4096, 0));
    for (uint32_t row = 0; row < height; ++row) {
        for (uint32_t column = 0; column < width; ++column) {
            const uint32_t sample = frame[row * width + column];
            if (sample < 4096) {
                block.count[code_at(pattern, row, column)][sample] += 1;
            }
        }
    }
    if (report) {
        block.printed = "Value\tBB\tGB\tGR\tRR\n";
        for (std::size_t value = 0; value < 4096; ++value) {
            std::array<int, 4> n{};
            for (std::size_t code = 0; code < 4; ++code) {
                n[code] = static_cast<int>(block.count[code][value]);
            }
            if (n[0] != 0 || n[1] != 0 || n[2] != 0 || n[3] != 0) {
                block.printed += text("%d\t%d\t%d\t%d\t%d\n", static_cast<int>(value), n[0], n[1], n[2], n[3]);
            }
        }
    }
    return block;
}

BlackLevelEstimate median_black_level(const Samples& frame, uint32_t width, uint32_t height, int pattern, bool report) {
    const HistogramBlock block = histogram(frame, width, height, pattern, report);
    BlackLevelEstimate estimate;
    estimate.printed = block.printed;

    const auto n = static_cast<int32_t>(width * height);
    const auto target = static_cast<uint32_t>(n / 4 / 2);
    std::array<int32_t, 4> median{};
    for (std::size_t code = 0; code < 4; ++code) {
        uint32_t running = 0;
        for (int32_t bin = 0; bin < 4096; ++bin) {
            running += block.count[code][static_cast<std::size_t>(bin)];
            if (running >= target) {
                median[code] = bin;
                break;
            }
        }
    }
    for (std::size_t code = 0; code < 4; ++code) {
        if (median[code] < 1) {
            estimate.printed += text("ch=%d, blc_offset(=%d) <= BLC_CALIB_MIN(=%d)\n", static_cast<int>(code),
                                     static_cast<int>(median[code]), 0);
            estimate.result = 1;
        } else if (median[code] >= 800) {
            estimate.printed += text("ch=%d, blc_offset(=%d) >= BLC_CALIB_MAX(=%d)\n", static_cast<int>(code),
                                     static_cast<int>(median[code]), 800);
            estimate.result = 1;
        }
    }
    deliver(estimate, median);
    if (report) {
        print_report(estimate);
    }
    return estimate;
}

BlackLevelEstimate mean_black_level(const Samples& frame, uint32_t width, uint32_t height, int pattern, bool report) {
    const auto narrow_width = static_cast<uint16_t>(width);
    const auto narrow_height = static_cast<uint16_t>(height);
    std::array<uint32_t, 4> count{};
    std::array<float, 4> sum{};
    for (uint32_t row = 0; row < narrow_height; ++row) {
        for (uint32_t column = 0; column < narrow_width; ++column) {
            const std::size_t code = code_at(pattern, row, column);
            count[code] += 1;
            sum[code] = sum[code] + static_cast<float>(frame[row * narrow_width + column]);
        }
    }
    std::array<int32_t, 4> offset{};
    for (std::size_t code = 0; code < 4; ++code) {
        const float mean = sum[code] / static_cast<float>(count[code]);
        offset[code] = x86_int32(static_cast<double>(mean) + 0.5);
    }
    BlackLevelEstimate estimate;
    deliver(estimate, offset);
    if (report) {
        print_report(estimate);
    }
    estimate.printed += "blc result=0\n";
    return estimate;
}

BlackLevelEstimate deviation_black_level(const Samples& frame, int width, int height, int pattern, bool is_12bit) {
    std::array<uint32_t, 4> sum{};
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            sum[code_at(pattern, static_cast<uint32_t>(row), static_cast<uint32_t>(column))] +=
                frame[static_cast<std::size_t>(row * width + column)];
        }
    }
    const auto quarter = static_cast<float>(width * height / 4);
    std::array<float, 4> mean{};
    for (std::size_t code = 0; code < 4; ++code) {
        mean[code] = static_cast<float>(sum[code]) / quarter;
    }
    std::array<float, 4> squares{};
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const std::size_t code = code_at(pattern, static_cast<uint32_t>(row), static_cast<uint32_t>(column));
            const float deviation =
                static_cast<float>(frame[static_cast<std::size_t>(row * width + column)]) - mean[code];
            squares[code] = squares[code] + deviation * deviation;
        }
    }
    std::array<int32_t, 4> offset{};
    for (std::size_t code = 0; code < 4; ++code) {
        const float sd = std::sqrt(squares[code] / quarter);
        const float estimate = sd * 0.1F + mean[code] + 0.5F;
        offset[code] = std::min(x86_int32(static_cast<double>(estimate)), is_12bit ? 4095 : 1023);
    }
    BlackLevelEstimate estimate;
    deliver(estimate, offset);
    return estimate;
}

std::array<Samples, 4> local_black_level(const Samples& frame, int width, int height, int pattern, uint32_t blocks) {
    const auto plane_width = static_cast<uint32_t>(width / 2);
    const auto plane_height = static_cast<uint32_t>(height / 2);
    std::array<Samples, 4> planes;
    planes.fill(Samples(std::size_t{plane_width} * plane_height));
    for (uint32_t row = 0; row < plane_height * 2; ++row) {
        for (uint32_t column = 0; column < plane_width * 2; ++column) {
            planes[code_at(pattern, row, column)][(row >> 1) * plane_width + (column >> 1)] =
                frame[row * static_cast<uint32_t>(width) + column];
        }
    }

    std::array<Samples, 4> offsets;
    for (std::size_t i = 0; i < 4; ++i) {
        const Samples& plane = planes[kRedFirst[i]];
        std::vector<float> means;
        uint32_t block_width = static_cast<uint16_t>(static_cast<uint32_t>(width) / blocks);
        uint32_t block_height = static_cast<uint16_t>(static_cast<uint32_t>(height) / blocks);
        for (uint32_t top = 0; top < plane_height; top += block_height) {
            if (plane_height - top < 2 * block_height) {
                block_height = plane_height - top;
            }
            for (uint32_t left = 0; left < plane_width; left += block_width) {
                if (plane_width - left < 2 * block_width) {
                    block_width = plane_width - left;
                }
                float sum = 0;
                for (uint32_t row = top; row < top + block_height; ++row) {
                    for (uint32_t column = left; column < left + block_width; ++column) {
                        sum = sum + static_cast<float>(plane[row * plane_width + column]);
                    }
                }
                means.push_back(sum / static_cast<float>(block_width * block_height));
            }
        }
        means.resize(std::size_t{blocks} * blocks / 4, 0.0F);
        for (const float mean : means) {
            offsets[i].push_back(static_cast<uint32_t>(x86_int32(static_cast<double>(mean) + 0.5)));
        }
    }
    return offsets;
}

WhiteBalance wb_calibration(const Samples& frame, int width, int height, int pattern, const Grids& grids,
                            const BlackLevelArguments& black, const Window& window) {
    WhiteBalance balance;
    const Samples subtracted = black_level(frame, width, height, pattern, black);
    const Samples corrected = mesh_shading(subtracted, width, height, pattern, grids, balance.printed);

    const bool empty = window.width <= 0 || window.height <= 0;
    const char* fault = nullptr;
    if (int64_t{window.x} + window.width >= width || (!empty && window.x < 0)) {
        fault = "ROI X,W is wrong";
    } else if (int64_t{window.y} + window.height >= height || (!empty && window.y < 0)) {
        fault = "ROI Y,H  is wrong";
    }
    if (fault != nullptr) {
        balance.warnings.push_back(std::string("WB Calib Warning: ") + fault);
        balance.result = -1;
        return balance;
    }

    float sum_r = 0;
    float sum_g = 0;
    float sum_b = 0;
    for (int row = window.y; row < int64_t{window.y} + window.height; ++row) {
        for (int column = window.x; column < int64_t{window.x} + window.width; ++column) {
            const auto sample = static_cast<float>(corrected[static_cast<std::size_t>(row * width + column)]);
            const std::size_t code = code_at(pattern, static_cast<uint32_t>(row), static_cast<uint32_t>(column));
            float& sum = code == 3 ? sum_r : code == 0 ? sum_b : sum_g;
            sum = sum + sample;
        }
    }
    const auto area = static_cast<int32_t>(static_cast<uint32_t>(window.width) * static_cast<uint32_t>(window.height));
    const float mean_g = sum_g / static_cast<float>(area / 2);
    const float mean_r = sum_r / static_cast<float>(area / 4);
    const float mean_b = sum_b / static_cast<float>(area / 4);
    if (mean_g > 2866.5F) {
        balance.warnings.emplace_back("WB Calib Warning: Too Bright");
    }
    if (mean_g < 614.25F) {
        balance.warnings.emplace_back("WB Calib Warning: Too Dark");
    }

    const auto gain = [mean_g](float mean) {
        const float scaled = mean_g / mean * 1024.0F + 0.5F;
        const uint32_t low = static_cast<uint32_t>(x86_int32(static_cast<double>(scaled))) % 65536U;
        return static_cast<uint16_t>(low >= 16383U ? 16383U : low);
    };
    balance.gain = {gain(mean_r), 1024, gain(mean_b)};
    return balance;
}

}  // namespace cali::reference
