#include "outputs/chart_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "base/png_picture.h"

namespace cali::host {
namespace {

using Rgb = std::array<uint8_t, 3>;
constexpr Rgb kOutline = {255, 255, 0};
constexpr Rgb kWindow = {255, 255, 255};
constexpr Rgb kShadow = {0, 0, 0};
constexpr Rgb kTried = {255, 0, 255};
constexpr double kReach = 4;  // of lines beyond the picture, in its sides

/// Digits of 3 x 5 pixels, a bit each, rows from the top.
constexpr std::array<uint16_t, 10> kDigits = {
    0b111101101101111, 0b010110010010111, 0b111001111100111, 0b111001111001111, 0b101101111001001,
    0b111100111001111, 0b111100111101111, 0b111001001001001, 0b111101111101111, 0b111101111001111};

class Drawing {
public:
    explicit Drawing(const SmallPicture& picture) : width_(picture.width), height_(picture.height) {
        if (picture.width == 0) {
            width_ = height_ = 1;
            pixels_ = {0, 0, 0};
        }
        for (std::size_t i = 0; i < picture.level[0].size(); ++i) {
            for (const std::vector<float>& plane : picture.level) {
                pixels_.push_back(static_cast<uint8_t>(std::clamp(plane[i] * 245.0F, 0.0F, 255.0F)));
            }
        }
    }

    void dot(int x, int y, const Rgb& colour) {
        if (x >= 0 && y >= 0 && x < width_ && y < height_) {
            std::ranges::copy(colour, &pixels_[3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                                                    static_cast<std::size_t>(x))]);
        }
    }

    void line(const Point& a, const Point& b, const Rgb& colour) {
        const double reach = kReach * std::max(width_, height_);
        if (!(std::max({std::abs(a.x), std::abs(a.y), std::abs(b.x), std::abs(b.y)}) < reach)) {
            return;
        }
        const int steps = 1 + static_cast<int>(std::max(std::abs(b.x - a.x), std::abs(b.y - a.y)));
        for (int i = 0; i <= steps; ++i) {
            const double t = static_cast<double>(i) / steps;
            dot(static_cast<int>(std::floor(a.x + t * (b.x - a.x))),
                static_cast<int>(std::floor(a.y + t * (b.y - a.y))), colour);
        }
    }

    void outline(const Corners& corners, const Rgb& colour) {
        for (std::size_t i = 0; i < corners.size(); ++i) {
            line(corners[i], corners[(i + 1) % corners.size()], colour);
        }
    }

    void number(int x, int y, std::size_t value) {
        x -= value < 10 ? 1 : 3;
        for (const char digit : std::to_string(value)) {
            const uint16_t bits = kDigits[static_cast<std::size_t>(digit - '0')];
            for (int i = 0; i < 15; ++i) {
                if ((bits >> (14 - i) & 1) != 0) {
                    dot(x + i % 3 + 1, y + i / 3 - 1, kShadow);
                    dot(x + i % 3, y + i / 3 - 2, kWindow);
                }
            }
            x += 4;
        }
    }

    [[nodiscard]] std::string png() const {
        return png_of(pixels_, static_cast<std::size_t>(width_), static_cast<std::size_t>(height_));
    }

private:
    int width_;
    int height_;
    std::vector<uint8_t> pixels_;
};

}  // namespace

std::string plain_picture(const SmallPicture& picture) { return Drawing(picture).png(); }

std::string chart_picture(const Capture& capture, const BlackLevels& black_level, const FoundChart& chart) {
    const SmallPicture picture = small_picture(capture, black_level);
    Drawing drawing(picture);
    const double scale = picture.photosites;
    if (!chart.found) {
        for (const Point& place : chart.tried) {
            const int x = static_cast<int>(place.x / scale);
            const int y = static_cast<int>(place.y / scale);
            for (const int k : {-1, 0, 1}) {
                drawing.dot(x + k, y, kTried);
                drawing.dot(x, y + k, kTried);
            }
        }
    }
    Corners corners = chart.corners;
    for (Point& corner : corners) {
        corner = {corner.x / scale, corner.y / scale};
    }
    if (chart.confidence > 0) {
        drawing.outline(corners, kOutline);
    }
    for (std::size_t i = 0; chart.found && i < chart.windows.size(); ++i) {
        const RoiRect& window = chart.windows[i];
        const double left = window.x / scale;
        const double top = window.y / scale;
        const double right = (window.x + window.w) / scale - 0.01;
        const double bottom = (window.y + window.h) / scale - 0.01;
        drawing.outline({{{left, top}, {right, top}, {right, bottom}, {left, bottom}}}, kWindow);
        drawing.number(static_cast<int>((left + right) / 2), static_cast<int>((top + bottom) / 2), i + 1);
    }
    return drawing.png();
}

}  // namespace cali::host
