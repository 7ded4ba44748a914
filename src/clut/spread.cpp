#include "clut/spread.h"

#include <algorithm>
#include <span>
#include <utility>

#include "kernels/row_kernels.h"

namespace cali::clut {
namespace {

using lut::Axis;
using lut::Lattice;
using lut::Vector3;

/// The filled nodes, by lines along the first axis, in the order of the table.
class Sources {
public:
    struct Node {
        int32_t at;
        double own;
        Vector3 shift;
    };
    /// A line that has any.
    struct Line {
        int32_t second;
        std::size_t first;  ///< of its nodes
        std::size_t count;
    };

    Sources(const Lattice& lattice, const Partial& partial) {
        std::size_t i = 0;
        for (int32_t third = 0; third < lattice.axis[2].nodes; ++third) {
            planes_.push_back(lines_.size());
            for (int32_t second = 0; second < lattice.axis[1].nodes; ++second) {
                const std::size_t first = nodes_.size();
                for (int32_t at = 0; at < lattice.axis[0].nodes; ++at, ++i) {
                    if (partial.weight[i] > 0) {
                        nodes_.push_back({at, std::min(partial.weight[i], 1.0), partial.shift[i]});
                    }
                }
                if (nodes_.size() > first) {
                    lines_.push_back({second, first, nodes_.size() - first});
                }
            }
        }
        planes_.push_back(lines_.size());
    }

    [[nodiscard]] std::span<const Line> lines_of(int32_t third) const {
        const auto plane = static_cast<std::size_t>(third);
        return std::span(lines_).subspan(planes_[plane], planes_[plane + 1] - planes_[plane]);
    }
    [[nodiscard]] std::span<const Node> nodes_of(const Line& line) const {
        return std::span(nodes_).subspan(line.first, line.count);
    }

private:
    std::vector<Node> nodes_;
    std::vector<Line> lines_;
    std::vector<std::size_t> planes_;  ///< first line of each
};

/// What the nodes of one line receive. Behind the last node there is room for what the kernels add beyond it.
class ReceivingLine {
public:
    explicit ReceivingLine(const Axis& axis)
        : axis_(axis), columns_(static_cast<std::size_t>(axis.nodes) + kSpreadPadding), values_(5 * columns_) {}

    void add(const Sources::Node& node, const Reach::Line& line) {
        any_ = true;
        const int32_t begin = node.at - line.half;
        int32_t at = axis_.cyclic ? begin : std::max(begin, 0);
        const int32_t end = axis_.cyclic ? node.at + line.half + 1 : std::min(node.at + line.half + 1, axis_.nodes);
        while (at < end) {  // once, but where the line goes around
            const int32_t to = at < 0 ? at + axis_.nodes : at >= axis_.nodes ? at - axis_.nodes : at;
            const int32_t count = std::min(end - at, axis_.nodes - to);
            kernels_.spread({node.shift, node.own, line.nearness + (at - begin), line.squared + (at - begin)},
                            sums_at(static_cast<std::size_t>(to)), static_cast<std::size_t>(count));
            at += count;
        }
    }

    /// To the nodes of the lattice's line that begins at `row`, where anything came; starts afresh.
    void hand_over(Partial& partial, std::size_t row) {
        if (!std::exchange(any_, false)) {
            return;
        }
        const SpreadSums sums = sums_at(0);
        for (std::size_t i = 0; i < static_cast<std::size_t>(axis_.nodes); ++i) {
            if (sums.weight[i] > 0) {
                for (std::size_t c = 0; c < sums.shift.size(); ++c) {
                    partial.shift[row + i][c] = sums.shift[c][i] / sums.weight[i] * sums.nearest[i];
                }
                partial.weight[row + i] = sums.nearest[i];
            }
        }
        std::ranges::fill(values_, 0.0);
    }

private:
    [[nodiscard]] SpreadSums sums_at(std::size_t node) {
        double* const first = values_.data() + node;
        return {{first, first + columns_, first + 2 * columns_}, first + 3 * columns_, first + 4 * columns_};
    }

    const RowKernels& kernels_ = row_kernels();
    const Axis& axis_;
    std::size_t columns_;
    std::vector<double> values_;
    bool any_ = false;
};

}  // namespace

Reach::Reach(const Lattice& lattice, double radius) : axis_(lattice.axis) {
    for (std::size_t a = 0; a < 3; ++a) {
        most_[a] = std::min(static_cast<int32_t>(radius * axis_[a].intervals()),
                            axis_[a].cyclic ? (axis_[a].nodes - 1) / 2 : axis_[a].nodes - 1);
    }
    std::array<int32_t, 3> d{};
    for (d[2] = -most_[2]; d[2] <= most_[2]; ++d[2]) {
        for (d[1] = -most_[1]; d[1] <= most_[1]; ++d[1]) {
            Place place{-1, nearness_.size()};
            for (d[0] = -most_[0]; d[0] <= most_[0]; ++d[0]) {
                double distance_squared = 0;
                for (std::size_t a = 0; a < 3; ++a) {
                    const double distance = d[a] / (axis_[a].intervals() * radius);
                    distance_squared += distance * distance;
                }
                if (distance_squared < 1) {
                    const double nearness = (1 - distance_squared) * (1 - distance_squared);
                    nearness_.push_back(nearness);
                    squared_.push_back(nearness * nearness);
                }
            }
            if (const std::size_t found = nearness_.size() - place.first; found != 0) {
                place.half = static_cast<int32_t>(found / 2);
                nearness_.resize(nearness_.size() + kSpreadPadding);
                squared_.resize(squared_.size() + kSpreadPadding);
            }
            lines_.push_back(place);
        }
    }
}

std::optional<int32_t> Reach::step(std::size_t axis, int32_t from, int32_t to) const {
    const int32_t step = to - from;
    return step >= -most_[axis] && step <= most_[axis] ? std::optional(step) : std::nullopt;
}

std::optional<Reach::Line> Reach::line(int32_t second, int32_t third) const {
    const int32_t row = third + most_[2];
    const int32_t column = second + most_[1];
    const int32_t columns = 2 * most_[1] + 1;
    const Place& place =
        lines_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(column)];
    return place.half < 0
               ? std::nullopt
               : std::optional(Line{place.half, nearness_.data() + place.first, squared_.data() + place.first});
}

void spread(const Lattice& lattice, const Reach& reach, Partial& partial) {
    const Sources sources(lattice, partial);
    ReceivingLine received(lattice.axis[0]);
    // Whatever a node receives it adds in the order of the nodes that give.
    for (int32_t to_third = 0; to_third < lattice.axis[2].nodes; ++to_third) {
        for (int32_t to_second = 0; to_second < lattice.axis[1].nodes; ++to_second) {
            for (int32_t third = 0; third < lattice.axis[2].nodes; ++third) {
                const auto third_step = reach.step(2, third, to_third);
                if (!third_step) {
                    continue;
                }
                for (const Sources::Line& giving : sources.lines_of(third)) {
                    const auto second_step = reach.step(1, giving.second, to_second);
                    const auto line = second_step ? reach.line(*second_step, *third_step) : std::nullopt;
                    if (line) {
                        for (const Sources::Node& node : sources.nodes_of(giving)) {
                            received.add(node, *line);
                        }
                    }
                }
            }
            received.hand_over(partial, lattice.index({0, to_second, to_third}));
        }
    }
}

}  // namespace cali::clut
