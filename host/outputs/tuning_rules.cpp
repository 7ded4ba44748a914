#include "outputs/tuning_rules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>
#include <set>

#include "base/error.h"
#include "base/text.h"
#include "outputs/tuning_document.h"

namespace cali::host {
namespace {

constexpr double kMost16Bits = 65535;

/// The faults of one file, told with the place.
class Inspection {
public:
    explicit Inspection(const std::string& file) : file_(file) {}

    void fault(const TuningNode& at, const std::string& what) {
        faults_.push_back(file_ + text(":%zu: ", at.line) + what);
    }
    [[nodiscard]] std::vector<std::string> take() { return std::move(faults_); }

    /// A finite number within limits, without a sign of anything behind it.
    std::optional<double> number(const TuningNode& node, const std::string& name, double low, double high,
                                 bool whole = false) {
        if (node.kind != TuningNode::Kind::scalar) {
            fault(node, name + ": expected a number");
            return std::nullopt;
        }
        char* end = nullptr;
        const double value = std::strtod(node.text.c_str(), &end);
        const bool digits = !node.text.empty() && node.text.find_first_not_of("0123456789+-.eE") == std::string::npos;
        if (!digits || *end != '\0' || !std::isfinite(value)) {
            fault(node, name + ": " + shown(node) + ", expected a finite number");
            return std::nullopt;
        }
        if (whole && node.text.find_first_of(".eE") != std::string::npos) {
            fault(node, name + ": " + shown(node) + ", expected a whole number without a point");
            return std::nullopt;
        }
        if (value < low || value > high) {
            fault(node, name + ": " + shown(node) + text(", expected %g to %g", low, high));
            return std::nullopt;
        }
        return value;
    }
    std::optional<double> whole(const TuningNode& node, const std::string& name, double low, double high) {
        return number(node, name, low, high, true);
    }

    /// Of `count` numbers; the sum of those that are good, nothing where one is not.
    std::optional<double> numbers(const TuningNode& node, const std::string& name, std::size_t count, double low,
                                  double high, bool whole = false) {
        if (node.kind != TuningNode::Kind::list || node.items.size() != count) {
            fault(node, name +
                            (node.kind == TuningNode::Kind::list ? text(": %zu values", node.items.size())
                                                                 : std::string(": no list")) +
                            text(", expected %zu", count));
            return std::nullopt;
        }
        double sum = 0;
        bool good = true;
        for (std::size_t i = 0; i < count; ++i) {
            const auto value = number(node.items[i], name + text(" value %zu", i + 1), low, high, whole);
            good = good && value.has_value();
            sum += value.value_or(0);
        }
        return good ? std::optional(sum) : std::nullopt;
    }

    /// The members of a map by `rules`; others are passed over. `needed` ones have to be there.
    using Rule = std::function<void(const TuningNode& value, const std::string& name)>;
    void members(const TuningNode& map, const std::string& name, const std::vector<std::pair<const char*, Rule>>& rules,
                 const std::vector<const char*>& needed = {}) {
        if (map.kind != TuningNode::Kind::map && !map.is_empty()) {
            fault(map, name + ": expected keys with values");
            return;
        }
        for (const auto& [key, rule] : rules) {
            if (const TuningNode* const value = map.find(key)) {
                rule(*value, name + " " + key);
            }
        }
        for (const char* const key : needed) {
            if (map.find(key) == nullptr) {
                fault(map, name + ": no " + key);
            }
        }
    }

    /// A list of records by rising "ct".
    void by_temperature(const TuningNode& list, const std::string& name,
                        const std::vector<std::pair<const char*, Rule>>& rules,
                        const std::vector<const char*>& needed) {
        if (list.kind != TuningNode::Kind::list || list.items.empty()) {
            fault(list, name + ": expected a list of one or more");
            return;
        }
        double last = 0;
        for (std::size_t i = 0; i < list.items.size(); ++i) {
            const std::string entry = name + text(" %zu", i + 1);
            std::vector<std::pair<const char*, Rule>> all = rules;
            all.emplace_back("ct", [&](const TuningNode& node, const std::string& what) {
                ascending(whole(node, what, 1, kMost16Bits), last, node, what);
            });
            std::vector<const char*> must = needed;
            must.push_back("ct");
            members(list.items[i], entry, all, must);
        }
    }

    void ascending(std::optional<double> kelvin, double& last, const TuningNode& node, const std::string& name) {
        if (kelvin && *kelvin <= last) {
            fault(node, name + text(": %g behind %g, expected rising temperatures", *kelvin, last));
        }
        last = kelvin.value_or(last);
    }

    /// A name that stands twice: readers take one of them.
    void duplicates(const TuningNode& node) {
        std::set<std::string> names;
        for (const auto& [key, value] : node.members) {
            if (!names.insert(key.text).second) {
                fault(key, "\"" + key.text + "\" stands twice");
            }
            duplicates(value);
        }
        std::ranges::for_each(node.items, [&](const TuningNode& item) { duplicates(item); });
    }

private:
    static std::string shown(const TuningNode& node) { return "\"" + node.text + "\""; }

    std::string file_;
    std::vector<std::string> faults_;
};

using Rules = std::vector<std::pair<const char*, Inspection::Rule>>;

/// An algorithm's rules, where we know what its values mean.
struct Algorithm {
    const char* name;
    Rules rules;
    std::vector<const char*> needed;
};

void inspect_algorithms(const TuningNode& root, const std::vector<Algorithm>& known,
                        const std::vector<const char*>& others, Inspection& inspection) {
    const TuningNode* const list = root.find("algorithms");
    if (list == nullptr || list->kind != TuningNode::Kind::list) {
        inspection.fault(list == nullptr ? root : *list, "algorithms: expected a list");
        return;
    }
    std::set<std::string> seen;
    for (const TuningNode& entry : list->items) {
        if (entry.kind != TuningNode::Kind::map || entry.members.size() != 1) {
            inspection.fault(entry, "algorithms: expected one name with its keys in each entry");
            continue;
        }
        const auto& [name, keys] = entry.members.front();
        if (!seen.insert(name.text).second) {
            inspection.fault(name, name.text + ": stands twice");
        }
        const auto found =
            std::ranges::find(known, name.text, [](const Algorithm& algorithm) { return std::string(algorithm.name); });
        if (found != known.end()) {
            inspection.members(keys, name.text, found->rules, found->needed);
        } else if (std::ranges::find(others, name.text) == others.end()) {
            inspection.fault(name, name.text + ": no algorithm of this stack");
        }
    }
}

void inspect_rpi(const TuningNode& root, Inspection& inspection) {
    const TuningNode* const target = root.find("target");
    const bool pisp = target != nullptr && target->text == "pisp";
    if (!pisp && (target == nullptr || target->text != "bcm2835")) {
        inspection.fault(target == nullptr ? root : *target,
                         "target: " + (target == nullptr ? "none" : "\"" + target->text + "\"") +
                             ", expected \"bcm2835\" or \"pisp\"");
        return;
    }
    const std::size_t cells = pisp ? 1024 : 192;
    const auto code = [&](const TuningNode& node, const std::string& name) {
        (void)inspection.whole(node, name, 0, kMost16Bits);
    };
    const auto positive = [&](const TuningNode& node, const std::string& name) {
        (void)inspection.number(node, name, 0, 1e6);
    };
    const auto table = [&](const TuningNode& node, const std::string& name) {
        (void)inspection.numbers(node, name, cells, 1e-3, 1e3);
    };
    const auto tables = [&](const TuningNode& node, const std::string& name) {
        inspection.by_temperature(node, name, {{"table", table}}, {"table"});
    };
    const auto curve = [&](const TuningNode& node, const std::string& name) {
        const std::size_t values = node.items.size();
        if (node.kind != TuningNode::Kind::list || values < 6 || values % 3 != 0) {
            inspection.fault(node, name + text(": %zu values, expected three for each of two or more lights", values));
            return;
        }
        double last = 0;
        for (std::size_t i = 0; i < values; ++i) {
            const std::string what = name + text(" value %zu", i + 1);
            if (i % 3 == 0) {
                inspection.ascending(inspection.number(node.items[i], what, 1, kMost16Bits), last, node.items[i], what);
            } else {
                (void)inspection.number(node.items[i], what, 1e-3, 1e3);
            }
        }
    };
    const auto modes = [&](const TuningNode& node, const std::string& name) {
        for (const auto& [key, mode] : node.members) {
            const TuningNode* const low = mode.find("lo");
            const TuningNode* const high = mode.find("hi");
            if (low == nullptr || high == nullptr) {
                inspection.fault(key, name + " " + key.text + ": expected lo and hi");
                continue;
            }
            const auto first = inspection.number(*low, name + " " + key.text + " lo", 1, kMost16Bits);
            const auto last = inspection.number(*high, name + " " + key.text + " hi", 1, kMost16Bits);
            if (first && last && *first > *last) {
                inspection.fault(*high, name + " " + key.text + text(": hi %g below lo %g", *last, *first));
            }
        }
    };
    const auto matrices = [&](const TuningNode& node, const std::string& name) {
        inspection.by_temperature(
            node, name,
            {{"ccm", [&](const TuningNode& matrix,
                         const std::string& what) { (void)inspection.numbers(matrix, what, 9, -16, 16); }}},
            {"ccm"});
    };
    const std::vector<Algorithm> known = {
        {"rpi.black_level",
         {{"black_level", code}, {"black_level_r", code}, {"black_level_g", code}, {"black_level_b", code}},
         {}},
        {"rpi.noise",
         {{"reference_constant", positive}, {"reference_slope", positive}},
         {"reference_constant", "reference_slope"}},
        {"rpi.awb", {{"ct_curve", curve}, {"modes", modes}}, {}},
        {"rpi.nn.awb", {{"ct_curve", curve}, {"modes", modes}}, {}},
        {"rpi.alsc",
         {{"calibrations_Cr", tables},
          {"calibrations_Cb", tables},
          {"luminance_lut", table},
          {"luminance_strength", positive}},
         {}},
        {"rpi.ccm", {{"ccms", matrices}}, {"ccms"}}};
    inspect_algorithms(
        root, known,
        {"rpi.af", "rpi.agc", "rpi.cac", "rpi.contrast", "rpi.decompand", "rpi.denoise", "rpi.dpc", "rpi.geq",
         "rpi.hdr", "rpi.lux", "rpi.saturation", "rpi.sdn", "rpi.sharpen", "rpi.sync", "rpi.tonemap"},
        inspection);
}

void inspect_rkisp1(const TuningNode& root, Inspection& inspection) {
    constexpr std::size_t kNodes = 289;
    const auto code = [&](const TuningNode& node, const std::string& name) {
        (void)inspection.whole(node, name, 0, kMost16Bits);
    };
    const auto sizes = [&](const TuningNode& node, const std::string& name) {
        const auto sum = inspection.numbers(node, name, 8, 0, 1);
        if (sum && (*sum < 0.495 || *sum > 0.505)) {
            inspection.fault(node, name + text(": sum %g, expected 0.495 to 0.505", *sum));
        }
    };
    const auto table = [&](const TuningNode& node, const std::string& name) {
        (void)inspection.numbers(node, name, kNodes, 1024, 4095, true);
    };
    const std::vector<Algorithm> known = {
        {"BlackLevelCorrection", {{"R", code}, {"Gr", code}, {"Gb", code}, {"B", code}}, {}},
        {"LensShadingCorrection",
         {{"x-size", sizes},
          {"y-size", sizes},
          {"sets",
           [&](const TuningNode& node, const std::string& name) {
               inspection.by_temperature(node, name, {{"r", table}, {"gr", table}, {"gb", table}, {"b", table}},
                                         {"r", "gr", "gb", "b"});
           }}},
         {"x-size", "y-size", "sets"}},
        {"Awb",
         {{"colourGains",
           [&](const TuningNode& node, const std::string& name) {
               inspection.by_temperature(
                   node, name,
                   {{"gains", [&](const TuningNode& pair,
                                  const std::string& what) { (void)inspection.numbers(pair, what, 2, 0.004, 3.996); }}},
                   {"gains"});
           }}},
         {}},
        {"Ccm",
         {{"ccms",
           [&](const TuningNode& node, const std::string& name) {
               inspection.by_temperature(
                   node, name,
                   {{"ccm", [&](const TuningNode& matrix,
                                const std::string& what) { (void)inspection.numbers(matrix, what, 9, -8, 7.992); }},
                    {"offsets",
                     [&](const TuningNode& offsets, const std::string& what) {
                         (void)inspection.numbers(offsets, what, 3, -2048, 2047, true);
                     }}},
                   {"ccm"});
           }}},
         {"ccms"}}};
    inspect_algorithms(root, known,
                       {"Agc", "ColorProcessing", "CompressCurve", "CrossTalkCorrection",
                        "DefectPixelClusterCorrection", "DenoisePreFilter", "Dpf", "Filter", "GammaOutCorrection",
                        "GammaSensorLinearization", "Lux", "WideDynamicRange"},
                       inspection);
}

}  // namespace

std::vector<std::string> tuning_faults(const std::string& text, const std::string& file) {
    TuningNode root;
    try {
        root = parse_tuning(text, file);
    } catch (const InputError& problem) {
        return {problem.what()};
    }
    Inspection inspection(file);
    inspection.duplicates(root);
    const TuningNode* const version = root.find("version");
    const std::string found = version == nullptr || version->quoted ? "" : version->text;
    if (found == "2.0" || found == "2") {
        inspect_rpi(root, inspection);
    } else if (found == "1") {
        inspect_rkisp1(root, inspection);
    } else {
        inspection.fault(version == nullptr ? root : *version,
                         "version: " + (version == nullptr ? "none" : "\"" + version->text + "\"") +
                             ", expected 2.0 (rpi) or 1 (rkisp1)");
    }
    return inspection.take();
}

}  // namespace cali::host
