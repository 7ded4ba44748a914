#include "results/comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "results/sections.h"

namespace cali::host {
namespace {

/// The differences of a table's values; `relative` ones in percent.
struct TableKind {
    Check largest;
    Check rms;
    bool relative;
};
constexpr TableKind kMesh = {Check::diff_mesh_largest, Check::diff_mesh_rms, true};
constexpr TableKind kRadial = {Check::diff_radial_largest, Check::diff_radial_rms, true};
constexpr TableKind kCurve = {Check::diff_curve_largest, Check::diff_curve_rms, false};
constexpr TableKind kColours = {Check::diff_table_largest, Check::diff_table_rms, false};

struct FigureKind {
    Check check;
    bool relative;
};

FigureKind kind_of(const std::string& section, const Figure& figure) {
    if (figure.unit == "dE") {
        return {Check::diff_colour, false};
    }
    if (section == "black_level" && figure.unit == "codes") {
        return {Check::diff_offset, false};
    }
    if (section == "lens_shading" && figure.unit == "%") {
        return {Check::diff_flatness, false};
    }
    if (section == "white_balance") {
        return {Check::diff_gain, true};
    }
    if (section == "colour_matrix") {
        return {Check::diff_matrix, false};
    }
    return {section == "noise" ? Check::diff_noise : Check::diff_other, true};
}

double difference_of(double golden, double found, bool relative) {
    const double difference = found - golden;
    return relative && difference != 0 ? 100 * difference / std::abs(golden) : difference;
}

/// Compares what two sections of one light hold.
class Pair {
public:
    Pair(std::string section, std::string entry, const Limits& limits, Comparison& comparison)
        : section_(std::move(section)), entry_(std::move(entry)), limits_(limits), comparison_(comparison) {}

    void figures(const std::vector<Figure>& golden, const std::vector<Figure>& found) {
        for (const Figure& figure : golden) {
            // Of one capture's section, whose figures may be named after the capture: by place where names differ.
            const auto place = static_cast<std::size_t>(&figure - golden.data());
            const auto same = std::ranges::find(found, figure.name, &Figure::name);
            if (same == found.end() && place >= found.size()) {
                missing(figure.name);
                continue;
            }
            const Figure& other = same == found.end() ? found[place] : *same;
            const FigureKind kind = kind_of(section_, figure);
            const double difference = difference_of(figure.value, other.value, kind.relative);
            add(kind.check, figure.name, figure.value, other.value, difference);
        }
    }

    template <typename T>
    void table(const char* name, const TableKind& kind, std::span<const T> golden, std::span<const T> found) {
        if (golden.size() != found.size()) {
            missing(std::string(name) + " of this size");
            return;
        }
        double largest = 0;
        double squares = 0;
        for (std::size_t i = 0; i < golden.size(); ++i) {
            const double difference =
                difference_of(static_cast<double>(golden[i]), static_cast<double>(found[i]), kind.relative);
            largest = std::max(largest, std::abs(difference));
            squares += difference * difference;
        }
        constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
        add(kind.largest, std::string(name) + ", largest", kNone, kNone, largest);
        add(kind.rms, std::string(name) + ", rms", kNone, kNone,
            std::sqrt(squares / static_cast<double>(std::max<std::size_t>(golden.size(), 1))));
    }

    void missing(const std::string& what) {
        Judge judge(limits_, {section_, "", {}});
        judge.say(Check::diff_missing, Severity::fail,
                  what + (entry_.empty() ? "" : " of " + entry_) + " stands in one of the files only");
        keep(judge);
    }

private:
    void add(Check check, const std::string& figure, double golden, double found, double difference) {
        Judge judge(limits_, {section_, "", {}});
        const Severity severity =
            judge.hold(check, std::abs(difference), entry_.empty() ? figure : entry_ + ", " + figure);
        keep(judge);
        comparison_.differences.push_back(
            {section_, entry_, figure, golden, found, difference, record_of(check).unit, severity});
    }
    void keep(const Judge& judge) {
        comparison_.findings.insert(comparison_.findings.end(), judge.findings().begin(), judge.findings().end());
    }

    std::string section_;
    std::string entry_;
    const Limits& limits_;
    Comparison& comparison_;
};

std::vector<Figure> figures_of(const WhiteBalance& result) { return describe(std::vector{result}).figures; }
template <typename T>
std::vector<Figure> figures_of(const T& result) {
    return describe(result).figures;
}

template <typename T>
void tables(Pair&, const T&, const T&) {}
void tables(Pair& pair, const LensShading& golden, const LensShading& found) {
    constexpr std::array<const char*, 3> kNames = {"mesh red", "mesh green", "mesh blue"};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        pair.table<int32_t>(kNames[i], kMesh, golden.tables.mesh[i], found.tables.mesh[i]);
    }
    pair.table<int32_t>("radial", kRadial, golden.tables.radial, found.tables.radial);
}
void tables(Pair& pair, const CurveResult& golden, const CurveResult& found) {
    pair.table<float>("curve", kCurve, golden.table, found.table);
}
void tables(Pair& pair, const ColourTable& golden, const ColourTable& found) {
    pair.table<int32_t>("table", kColours, golden.value, found.value);
}

}  // namespace

Comparison compare(const Results& golden, const Results& found, const Limits& limits) {
    Comparison comparison;
    for_each_section(golden, [&](const char* name, const auto& section) {
        for_each_entry(section, [&](const auto& entry) {
            Pair pair(name, entry_of(entry), limits, comparison);
            bool there = false;
            for_each_section(found, [&](const char*, const auto& other_section) {
                if constexpr (std::is_same_v<decltype(section), decltype(other_section)>) {
                    for_each_entry(other_section, [&](const auto& other) {
                        if (entry_of(other) == entry_of(entry)) {
                            there = true;
                            pair.figures(figures_of(entry), figures_of(other));
                            tables(pair, entry, other);
                        }
                    });
                }
            });
            if (!there) {
                pair.missing(name);
            }
        });
    });
    for_each_record(found, [&](const char* name, const std::string& entry, const Record&) {
        bool there = false;
        for_each_record(golden, [&](const char* other, const std::string& other_entry, const Record&) {
            there = there || (std::string(name) == other && entry == other_entry);
        });
        if (!there) {
            Pair(name, entry, limits, comparison).missing(name);
        }
    });
    return comparison;
}

}  // namespace cali::host
