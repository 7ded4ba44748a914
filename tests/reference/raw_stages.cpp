#include "reference/raw_stages.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace cali::reference {
namespace {

/// Signed 32-bit arithmetic that wraps.
int32_t add(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
int32_t mul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }

const std::array<std::array<int, 4>, 33> kFilter = {{
    {679, 2725, 679, 10},   {650, 2723, 709, 11},  {621, 2720, 739, 12},   {594, 2715, 771, 13},
    {567, 2708, 803, 14},   {541, 2700, 836, 16},  {517, 2690, 870, 17},   {492, 2678, 904, 19},
    {469, 2664, 940, 20},   {446, 2649, 976, 22},  {425, 2632, 1013, 24},  {404, 2613, 1050, 26},
    {384, 2593, 1088, 28},  {364, 2571, 1127, 30}, {346, 2548, 1166, 33},  {328, 2524, 1206, 35},
    {311, 2497, 1247, 38},  {294, 2470, 1288, 41}, {278, 2441, 1329, 45},  {263, 2411, 1371, 48},
    {249, 2379, 1413, 52},  {235, 2347, 1456, 56}, {222, 2313, 1498, 60},  {209, 2278, 1541, 64},
    {197, 2242, 1585, 69},  {185, 2206, 1628, 74}, {174, 2168, 1671, 80},  {164, 2130, 1714, 85},
    {154, 2090, 1757, 91},  {145, 2050, 1800, 98}, {136, 2010, 1843, 105}, {127, 1969, 1885, 112},
    {119, 1927, 1927, 119},
}};

int filter_tap(int phase, int tap) {
    const auto p = static_cast<std::size_t>(phase);
    const auto t = static_cast<std::size_t>(tap);
    return phase <= 32 ? kFilter[p][t] : kFilter[64 - p][3 - t];
}

int32_t filtered(const std::array<int32_t, 4>& values, int phase) {
    int32_t sum = 0;
    for (int k = 0; k < 4; ++k) {
        sum = add(sum, mul(values[static_cast<std::size_t>(k)], filter_tap(phase, k)));
    }
    return add(std::min(sum, 0x3FFFFFF), 2048) >> 12;
}

/// Grid as the block reads it. Past its end the last row goes on repeating.
int32_t node(const std::vector<int32_t>& grid, int cols, int rows, int j, int i) {
    const int row = std::clamp(j, 0, rows);
    const int column = std::clamp(i, 0, cols);
    int index = row * cols + column;
    while (index >= cols * rows) {
        index -= cols;
    }
    return grid[static_cast<std::size_t>(index)];
}

}  // namespace

std::string text(const char* format, ...) {
    std::array<char, 256> buffer{};
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    return buffer.data();
}

int32_t x86_int32(double value) {
    if (std::isnan(value)) {
        return std::numeric_limits<int32_t>::min();
    }
    const double whole = std::trunc(value);
    if (whole < -2147483648.0 || whole > 2147483647.0) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(whole);
}

int colour_code(int pattern, uint32_t row, uint32_t column) {
    const std::array<const char*, 4> layouts = {"0123", "1032", "2301", "3210"};
    return layouts[static_cast<std::size_t>(pattern)][(row % 2) * 2 + column % 2] - '0';
}

Samples black_level(Samples frame, int width, int height, int pattern, const BlackLevelArguments& arguments) {
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            uint32_t& sample = frame[static_cast<std::size_t>(row * width + column)];
            const int code = colour_code(pattern, static_cast<uint32_t>(row), static_cast<uint32_t>(column));
            const auto argument = static_cast<std::size_t>(3 - code);
            auto difference = static_cast<int32_t>(sample - arguments.offset[argument]);
            if (difference <= 0) {
                difference = 0;
            }
            const float restored = static_cast<float>(difference) * arguments.gain[argument];
            sample = static_cast<uint32_t>(x86_int32(static_cast<double>(restored) + 0.5));
        }
    }
    return frame;
}

Samples wb_gains(Samples frame, int width, int height, int pattern, uint32_t gain_r, uint32_t gain_b) {
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            uint32_t& sample = frame[static_cast<std::size_t>(row * width + column)];
            const int code = colour_code(pattern, static_cast<uint32_t>(row), static_cast<uint32_t>(column));
            if (code == 1 || code == 2) {
                continue;
            }
            const float gain = static_cast<float>(code == 3 ? gain_r : gain_b) * 0.0009765625F;
            float value = static_cast<float>(sample) * gain;
            value = value + 0.5F;
            if (value > 4095.0F) {
                value = 4095.0F;
            }
            sample = static_cast<uint32_t>(x86_int32(static_cast<double>(value)));
        }
    }
    return frame;
}

Samples mesh_shading(const Samples& source, int width, int height, int pattern, const Grids& grids,
                     std::string& printed) {
    const std::size_t nodes = grids.green.size();
    std::vector<int32_t> red(nodes);
    std::vector<int32_t> green(nodes);
    std::vector<int32_t> blue(nodes);
    for (std::size_t i = 0; i < nodes; ++i) {
        green[i] = static_cast<int32_t>(grids.green[i]);
        red[i] = add(mul(static_cast<int32_t>(grids.red[i]), green[i]), 256) >> 9;
        blue[i] = add(mul(static_cast<int32_t>(grids.blue[i]), green[i]), 256) >> 9;
    }

    const int step_x = ((grids.cols - 3) << 15) / width + 1;
    const int start_x = (((grids.cols << 15) - width * step_x - 32768) / 2) & 0x3FFFFF;
    const int step_y = ((grids.rows - 3) << 15) / height + 1;
    const int start_y = (((grids.rows << 15) - height * step_y - 32768) / 2) & 0x3FFFFF;

    Samples result(source.size());
    for (int r = 0; r < height; ++r) {
        printed += text("LSC...%3d%%\r", (100 * (r + 1)) / height);
        for (int c = 0; c < width; ++c) {
            const int code = colour_code(pattern, static_cast<uint32_t>(r), static_cast<uint32_t>(c));
            const std::vector<int32_t>& grid = code == 3 ? red : code == 0 ? blue : green;
            const int x = step_x * c + start_x;
            const int y = step_y * r + start_y;
            const int node_x = x >> 15;
            const int node_y = y >> 15;

            std::array<int32_t, 4> horizontal{};
            for (int j = 0; j < 4; ++j) {
                std::array<int32_t, 4> values{};
                for (int i = 0; i < 4; ++i) {
                    values[static_cast<std::size_t>(i)] =
                        node(grid, grids.cols, grids.rows, node_y - 1 + j, node_x - 1 + i);
                }
                horizontal[static_cast<std::size_t>(j)] = filtered(values, (x >> 9) & 63);
            }
            const int32_t gain = filtered(horizontal, (y >> 9) & 63);

            const auto at = static_cast<std::size_t>(r * width + c);
            const auto sample = static_cast<int32_t>(source[at]);
            const int32_t t = add(mul(gain, sample), 256);
            const int32_t v = t >> 9;
            int32_t corrected = v;
            if (v >= 4095) {
                corrected = 4095;
            } else if (t < 512) {
                corrected = 0;
            }
            const int32_t strength = 4095;
            const int32_t blended = add(add(corrected * strength, 2048), mul(4095 - strength, sample));
            result[at] = static_cast<uint32_t>(blended >> 12);
        }
    }
    printed += "\n";
    return result;
}

std::vector<uint32_t> radial_registers(int width, int height, int pattern, int center_x, int center_y,
                                       const std::vector<int32_t>& tables) {
    const double left = center_x;
    const double top = center_y;
    const double right = width - center_x;
    const double bottom = height - center_y;
    const auto corner0 = static_cast<float>(left * left + top * top);
    const auto corner1 = static_cast<float>(right * right + top * top);
    const auto corner2 = static_cast<float>(left * left + bottom * bottom);
    const auto corner3 = static_cast<float>(right * right + bottom * bottom);
    const float farthest = std::sqrt(std::max(std::max(corner0, corner1), std::max(corner2, corner3)));
    const float norm = static_cast<float>(31.0 / static_cast<double>(farthest)) * 64.0F * 32.0F;

    const auto field = [](int value, uint32_t mask, int shift) {
        return (static_cast<uint32_t>(value) & mask) << shift;
    };
    std::vector<uint32_t> words;
    words.push_back(1U | field(pattern, 3, 1) | field(width - 1, 8191, 3) | field(height - 1, 8191, 16));
    words.push_back(field(center_x, 8191, 0) | field(center_y, 8191, 13));
    words.push_back(field(x86_int32(static_cast<double>(norm)), 32767, 0) | field(4095, 4095, 15));
    for (std::size_t entry = 0; entry < 96; ++entry) {
        words.push_back(static_cast<uint32_t>(tables[entry]));
    }
    return words;
}

Samples radial_block(const std::vector<uint32_t>& registers, const Samples& source) {
    const auto field = [&](std::size_t word, int shift, uint32_t mask) {
        return static_cast<int>((registers[word] >> shift) & mask);
    };
    const int pattern = field(0, 1, 3);
    const int width = field(0, 3, 8191) + 1;
    const int height = field(0, 16, 8191) + 1;
    const int center_x = field(1, 0, 8191);
    const int center_y = field(1, 13, 8191);
    const auto norm = static_cast<uint32_t>(field(2, 0, 32767));
    const int strength = field(2, 15, 4095);

    Samples result(source.size());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int dx = std::abs(x - center_x);
            const int dy = std::abs(y - center_y);
            const int mn = std::min(dx, dy);
            const int mx = std::max(dx, dy);
            const int d = std::max((127 * mx + 24 * mn + 64) >> 7, (71 * mn + 108 * mx + 64) >> 7);
            const uint32_t radius = std::min((static_cast<uint32_t>(d) * norm + 16U) >> 5, 1984U);
            const uint32_t i = std::min(radius >> 6, 31U);
            const uint32_t j = std::min((radius >> 6) + 1U, 31U);
            const auto f = static_cast<int32_t>(radius & 63U);

            const int code = colour_code(pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const std::size_t table = code == 3 ? 3 : code == 0 ? 67 : 35;
            const auto gain_i = static_cast<int32_t>(registers[table + i]);
            const auto gain_j = static_cast<int32_t>(registers[table + j]);
            const int32_t t = add(add(mul(64 - f, gain_i), mul(f, gain_j)), 32) >> 6;
            const int32_t g = add(mul(add(t, -512), strength), 2098688) >> 12;

            const auto at = static_cast<std::size_t>(y * width + x);
            const int32_t value = add(mul(g, static_cast<int32_t>(source[at])), 256) >> 9;
            result[at] = static_cast<uint32_t>(std::clamp(value, 0, 4095));
        }
    }
    return result;
}

}  // namespace cali::reference
