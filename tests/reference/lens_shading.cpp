#include "reference/lens_shading.h"

#include <algorithm>
#include <cmath>

namespace cali::reference {
namespace {

/// Signed 32-bit arithmetic that wraps.
int32_t add(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
int32_t sub(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
int32_t mul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
int32_t distance(int32_t a, int32_t b) { return a < b ? sub(b, a) : sub(a, b); }

int32_t truncated(float value) { return x86_int32(static_cast<double>(value)); }
float real(int32_t value) { return static_cast<float>(value); }

std::size_t index(int width, int x, int y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
}

std::size_t area(int width, int height) {
    return static_cast<std::size_t>(std::max(width, 0)) * static_cast<std::size_t>(std::max(height, 0));
}

std::size_t code_at(int pattern, int x, int y) {
    return static_cast<std::size_t>(colour_code(pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)));
}

/// In the order of the pictures.
struct Channel {
    std::size_t code;
    const char* name;
};
constexpr std::array<Channel, 4> kChannels = {{{3, "rr"}, {2, "gr"}, {1, "gb"}, {0, "bb"}}};

// Pictures. Samples are 12 bits; 4096 becomes 256.

int32_t scaled(uint32_t sample) {
    return x86_int32(static_cast<double>(static_cast<float>(sample)) * 256.0 / static_cast<double>(4096.0F));
}

std::string ppm_planes(const Plane& red, const Plane& green, const Plane& blue, int width, int height) {
    std::string bytes = text("P6 %d %d 255\n", width, height);
    for (std::size_t i = 0; i < area(width, height); ++i) {
        for (const Plane* plane : {&red, &green, &blue}) {
            bytes += static_cast<char>(std::min(scaled(static_cast<uint32_t>((*plane)[i])), 255));
        }
    }
    return bytes;
}

std::string ppm_mosaic(const Samples& frame, int width, int height, int pattern) {
    std::string bytes = text("P6 %d %d 255\n", width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::size_t code = code_at(pattern, x, y);
            const auto byte = static_cast<char>(scaled(frame[index(width, x, y)]));
            bytes += code == 3 ? byte : '\0';
            bytes += code == 1 || code == 2 ? byte : '\0';
            bytes += code == 0 ? byte : '\0';
        }
    }
    return bytes;
}

void picture(Files& files, std::string& printed, const std::string& name, const std::string& bytes) {
    files[name] = bytes;
    printed += "output ppm to " + name + "\n";
}

void grey_picture(LensShading& result, const std::string& name, const Plane& plane, int width, int height) {
    picture(result.files, result.printed, name, ppm_planes(plane, plane, plane, width, height));
}

// Filters.

std::array<float, 21> low_pass_taps() {
    std::array<float, 21> taps{};
    float sum = 0.0F;
    for (std::size_t i = 0; i < 21; ++i) {
        const double k = static_cast<double>(i) - 10.0;
        taps[i] = static_cast<float>(std::exp(-0.5 * k * k * 0.0625) / (std::sqrt(6.2832) * 4.0));
        sum = sum + taps[i];
    }
    for (float& tap : taps) {
        tap = tap / sum;
    }
    return taps;
}

/// Mirrors about the edge samples, as often as it takes.
int reflected(int position, int count) {
    if (count == 1) {
        return 0;
    }
    while (position < 0 || position >= count) {
        position = position < 0 ? -position : 2 * (count - 1) - position;
    }
    return position;
}

/// All four planes at a position of the full frame, by channel code.
std::array<float, 4> sampled(const Planes& planes, float x, float y) {
    const float px = std::min(x / 2.0F, real(planes.width - 1));
    const float py = std::min(y / 2.0F, real(planes.height - 1));
    const auto x0 = static_cast<int>(std::floor(px));
    const auto y0 = static_cast<int>(std::floor(py));
    const int x1 = std::min(x0 + 1, planes.width - 1);
    const int y1 = std::min(y0 + 1, planes.height - 1);
    const float fx = px - real(x0);
    const float fy = py - real(y0);
    std::array<float, 4> values{};
    for (std::size_t code = 0; code < 4; ++code) {
        const Plane& plane = planes.code[code];
        const float a = real(plane[index(planes.width, x0, y0)]);
        const float b = real(plane[index(planes.width, x1, y0)]);
        const float c = real(plane[index(planes.width, x0, y1)]);
        const float d = real(plane[index(planes.width, x1, y1)]);
        values[code] = (a * (1.0F - fx) + b * fx) * (1.0F - fy) + (c * (1.0F - fx) + d * fx) * fy;
    }
    return values;
}

/// What the calibration carries from step to step.
struct Reference {
    int32_t black = 0;
    int cx = 0;  ///< in plane coordinates, as is cy
    int cy = 0;
    std::array<float, 4> center{};  ///< by channel code, without black
    float green = 0.0F;             ///< both greens together
    float ratio_r = 0.0F;
    float ratio_b = 0.0F;
};

struct Placement {
    int32_t step = 0;
    int32_t start = 0;
};

Placement placement(int nodes, int size) {
    Placement result;
    result.step = add(mul(sub(nodes, 3), 32768) / size, 1);
    result.start = sub(sub(mul(nodes, 32768), mul(size, result.step)), 32768) / 2;
    return result;
}

float headroom(int32_t gain) { return gain < 4096 ? 1.0F : real(gain) / 4095.0F; }

/// Weighted mean position along one axis; -1 without any signal.
int32_t profile_center(const Plane& plane, int width, int length, int depth, bool columns, std::string& profile) {
    float total = 0.0F;
    float weighted = 0.0F;
    for (int i = 0; i < length; ++i) {
        float sum = 0.0F;
        for (int k = 0; k < depth; ++k) {
            sum = sum + real(columns ? plane[index(width, i, k)] : plane[index(width, k, i)]);
        }
        total = total + sum;
        weighted = weighted + real(i) * sum;
        profile += text("%d, %f\n", i, static_cast<double>(sum));
    }
    return total > 0.0F ? truncated(weighted / total) : -1;
}

void measure_center(LensShading& result, Reference& reference, const Planes& planes) {
    std::array<int32_t, 4> level{};
    for (std::size_t code = 0; code < 4; ++code) {
        level[code] = sub(planes.code[code][index(planes.width, reference.cx, reference.cy)], reference.black);
        reference.center[code] = real(std::max(level[code], 0));
    }
    result.printed += text("\nCenter [%d, %d] r/g/b (%4d, %4d, %4d, %4d)\n", reference.cx, reference.cy, level[3],
                           level[2], level[1], level[0]);
    reference.green = reference.center[2] + reference.center[1];
    reference.ratio_r = reference.green / (2.0F * reference.center[3]);
    reference.ratio_b = reference.green / (2.0F * reference.center[0]);
}

/// The samples under the interior nodes; border nodes stay 0.
struct NodeSamples {
    Plane red, green, blue;
};

NodeSamples fill_interior(LensShading& result, const Reference& reference, const Planes& planes,
                          const LensShadingArguments& arguments, int type) {
    const int cols = arguments.cols;
    const int rows = arguments.rows;
    const Placement across = placement(cols, arguments.width);
    const Placement down = placement(rows, arguments.height);
    result.red.assign(area(cols, rows), 0);
    result.green = result.red;
    result.blue = result.red;
    NodeSamples samples{result.red, result.red, result.red};
    const float black = real(reference.black);

    for (int j = 1; j <= rows - 2; ++j) {
        for (int i = 1; i <= cols - 2; ++i) {
            float x = real(sub(mul(i, 32768), across.start)) / real(across.step);
            float y = real(sub(mul(j, 32768), down.start)) / real(down.step);
            x = std::clamp(x, 0.0F, real(arguments.width - 1));
            y = std::clamp(y, 0.0F, real(arguments.height - 1));
            const std::array<float, 4> p = sampled(planes, x, y);

            const float r = std::max(p[3] - black, 1.0F);
            const float gr = std::max(p[2] - black, 1.0F);
            const float gb = std::max(p[1] - black, 1.0F);
            const float b = std::max(p[0] - black, 1.0F);
            const float g = gr + gb;
            const int32_t chroma_r = truncated((g / (2.0F * r)) / reference.ratio_r * 512.0F);
            const int32_t chroma_b = truncated((g / (2.0F * b)) / reference.ratio_b * 512.0F);
            const int32_t luma = truncated((reference.green / g + reference.green / g) * 0.5F * 512.0F + 0.5F);
            const int32_t gain_g = type == 1 ? 512 : luma;
            const int32_t gain_r = type == 2 ? luma : chroma_r;
            const int32_t gain_b = type == 2 ? luma : chroma_b;

            float s = std::max(headroom(mul(gain_g, gain_r) >> 9), headroom(mul(gain_b, gain_g) >> 9));
            s = std::max(s, headroom(gain_g));

            const std::size_t at = index(cols, i, j);
            result.red[at] = std::clamp(gain_r, 0, 4095);
            result.green[at] = std::clamp(truncated(real(gain_g) / s + 0.5F), 512, 4095);
            result.blue[at] = std::clamp(gain_b, 0, 4095);
            samples.red[at] = truncated(p[3]);
            samples.green[at] = truncated((p[1] + p[2]) * 0.5F);
            samples.blue[at] = truncated(p[0]);

            if (result.red[at] < 512 || result.green[at] < 512 || result.blue[at] < 512) {
                result.printed += text("WARN gain < 1x: grid [%3d, %3d] r/g/b (%4d, %4d, %4d), ", i - 1, j - 1,
                                       result.red[at], result.green[at], result.blue[at]);
                result.printed += text("center r/b gain (%5f, %5f), ", static_cast<double>(reference.ratio_r),
                                       static_cast<double>(reference.ratio_b));
                result.printed += text("pix: %4f,%4f,%4f,%4f\n", static_cast<double>(p[3]), static_cast<double>(p[2]),
                                       static_cast<double>(p[1]), static_cast<double>(p[0]));
            }
        }
    }
    return samples;
}

/// The outer ring goes on in the direction of the two nodes inside it.
void extrapolate_border(std::vector<int32_t>& table, int cols, int rows) {
    const auto extrapolate = [&](int i, int j, int di, int dj) {
        const int32_t near = table[index(cols, i + di, j + dj)];
        const int32_t far = table[index(cols, i + 2 * di, j + 2 * dj)];
        const float value = real(sub(near, far)) * 1.0F + real(near);
        table[index(cols, i, j)] = std::clamp(truncated(value), 256, 4095);
    };
    for (int j = 1; j <= rows - 2; ++j) {
        extrapolate(0, j, 1, 0);
        extrapolate(cols - 1, j, -1, 0);
    }
    for (int i = 1; i <= cols - 2; ++i) {
        extrapolate(i, 0, 0, 1);
        extrapolate(i, rows - 1, 0, -1);
    }
    extrapolate(0, 0, 1, 1);
    extrapolate(cols - 1, 0, -1, 1);
    extrapolate(0, rows - 1, 1, -1);
    extrapolate(cols - 1, rows - 1, -1, -1);
}

void fill_radial(LensShading& result, const Reference& reference, const Planes& planes, int width, int height,
                 int type) {
    result.center_x = mul(2, reference.cx);
    result.center_y = mul(2, reference.cy);
    float rmax2 = 0.0F;
    for (const int corner_x : {0, width}) {
        for (const int corner_y : {0, height}) {
            const double dx = static_cast<double>(corner_x) - static_cast<double>(result.center_x);
            const double dy = static_cast<double>(corner_y) - static_cast<double>(result.center_y);
            rmax2 = std::max(rmax2, static_cast<float>(std::pow(dx, 2) + std::pow(dy, 2)));
        }
    }
    const float rmax = std::sqrt(rmax2);
    result.norm = truncated(static_cast<float>(31.0 / static_cast<double>(rmax)) * 64.0F * 32.0F);

    const float black = real(reference.black);
    result.radial.assign(128, 512);
    for (int k = 1; k < 32; ++k) {
        const float rho = std::sqrt(real(k * k) / (961.0F / rmax2));
        const int32_t points = truncated(rho * 6.283F);
        const float step = 6.283F / real(points);
        std::array<float, 3> sum{};  // red, green, blue
        int count = 0;
        for (int m = 0; m < points; ++m) {
            const auto theta = static_cast<double>(real(m) * step);
            const float x = real(result.center_x) + rho * static_cast<float>(std::cos(theta));
            const float y = real(result.center_y) + rho * static_cast<float>(std::sin(theta));
            // The row just below the frame takes part, the column just right of it does not.
            if (!(x >= 0.0F && x < real(width) && y >= 0.0F && y <= real(height))) {
                continue;
            }
            std::array<float, 4> relative{};
            const std::array<float, 4> p = sampled(planes, x, y);
            for (std::size_t code = 0; code < 4; ++code) {
                relative[code] = reference.center[code] / std::max(p[code] - black, 1.0F);
            }
            sum[0] = sum[0] + relative[3];
            sum[1] = sum[1] + (relative[1] + relative[2]) * 0.5F;
            sum[2] = sum[2] + relative[0];
            count += 1;
        }

        const auto entry = static_cast<std::size_t>(k);
        std::array<int32_t, 3> gain{};
        float s = 1.0F;
        for (std::size_t i = 0; i < 3; ++i) {
            gain[i] = result.radial[32 * i + entry - 1];
            if (count > 0) {
                gain[i] = truncated(sum[i] / real(count) * 512.0F + 0.5F);
            }
            s = std::max(s, headroom(gain[i]));
        }
        for (int32_t& value : gain) {
            value = std::clamp(truncated(real(value) / s + 0.5F), 512, 4095);
        }
        if (type == 1) {
            gain[1] = 512;
        } else if (type == 2) {
            gain.fill(gain[1]);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            result.radial[32 * i + entry] = gain[i % 3];
        }
    }
}

// Text files.

std::string heredoc(const char* name, const std::vector<int32_t>& values) {
    std::string block = std::string(name) + " = <<<END_OF_TEXT";
    for (std::size_t i = 0; i < values.size(); ++i) {
        block += i % 16 == 0 ? "\n" : "";
        block += text("%d, ", values[i]);
    }
    return block + "\nEND_OF_TEXT\n";
}

/// Rows of `cols` values, every value followed by a comma and a blank.
std::string lines(const std::vector<int32_t>& values, std::size_t cols) {
    std::string result;
    for (std::size_t i = 0; i < values.size(); ++i) {
        result += text("%d, ", values[i]);
        result += i % cols == cols - 1 ? "\n" : "";
    }
    return result;
}

void write_files(LensShading& result, const LensShadingArguments& arguments, const NodeSamples& samples) {
    std::array<std::vector<int32_t>, 4> radial;
    for (std::size_t i = 0; i < 128; ++i) {
        radial[i / 32].push_back(result.radial[i]);
    }
    const Placement across = placement(arguments.cols, arguments.width);
    const Placement down = placement(arguments.rows, arguments.height);

    std::string& registers = result.files["_dbg_lsc_coeff.csv"];
    registers += text("reg_lscr_centerx = %d\nreg_lscr_centery = %d\n", result.center_x, result.center_y);
    registers += text("reg_lscr_norm = %d\nreg_lscr_norm_ir = %d\n", result.norm, result.norm);
    registers += heredoc("reg_lscr_gain_lut", radial[0]) + heredoc("reg_lscr_gain_lut1", radial[1]);
    registers += heredoc("reg_lscr_gain_lut2", radial[2]) + heredoc("reg_lscr_gain_lut_ir", radial[3]);
    registers += text("reg_lsc_xstep = %d\nreg_lsc_ystep = %d\n", across.step, down.step);
    registers += text("reg_lsc_imgx0 = %d\nreg_lsc_imgy0 = %d\n", across.start, down.start);
    registers += heredoc("reg_lsc_rtbl", result.red) + heredoc("reg_lsc_gtbl", result.green);
    registers += heredoc("reg_lsc_btbl", result.blue);

    const auto cols = static_cast<std::size_t>(arguments.cols);
    std::string& coefficients = result.files["_lsc_coeff.csv"];
    const std::array<const std::vector<int32_t>*, 3> mesh = {&result.red, &result.green, &result.blue};
    for (std::size_t i = 0; i < 3; ++i) {
        coefficients += text("reg_radius_lsc_%ctbl\n", "rgb"[i]) + lines(radial[i], 32);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        coefficients += text("reg_lsc_%ctbl\n", "rgb"[i]) + lines(*mesh[i], cols) + "\n";
    }

    grey_picture(result, "_sample_rr_nr.ppm", samples.red, arguments.cols, arguments.rows);
    grey_picture(result, "_sample_gg_nr.ppm", samples.green, arguments.cols, arguments.rows);
    grey_picture(result, "_sample_bb_nr.ppm", samples.blue, arguments.cols, arguments.rows);

    std::string& statistics = result.files["_radius_lsc_statistics.csv"];
    statistics = "radius_lsc_statistics\nmu r, mu g, mu b, std r, std g, std b\n";
    for (int k = 0; k < 32; ++k) {
        const double mean = k == 0 ? 1.0 : 0.0;
        statistics += text("%f, %f, %f, %f, %f, %f\n", mean, mean, mean, 0.0, 0.0, 0.0);
    }
    statistics += "\n";
}

// Check.

/// Red, green and blue of a 2x2 cell on each of its photosites.
std::array<Plane, 3> cell_planes(const Samples& frame, int width, int height, int pattern) {
    std::array<Plane, 3> planes;
    planes.fill(Plane(area(width, height)));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::array<int32_t, 4> cell{};  // what the frame's edge cuts off stays 0
            for (int row = y / 2 * 2; row < std::min(y / 2 * 2 + 2, height); ++row) {
                for (int column = x / 2 * 2; column < std::min(x / 2 * 2 + 2, width); ++column) {
                    cell[code_at(pattern, column, row)] = static_cast<int32_t>(frame[index(width, column, row)]);
                }
            }
            planes[0][index(width, x, y)] = cell[3];
            planes[1][index(width, x, y)] = add(cell[2], cell[1]) >> 1;
            planes[2][index(width, x, y)] = cell[0];
        }
    }
    return planes;
}

/// White balance of the middle of `measured`, applied to `frame`.
Samples balanced(const Samples& measured, const Samples& frame, int width, int height, int pattern) {
    const int hw = x86_int32(width * 0.125 * 0.5);
    const int hh = x86_int32(height * 0.1667 * 0.5);
    const int left = (width - 2 * hw) / 2;
    const int top = (height - 2 * hh) / 2;
    float sum_r = 0.0F;
    float sum_g = 0.0F;
    float sum_b = 0.0F;
    for (int y = top; y < top + 2 * hh; ++y) {
        for (int x = left; x < left + 2 * hw; ++x) {
            const std::size_t code = code_at(pattern, x, y);
            float& sum = code == 3 ? sum_r : code == 0 ? sum_b : sum_g;
            sum = sum + static_cast<float>(measured[index(width, x, y)]);
        }
    }
    const int n = 2 * hh * 2 * hw;
    const float quarter = real(n / 4);
    const float mean_g = sum_g / real(n / 2);
    const auto gain = [&](float sum) {
        const auto wide = static_cast<uint32_t>(truncated(mean_g / (sum / quarter) * 1024.0F + 0.5F));
        return std::min(wide % 65536U, 16383U);
    };
    return wb_gains(frame, width, height, pattern, gain(sum_r), gain(sum_b));
}

std::string uniformity(const std::array<Plane, 3>& planes, int width, int height) {
    const auto& [red, green, blue] = planes;
    const std::size_t center = index(width, width / 2, height / 2);
    std::array<float, 6> sum{};
    for (std::size_t i = 0; i < area(width, height); ++i) {
        const std::array<int32_t, 5> difference = {distance(red[i], green[i]), distance(blue[i], green[i]),
                                                   distance(red[i], red[center]), distance(green[i], green[center]),
                                                   distance(blue[i], blue[center])};
        for (std::size_t k = 0; k < 5; ++k) {
            sum[k] = sum[k] + real(difference[k]);
        }
        sum[5] = sum[5] + real(add(add(difference[2], difference[3]), difference[4]));
    }
    const int32_t positions = mul(width, height);
    std::array<double, 6> mean{};
    for (std::size_t i = 0; i < 6; ++i) {
        mean[i] = static_cast<double>(sum[i] / real(i == 5 ? mul(3, positions) : positions));
    }
    return text("\nchroma r/b, luma r/g/b, total %f, %f, %f, %f, %f, %f\n", mean[0], mean[1], mean[2], mean[3], mean[4],
                mean[5]);
}

}  // namespace

Planes split(const Samples& frame, int width, int height, int pattern) {
    Planes planes;
    planes.width = width / 2;
    planes.height = height / 2;
    planes.code.fill(Plane(area(planes.width, planes.height)));
    for (int y = 0; y < planes.height * 2; ++y) {
        for (int x = 0; x < planes.width * 2; ++x) {
            planes.code[code_at(pattern, x, y)][index(planes.width, x / 2, y / 2)] =
                static_cast<int32_t>(frame[index(width, x, y)]);
        }
    }
    return planes;
}

int32_t bright_threshold(const Plane& plane, double fraction) {
    std::vector<double> count(4096, 0.0);
    double n = 0.0;
    for (const int32_t sample : plane) {
        if (sample >= 0 && sample < 4096) {
            count[static_cast<std::size_t>(sample)] += 1.0;
            n += 1.0;
        }
    }
    if (n == 0.0) {
        return 0;
    }

    double mean = 0.0;
    for (std::size_t i = 0; i < 4096; ++i) {
        mean = mean + static_cast<double>(i) * (count[i] / n);
    }
    std::size_t threshold = 0;
    double best = 0.0;
    double omega = 0.0;
    double mu = 0.0;
    for (std::size_t t = 0; t < 4096; ++t) {
        omega = omega + count[t] / n;
        mu = mu + static_cast<double>(t) * (count[t] / n);
        if (omega == 0.0) {
            continue;
        }
        if (1.0 - omega == 0.0) {
            break;
        }
        const double d = mu / omega - (mean - mu) / (1.0 - omega);
        const double variance = (omega * (1.0 - omega)) * (d * d);
        if (variance > best) {
            best = variance;
            threshold = t;
        }
    }

    double total = 0.0;
    for (std::size_t i = threshold; i < 4096; ++i) {
        total += count[i];
    }
    double running = 0.0;
    for (std::size_t bin = threshold; bin < 4096; ++bin) {
        running += count[bin];
        if (running / total > fraction) {
            return static_cast<int32_t>(bin);
        }
    }
    return static_cast<int32_t>(threshold);
}

Plane masked_gaussian(const Plane& plane, int width, int height, int32_t threshold) {
    Plane result = plane;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (plane[index(width, x, y)] <= threshold) {
                continue;
            }
            float sum = 0.0F;
            float weights = 0.0F;
            for (int dy = -4; dy <= 4; ++dy) {
                for (int dx = -4; dx <= 4; ++dx) {
                    if (x + dx < 0 || x + dx >= width || y + dy < 0 || y + dy >= height) {
                        continue;
                    }
                    const float exponent = -real(dx * dx + dy * dy) / (2.0F * 4.0F * 4.0F);
                    const auto weight = static_cast<float>(std::exp(static_cast<double>(exponent)));
                    sum = sum + weight * real(plane[index(width, x + dx, y + dy)]);
                    weights = weights + weight;
                }
            }
            result[index(width, x, y)] = truncated(sum / weights);
        }
    }
    return result;
}

Plane fill_dark(const Plane& plane, int width, int height, int32_t threshold) {
    Plane result = plane;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (plane[index(width, x, y)] >= threshold) {
                continue;
            }
            int32_t across = 4095;
            int32_t down = 4095;
            for (int offset = -80; offset <= 80; ++offset) {
                if (x + offset >= 0 && x + offset < width && plane[index(width, x + offset, y)] > threshold) {
                    across = std::min(across, plane[index(width, x + offset, y)]);
                }
                if (y + offset >= 0 && y + offset < height && plane[index(width, x, y + offset)] > threshold) {
                    down = std::min(down, plane[index(width, x, y + offset)]);
                }
            }
            // 4095 stands for nothing found
            if (across != 4095 && down != 4095) {
                result[index(width, x, y)] = add(across, down) / 2;
            } else if (across != 4095 || down != 4095) {
                result[index(width, x, y)] = std::min(across, down);
            }
        }
    }
    return result;
}

Plane low_pass(const Plane& plane, int width, int height) {
    const std::array<float, 21> taps = low_pass_taps();
    Plane source = plane;
    Plane result(plane.size());
    for (const bool across : {true, false}) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                float sum = 0.0F;
                for (int k = -10; k <= 10; ++k) {
                    const std::size_t from =
                        across ? index(width, reflected(x + k, width), y) : index(width, x, reflected(y + k, height));
                    sum = sum + taps[static_cast<std::size_t>(k + 10)] * real(source[from]);
                }
                result[index(width, x, y)] = truncated(sum);
            }
        }
        source = result;
    }
    return result;
}

LensShading lens_shading(const Samples& frame, const LensShadingArguments& arguments, bool dump) {
    LensShading result;
    const std::array<int32_t, 4>& blc = arguments.blc;
    Reference reference;
    reference.black = add(add(add(blc[0], blc[1]), blc[2]), blc[3]) / 4;
    int type = arguments.type;
    if (type > 2) {
        result.printed += "calib_type err, calib chroma and luma\n";
        type = 0;
    }

    Planes planes = split(frame, arguments.width, arguments.height, arguments.pattern);
    const int width = planes.width;
    const int height = planes.height;
    const auto write_planes = [&](const char* ending) {
        for (const auto& [code, name] : kChannels) {
            grey_picture(result, std::string("_in_raw_") + name + ending, planes.code[code], width, height);
        }
    };
    if (dump) {
        write_planes(".ppm");
    }
    for (Plane& plane : planes.code) {
        if (arguments.denoise != 0) {
            const int32_t threshold = bright_threshold(plane, 0.05);
            plane = masked_gaussian(plane, width, height, threshold);
            plane = fill_dark(plane, width, height, threshold);
        }
        plane = low_pass(plane, width, height);
    }
    for (const float tap : low_pass_taps()) {
        result.printed += text("%f, ", static_cast<double>(tap));
    }
    if (dump) {
        write_planes("_nr.ppm");
    }

    std::string columns;
    std::string rows;
    reference.cx = profile_center(planes.code[2], width, width, height, true, columns);
    reference.cy = profile_center(planes.code[2], width, height, width, false, rows);
    if (dump) {
        result.files["_hist_w.csv"] = columns;
        result.files["_hist_h.csv"] = rows;
    }
    result.rejected = reference.cx < 0 || reference.cx >= width || reference.cy < 0 || reference.cy >= height;
    if (result.rejected) {
        return result;
    }
    measure_center(result, reference, planes);
    const NodeSamples samples = fill_interior(result, reference, planes, arguments, type);
    for (std::vector<int32_t>* table : {&result.red, &result.green, &result.blue}) {
        extrapolate_border(*table, arguments.cols, arguments.rows);
    }
    fill_radial(result, reference, planes, arguments.width, arguments.height, type);
    if (dump) {
        write_files(result, arguments, samples);
    }
    return result;
}

LensShadingCheck lens_shading_check(const Samples& frame, int width, int height, int pattern,
                                    const BlackLevelArguments& black, const Grids* grids, int center_x, int center_y,
                                    const std::vector<int32_t>* tables, const Samples& mesh_before,
                                    const Samples& radial_before, bool dump) {
    LensShadingCheck check;
    check.input = frame;
    check.mesh = mesh_before;
    check.radial = radial_before;
    if (width <= 0 || height <= 0) {
        return check;
    }
    check.input = black_level(frame, width, height, pattern, black);
    if (grids != nullptr) {
        check.mesh = mesh_shading(check.input, width, height, pattern, *grids, check.printed);
    }
    if (tables != nullptr) {
        check.radial = radial_block(radial_registers(width, height, pattern, center_x, center_y, *tables), check.input);
    }
    if (!dump) {
        return check;
    }

    const auto write = [&](const char* name, const std::string& bytes) {
        picture(check.files, check.printed, name, bytes);
    };
    write("_lsc_in.ppm", ppm_mosaic(check.input, width, height, pattern));
    write("_lscm_out.ppm", ppm_mosaic(check.mesh, width, height, pattern));
    write("_lscr_out.ppm", ppm_mosaic(check.radial, width, height, pattern));

    const Samples white = balanced(check.mesh, check.radial, width, height, pattern);
    const auto convert = [&](const char* name, const Samples& source) {
        std::array<Plane, 3> planes = cell_planes(source, width, height, pattern);
        write(name, ppm_planes(planes[0], planes[1], planes[2], width, height));
        return planes;
    };
    (void)convert("_radius_lsc_A_in.ppm", check.input);
    (void)convert("_radius_lsc_A_lsc_ByAvg.ppm", check.radial);
    const std::array<Plane, 3> planes = convert("_radius_lsc_A_wb_ByAvg.ppm", white);
    check.printed += uniformity(planes, width, height);
    return check;
}

}  // namespace cali::reference
