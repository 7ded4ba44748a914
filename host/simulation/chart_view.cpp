#include "simulation/chart_view.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace cali::host {
namespace {

using Place = std::array<double, 2>;
constexpr double kColumns = kChartColumns;
constexpr double kRows = kChartRows;
constexpr double kLeastPatch = 12;  // photosites
constexpr int kSubsamples = 3;      // of a photosite, either way, at the chart's edges

/// Row-major plane-to-plane map.
Place through(const Matrix3& map, double x, double y) {
    const Vector3 p = multiply(map, {x, y, 1});
    return {p[0] / p[2], p[1] / p[2]};
}

Matrix3 inverse(const Matrix3& m) {
    Matrix3 adjugate{};
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            const std::size_t r1 = (c + 1) % 3;
            const std::size_t r2 = (c + 2) % 3;
            const std::size_t c1 = (r + 1) % 3;
            const std::size_t c2 = (r + 2) % 3;
            adjugate[r][c] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
    }
    return adjugate;  // to a factor, which cancels
}

/// The chart's cells to an undistorted frame, and that one to the sensor's.
class Projection {
public:
    Projection(const SensorModel& sensor, const ChartView& view)
        : centre_{sensor.width / 2.0, sensor.height / 2.0},
          per_square_(view.distortion / (centre_[0] * centre_[0] + centre_[1] * centre_[1])) {
        const double side = view.border;
        const std::array<Place, 4> body = {
            {{-side, -side}, {kColumns + side, -side}, {kColumns + side, kRows + side}, {-side, kRows + side}}};
        // Size and place follow from the outline, which changes a little with the place: three rounds settle it.
        double scale = sensor.height * view.height / 6;
        Place middle = {0, 0};
        for (int round = 0; round < 6; ++round) {
            set(sensor, view, scale, middle);
            Place low = {1e9, 1e9};
            Place high = {-1e9, -1e9};
            for (std::size_t i = 0; i < 4; ++i) {
                for (int step = 0; step < 8; ++step) {
                    const double t = step / 8.0;
                    const Place& a = body[i];
                    const Place& b = body[(i + 1) % 4];
                    const Place p = seen(a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]));
                    for (std::size_t k = 0; k < 2; ++k) {
                        low[k] = std::min(low[k], p[k]);
                        high[k] = std::max(high[k], p[k]);
                    }
                }
            }
            const double fits =
                std::min(view.height * sensor.height / (high[1] - low[1]), 0.995 * sensor.width / (high[0] - low[0]));
            scale *= fits;
            const std::array<double, 2> room = {sensor.width - fits * (high[0] - low[0]),
                                                sensor.height - fits * (high[1] - low[1])};
            for (std::size_t k = 0; k < 2; ++k) {
                const double wanted = room[k] * view.place[k] + fits * (high[k] - low[k]) / 2;
                middle[k] += wanted - (high[k] + low[k]) / 2;
            }
        }
        set(sensor, view, scale, middle);
        back_ = inverse(map_);
    }

    /// Photosites.
    [[nodiscard]] Place seen(double column, double row) const {
        const Place straight = through(map_, column, row);
        Place found = straight;
        for (int i = 0; i < 12; ++i) {
            const double factor = 1 + per_square_ * square(found);
            for (std::size_t k = 0; k < 2; ++k) {
                found[k] = centre_[k] + (straight[k] - centre_[k]) / factor;
            }
        }
        return found;
    }

    /// Cells.
    [[nodiscard]] Place chart_at(const Place& photosite) const {
        const double factor = 1 + per_square_ * square(photosite);
        return through(back_, centre_[0] + (photosite[0] - centre_[0]) * factor,
                       centre_[1] + (photosite[1] - centre_[1]) * factor);
    }

private:
    [[nodiscard]] double square(const Place& p) const {
        return (p[0] - centre_[0]) * (p[0] - centre_[0]) + (p[1] - centre_[1]) * (p[1] - centre_[1]);
    }

    /// A pinhole before the tilted chart, `scale` photosites per cell; its middle comes to `middle` from the frame's.
    void set(const SensorModel& sensor, const ChartView& view, double scale, const Place& middle) {
        const double distance = view.focal_length * sensor.width / scale;  // cells
        const double side = view.mirrored ? -1 : 1;
        const auto column_to = [&](double u, double v) -> Vector3 {
            const double x = std::cos(view.turn) * u * side - std::sin(view.turn) * v;
            const double y = std::sin(view.turn) * u * side + std::cos(view.turn) * v;
            const double along = std::cos(view.tilt_axis) * x + std::sin(view.tilt_axis) * y;
            const double across = std::cos(view.tilt_axis) * y - std::sin(view.tilt_axis) * x;
            const double near = across * std::cos(view.tilt);
            return {std::cos(view.tilt_axis) * along - std::sin(view.tilt_axis) * near,
                    std::sin(view.tilt_axis) * along + std::cos(view.tilt_axis) * near, across * std::sin(view.tilt)};
        };
        const double focal = view.focal_length * sensor.width;
        const Vector3 u = column_to(1, 0);
        const Vector3 v = column_to(0, 1);
        const Vector3 origin = column_to(-kColumns / 2, -kRows / 2);
        const double x = centre_[0] + middle[0];
        const double y = centre_[1] + middle[1];
        for (std::size_t i = 0; i < 3; ++i) {
            const Vector3& axis = i == 0 ? u : i == 1 ? v : origin;
            const double depth = axis[2] + (i == 2 ? distance : 0);
            map_[0][i] = focal * axis[0] + x * depth;
            map_[1][i] = focal * axis[1] + y * depth;
            map_[2][i] = depth;
        }
    }

    Place centre_;
    double per_square_;
    Matrix3 map_{};
    Matrix3 back_{};
};

/// Camera colours of the frame, painted on.
class Canvas {
public:
    Canvas(int width, int height)
        : width_(width),
          height_(height),
          colours_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

    [[nodiscard]] Vector3& at(int x, int y) {
        return colours_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)];
    }
    [[nodiscard]] std::vector<Vector3> take() && { return std::move(colours_); }

    /// A parallelogram about `centre` with half sides `a` and `b`; `colour_at(u, v)` with u, v in -1..1.
    template <typename ColourAt>
    void paint(const Place& centre, const Place& a, const Place& b, ColourAt colour_at) {
        const double area = a[0] * b[1] - a[1] * b[0];
        const double reach_x = std::abs(a[0]) + std::abs(b[0]);
        const double reach_y = std::abs(a[1]) + std::abs(b[1]);
        const int right = std::min(width_ - 1, static_cast<int>(centre[0] + reach_x));
        const int bottom = std::min(height_ - 1, static_cast<int>(centre[1] + reach_y));
        for (int y = std::max(0, static_cast<int>(centre[1] - reach_y)); y <= bottom; ++y) {
            for (int x = std::max(0, static_cast<int>(centre[0] - reach_x)); x <= right; ++x) {
                const double dx = x + 0.5 - centre[0];
                const double dy = y + 0.5 - centre[1];
                const double u = (dx * b[1] - dy * b[0]) / area;
                const double v = (dy * a[0] - dx * a[1]) / area;
                if (std::abs(u) <= 1 && std::abs(v) <= 1) {
                    at(x, y) = colour_at(u, v);
                }
            }
        }
    }

    void blur(double deviation) {
        if (deviation < 0.1) {
            return;
        }
        const int reach = static_cast<int>(std::ceil(3 * deviation));
        std::vector<double> weights;
        double sum = 0;
        for (int i = -reach; i <= reach; ++i) {
            weights.push_back(std::exp(-0.5 * i * i / (deviation * deviation)));
            sum += weights.back();
        }
        for (double& weight : weights) {
            weight /= sum;
        }
        for (const bool across : {true, false}) {
            Canvas from = *this;
            for (int y = 0; y < height_; ++y) {
                for (int x = 0; x < width_; ++x) {
                    Vector3 mean{};
                    for (int i = 0; i <= 2 * reach; ++i) {
                        const Vector3& other = from.at(across ? std::clamp(x + i - reach, 0, width_ - 1) : x,
                                                       across ? y : std::clamp(y + i - reach, 0, height_ - 1));
                        const double weight = weights[static_cast<std::size_t>(i)];
                        for (std::size_t c = 0; c < 3; ++c) {
                            mean[c] += weight * other[c];
                        }
                    }
                    at(x, y) = mean;
                }
            }
        }
    }

private:
    int width_;
    int height_;
    std::vector<Vector3> colours_;
};

/// Things that are not the chart.
class Things {
public:
    Things(const SensorModel& sensor, const ChartView& view)
        : sensor_(sensor),
          view_(view),
          chart_(chart_scene(sensor, view.illuminant_k, view.level).colours),
          random_(view.seed) {}

    void paint_all(Canvas& canvas) {
        backdrop(canvas);
        for (int i = 0; i < view_.clutter.rectangles; ++i) {
            // One draw after another: compilers order arguments as they like.
            const double aspect = uniform(0.3, 1.0);
            const auto [a, b] = sides(uniform(0.01, 0.25) * sensor_.height, aspect);
            const Vector3 colour = any_colour();
            canvas.paint(anywhere(), a, b, [&](double, double) { return colour; });
        }
        for (int i = 0; i < view_.clutter.other_charts; ++i) {
            other_chart(canvas);
        }
    }

private:
    double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(random_); }
    Place anywhere() { return {uniform(0, sensor_.width), uniform(0, sensor_.height)}; }

    Vector3 any_colour() {
        const double grey = uniform(0, 1);
        return surface_colour(
            sensor_, view_.illuminant_k, view_.level,
            uniform(0, 1) < 0.3 ? Vector3{grey, grey, grey} : Vector3{uniform(0, 1), uniform(0, 1), uniform(0, 1)});
    }

    std::array<Place, 2> sides(double half_width, double aspect) {
        const double turn = uniform(0, 2 * std::numbers::pi);
        const double lean = uniform(-0.3, 0.3);
        const double half_height = half_width * aspect;
        return {{{half_width * std::cos(turn), half_width * std::sin(turn)},
                 {-half_height * std::sin(turn + lean), half_height * std::cos(turn + lean)}}};
    }

    void backdrop(Canvas& canvas) {
        if (view_.backdrop == nullptr) {
            const Vector3 a = any_colour();
            const Vector3 b = any_colour();
            for (int y = 0; y < sensor_.height; ++y) {
                for (int x = 0; x < sensor_.width; ++x) {
                    const double t =
                        (static_cast<double>(x) / sensor_.width + static_cast<double>(y) / sensor_.height) / 2;
                    Vector3& colour = canvas.at(x, y);
                    for (std::size_t c = 0; c < 3; ++c) {
                        colour[c] = a[c] + t * (b[c] - a[c]);
                    }
                }
            }
            return;
        }
        const Backdrop& from = *view_.backdrop;
        const double step = uniform(0.3, 1.0) * std::min(static_cast<double>(from.width) / sensor_.width,
                                                         static_cast<double>(from.height) / sensor_.height);
        const double left = uniform(0, from.width - step * sensor_.width);
        const double top = uniform(0, from.height - step * sensor_.height);
        for (int y = 0; y < sensor_.height; ++y) {
            for (int x = 0; x < sensor_.width; ++x) {
                const int i = std::clamp(static_cast<int>(left + step * x), 0, from.width - 1);
                const int j = std::clamp(static_cast<int>(top + step * y), 0, from.height - 1);
                const Vector3& seen = from.colours[static_cast<std::size_t>(j) * static_cast<std::size_t>(from.width) +
                                                   static_cast<std::size_t>(i)];
                for (std::size_t c = 0; c < 3; ++c) {
                    canvas.at(x, y)[c] = seen[c] * view_.level;
                }
            }
        }
    }

    void other_chart(Canvas& canvas) {
        const bool same_size = uniform(0, 1) < 0.5;
        const int columns = same_size ? 6 : static_cast<int>(uniform(3, 13));
        const int rows = same_size ? 4 : static_cast<int>(uniform(3, 9));
        std::vector<Vector3> colours(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
        std::ranges::generate(colours, [&] { return any_colour(); });
        if (same_size && uniform(0, 1) < 0.5) {
            colours.assign(chart_.begin(), chart_.begin() + kChartPatches);
            std::ranges::shuffle(colours, random_);
        }
        const double patch = 1 / (1 + uniform(0.05, 0.3));
        const auto [a, b] = sides(uniform(0.1, 0.45) * sensor_.height, static_cast<double>(rows) / columns);
        canvas.paint(anywhere(), a, b, [&](double u, double v) {
            const double column = (u + 1) / 2 * (columns + 0.5) - 0.25;
            const double row = (v + 1) / 2 * (rows + 0.5) - 0.25;
            const bool outside = column < 0 || row < 0 || column >= columns || row >= rows;
            if (outside || std::abs(column - std::floor(column) - 0.5) > patch / 2 ||
                std::abs(row - std::floor(row) - 0.5) > patch / 2) {
                return chart_.back();
            }
            return colours[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                           static_cast<std::size_t>(column)];
        });
    }

    const SensorModel& sensor_;
    const ChartView& view_;
    std::vector<Vector3> chart_;
    std::mt19937_64 random_;
};

void paint_chart(Canvas& canvas, const SensorModel& sensor, const ChartView& view, const Projection& projection) {
    const std::vector<Vector3> colours = chart_scene(sensor, view.illuminant_k, view.level).colours;
    const double half = 0.5 / (1 + view.gap);
    for (int y = 0; y < sensor.height; ++y) {
        for (int x = 0; x < sensor.width; ++x) {
            const Place middle = projection.chart_at({x + 0.5, y + 0.5});
            if (middle[0] < -view.border - 1 || middle[0] > kColumns + view.border + 1 ||
                middle[1] < -view.border - 1 || middle[1] > kRows + view.border + 1) {
                continue;
            }
            Vector3& colour = canvas.at(x, y);
            const Vector3 behind = colour;
            colour = {};
            for (int i = 0; i < kSubsamples * kSubsamples; ++i) {
                const auto [u, v] = projection.chart_at(
                    {x + (i % kSubsamples + 0.5) / kSubsamples, y + (i / kSubsamples + 0.5) / kSubsamples});
                const bool body =
                    u > -view.border && u < kColumns + view.border && v > -view.border && v < kRows + view.border;
                const bool cell = u >= 0 && u < kColumns && v >= 0 && v < kRows;
                const bool patch =
                    cell && std::abs(u - std::floor(u) - 0.5) < half && std::abs(v - std::floor(v) - 0.5) < half;
                const Vector3& seen =
                    patch  ? colours[static_cast<std::size_t>(v) * kChartColumns + static_cast<std::size_t>(u)]
                    : body ? colours.back()
                           : behind;
                for (std::size_t c = 0; c < 3; ++c) {
                    colour[c] += seen[c] / (kSubsamples * kSubsamples);
                }
            }
        }
    }
}

PlacedChart outline_of(const ChartView& view, const Projection& projection) {
    PlacedChart placed;
    const double half = 0.5 / (1 + view.gap);
    placed.corners = {projection.seen(0, 0), projection.seen(kColumns, 0), projection.seen(kColumns, kRows),
                      projection.seen(0, kRows)};
    placed.least_patch = 1e9;
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const double column = static_cast<double>(patch % kChartColumns) + 0.5;
        const double row = static_cast<double>(patch / kChartColumns) + 0.5;
        placed.centres[patch] = projection.seen(column, row);
        const std::array<Place, 4> corners = {
            projection.seen(column - half, row - half), projection.seen(column + half, row - half),
            projection.seen(column + half, row + half), projection.seen(column - half, row + half)};
        for (std::size_t i = 0; i < 4; ++i) {
            const Place& a = corners[i];
            const Place& b = corners[(i + 1) % 4];
            placed.least_patch = std::min(placed.least_patch, std::hypot(a[0] - b[0], a[1] - b[1]));
        }
    }
    return placed;
}

}  // namespace

PlacedChart outline_of(const SensorModel& sensor, const ChartView& view) {
    return outline_of(view, Projection(sensor, view));
}

PlacedChart place_chart(const SensorModel& sensor, const ChartView& view) {
    const Projection projection(sensor, view);
    PlacedChart placed = outline_of(view, projection);
    Canvas canvas(sensor.width, sensor.height);
    Things(sensor, view).paint_all(canvas);
    if (view.present) {
        paint_chart(canvas, sensor, view, projection);
    }
    canvas.blur(view.blur);
    placed.scene.picture = std::move(canvas).take();
    placed.scene.shaded = false;
    const double loss = 1 - 1 / view.light_ratio;
    const double turn = view.light_turn;
    placed.scene.light = [loss, turn](double x, double y) {
        if (turn < 0) {
            return 1 - loss * 2 * ((x - 0.5) * (x - 0.5) + (y - 0.5) * (y - 0.5));
        }
        const double along = (x - 0.5) * std::cos(turn) + (y - 0.5) * std::sin(turn);
        const double most = (std::abs(std::cos(turn)) + std::abs(std::sin(turn))) / 2;
        return 1 - loss * (along / most + 1) / 2;
    };
    return placed;
}

ChartView session_view(uint64_t seed) {
    std::mt19937_64 random(seed * 7919 + 29);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    ChartView view;
    view.turn = uniform(0, 2 * std::numbers::pi);
    view.tilt = uniform(5, 30) * std::numbers::pi / 180;
    view.tilt_axis = uniform(0, 2 * std::numbers::pi);
    view.focal_length = uniform(1, 2);
    view.height = uniform(0.7, 0.95);
    view.place = {uniform(0, 1), uniform(0, 1)};
    view.gap = uniform(0.1, 0.25);
    view.border = uniform(0.2, 0.5);
    view.blur = uniform(0, 1);
    view.clutter = {20, 1};
    view.seed = seed;
    return view;
}

ChartView random_view(uint64_t seed, SensorModel& sensor) {
    std::mt19937_64 random(seed * 7919 + 17);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    sensor.width = 2 * static_cast<int>(uniform(320, 800) * (seed % 40 == 9 ? 2.5 : 1));
    sensor.height = 2 * static_cast<int>(uniform(0.56, 0.76) * sensor.width / 2);
    sensor.pattern = static_cast<int>(seed % 4);
    sensor.conversion_gain = uniform(0.1, 0.5);
    sensor.read_noise = uniform(1, 4);
    sensor.bend = uniform(0, 0.2);

    ChartView view;
    view.tilt_axis = uniform(0, 2 * std::numbers::pi);
    view.focal_length = uniform(0.8, 2);
    view.border = uniform(0.1, 0.6);
    view.distortion = uniform(-0.05, 0.05);
    view.blur = uniform(0, 2);
    view.light_ratio = uniform(1, 2);
    view.light_turn = uniform(0, 1) < 0.3 ? -1 : uniform(0, 2 * std::numbers::pi);
    view.illuminant_k = 1 / uniform(1 / 8000.0, 1 / 2500.0);
    view.level = uniform(0.25, 0.97);
    view.clutter.rectangles = static_cast<int>(uniform(0, 60));
    view.clutter.other_charts = static_cast<int>(uniform(0, 4));
    view.seed = seed;
    do {
        view.turn = uniform(0, 2 * std::numbers::pi);
        view.tilt = uniform(0, 35) * std::numbers::pi / 180;
        view.gap = uniform(0.05, 0.30);
        view.height = std::exp(uniform(std::log(0.15), 0));
        view.place = {uniform(0, 1), uniform(0, 1)};
    } while (outline_of(sensor, view).least_patch < kLeastPatch);
    return view;
}

}  // namespace cali::host
