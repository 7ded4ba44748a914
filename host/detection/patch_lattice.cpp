#include "detection/patch_lattice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <optional>
#include <set>

namespace cali::host {
namespace {

constexpr std::size_t kNeighbours = 10;  // that may be the next in row or column
constexpr double kLeastStep = 0.85;      // to a neighbour, in roots of a region's area
constexpr double kLargestStep = 3.4;
constexpr double kAreaRatio = 5;     // of neighbours
constexpr double kStepRatio = 1.9;   // of rows' distance and columns'
constexpr double kLeastSine = 0.6;   // between rows and columns
constexpr double kTolerance = 0.22;  // of a step
constexpr int kReach = 9;            // rows and columns from the first region
constexpr std::size_t kMostLattices = 60;

Point operator+(const Point& a, const Point& b) { return {a.x + b.x, a.y + b.y}; }
Point operator-(const Point& a, const Point& b) { return {a.x - b.x, a.y - b.y}; }
double length(const Point& a) { return std::hypot(a.x, a.y); }
double cross(const Point& a, const Point& b) { return a.x * b.y - a.y * b.x; }

/// Buckets over the plane.
class Places {
public:
    explicit Places(const std::vector<FlatRegion>& regions) : regions_(regions) {
        for (const FlatRegion& region : regions) {
            right_ = std::max(right_, region.centre.x);
            bottom_ = std::max(bottom_, region.centre.y);
        }
        columns_ = bucket(right_) + 1;
        buckets_.resize(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(bucket(bottom_) + 1));
        for (std::size_t i = 0; i < regions.size(); ++i) {
            at(bucket(regions[i].centre.x), bucket(regions[i].centre.y)).push_back(i);
        }
    }

    template <typename Visit>
    void near(const Point& place, double reach, Visit visit) {
        const int right = std::min(bucket(place.x + reach), columns_ - 1);
        const int bottom = std::min(bucket(place.y + reach), bucket(bottom_));
        for (int j = std::max(bucket(place.y - reach), 0); j <= bottom; ++j) {
            for (int i = std::max(bucket(place.x - reach), 0); i <= right; ++i) {
                for (const std::size_t k : at(i, j)) {
                    if (const double distance = length(regions_[k].centre - place); distance <= reach) {
                        visit(k, distance);
                    }
                }
            }
        }
    }

    /// The nearest region of about `area`.
    std::optional<std::size_t> nearest(const Point& place, double reach, double area) {
        std::optional<std::size_t> found;
        double best = reach;
        near(place, reach, [&](std::size_t k, double distance) {
            const double ratio = regions_[k].area / area;
            if (distance <= best && ratio < kAreaRatio && ratio * kAreaRatio > 1) {
                best = distance;
                found = k;
            }
        });
        return found;
    }

private:
    static int bucket(double coordinate) { return static_cast<int>(std::floor(coordinate / 16)); }
    std::vector<std::size_t>& at(int i, int j) {
        return buckets_[static_cast<std::size_t>(j) * static_cast<std::size_t>(columns_) + static_cast<std::size_t>(i)];
    }

    const std::vector<FlatRegion>& regions_;
    double right_ = 0;
    double bottom_ = 0;
    int columns_ = 0;
    std::vector<std::vector<std::size_t>> buckets_;
};

/// A region in its place, with the steps to the next column and row there.
struct Node {
    std::size_t region;
    Point across;
    Point down;
};

std::map<std::pair<int, int>, Node> grow(const std::vector<FlatRegion>& regions, Places& places, const Node& first) {
    std::map<std::pair<int, int>, Node> nodes = {{{0, 0}, first}};
    std::set<std::size_t> taken = {first.region};
    std::deque<std::pair<int, int>> open = {{0, 0}};
    while (!open.empty()) {
        const auto at = open.front();
        open.pop_front();
        const Node node = nodes.at(at);
        for (const auto& [i, j] : {std::pair(1, 0), std::pair(-1, 0), std::pair(0, 1), std::pair(0, -1)}) {
            const std::pair next = {at.first + i, at.second + j};
            if (nodes.contains(next) || std::abs(next.first) > kReach || std::abs(next.second) > kReach) {
                continue;
            }
            const Point& step = i != 0 ? node.across : node.down;
            const int sign = i + j;
            const FlatRegion& from = regions[node.region];
            const Point expected = {from.centre.x + sign * step.x, from.centre.y + sign * step.y};
            const double tolerance = kTolerance * std::min(length(node.across), length(node.down));
            const auto found = places.nearest(expected, tolerance, from.area);
            if (!found || taken.contains(*found)) {
                continue;
            }
            const Point seen = regions[*found].centre - from.centre;
            const Point forward = {sign * seen.x, sign * seen.y};
            // A patch's centre is known to a part of its size: the step follows by halves.
            const Point mean = {(forward.x + step.x) / 2, (forward.y + step.y) / 2};
            nodes[next] = {*found, i != 0 ? mean : node.across, i != 0 ? node.down : mean};
            taken.insert(*found);
            open.push_back(next);
        }
    }
    return nodes;
}

/// Pairs of steps from a region, short and upright ones first.
std::vector<std::pair<double, std::array<Point, 2>>> step_pairs(const std::vector<FlatRegion>& regions, Places& places,
                                                                std::size_t i) {
    const FlatRegion& region = regions[i];
    const double size = std::sqrt(region.area);
    std::vector<std::pair<double, Point>> steps;
    places.near(region.centre, kLargestStep * size, [&](std::size_t k, double distance) {
        const double ratio = regions[k].area / region.area;
        if (k != i && distance > kLeastStep * size && ratio < kAreaRatio && ratio * kAreaRatio > 1) {
            steps.emplace_back(distance, regions[k].centre - region.centre);
        }
    });
    std::ranges::sort(steps, {}, [](const auto& step) { return step.first; });
    steps.resize(std::min(steps.size(), kNeighbours));
    std::vector<std::pair<double, std::array<Point, 2>>> pairs;
    for (std::size_t a = 0; a < steps.size(); ++a) {
        for (std::size_t b = a + 1; b < steps.size(); ++b) {
            const double sine = cross(steps[a].second, steps[b].second) / (steps[a].first * steps[b].first);
            if (steps[b].first < kStepRatio * steps[a].first && std::abs(sine) > kLeastSine) {
                pairs.push_back(
                    {(steps[a].first + steps[b].first) / std::abs(sine), {steps[a].second, steps[b].second}});
            }
        }
    }
    std::ranges::stable_sort(pairs, {}, [](const auto& pair) { return pair.first; });
    return pairs;
}

}  // namespace

std::vector<PatchLattice> patch_lattices(const std::vector<FlatRegion>& regions, std::size_t least) {
    std::vector<PatchLattice> found;
    if (regions.empty()) {
        return found;
    }
    Places places(regions);
    std::vector<bool> used(regions.size(), false);
    for (std::size_t i = 0; i < regions.size() && found.size() < kMostLattices; ++i) {
        if (used[i]) {
            continue;
        }
        for (const auto& pair : step_pairs(regions, places, i)) {
            const auto& [across, down] = pair.second;
            // One more region has to bear a pair out before anything grows from it.
            const FlatRegion& region = regions[i];
            const double tolerance = kTolerance * std::min(length(across), length(down));
            int support = 0;
            for (const Point& place : {region.centre - across, region.centre - down, region.centre + across + down,
                                       region.centre + across - down, region.centre + down - across}) {
                support += places.nearest(place, tolerance, region.area) ? 1 : 0;
            }
            if (support < 2) {
                continue;
            }
            const auto nodes = grow(regions, places, {i, across, down});
            if (nodes.size() < least) {
                continue;
            }
            PatchLattice& lattice = found.emplace_back();
            for (const auto& [at, node] : nodes) {
                lattice[at] = regions[node.region].centre;
                used[node.region] = true;
            }
            break;
        }
    }
    std::ranges::stable_sort(found, [](const auto& a, const auto& b) { return a.size() > b.size(); });
    return found;
}

}  // namespace cali::host
