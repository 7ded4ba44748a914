#include "results/verdict.h"

#include <algorithm>
#include <cmath>

#include "results/sections.h"
#include "results/value_digest.h"

namespace cali::host {
namespace {

/// How near a measured value is to its limit, 1 at the limit; of those without a number nothing is known.
double nearness(const Finding& finding) {
    if (!finding.value || !finding.limit || *finding.limit == 0 || *finding.value == 0) {
        return -1;
    }
    const double ratio = std::abs(*finding.value / *finding.limit);
    return std::min(ratio, 1 / ratio);
}

bool decides(const Finding& a, const Finding& b) {
    if (a.severity != b.severity) {
        return a.severity > b.severity;
    }
    // Of what passes the nearest to its limit, of what does not the farthest beyond it.
    const bool passed = a.severity == Severity::pass || nearness(a) < 0 || nearness(b) < 0;
    return passed ? nearness(a) > nearness(b) : nearness(a) < nearness(b);
}

}  // namespace

const char* state_name(const CalibrationVerdict& verdict) {
    return verdict.done ? severity_name(verdict.severity) : "not done";
}

std::vector<CalibrationVerdict> verdicts(const Results& results) {
    std::vector<Finding> findings = results.findings;
    std::ranges::move(stale_sections(results), std::back_inserter(findings));
    std::vector<CalibrationVerdict> table;
    for_each_section_name([&](const char* name) { table.push_back({name, false, Severity::pass, {}}); });
    for_each_record(results, [&](const char* name, const std::string&, const Record&) {
        std::ranges::find(table, name, &CalibrationVerdict::calibration)->done = true;
    });
    for (CalibrationVerdict& verdict : table) {
        for (const Finding& finding : findings) {
            if (finding.subject.calibration != verdict.calibration) {
                continue;
            }
            verdict.done = true;
            verdict.severity = std::max(verdict.severity, finding.severity);
            if (verdict.deciding.code.empty() || decides(finding, verdict.deciding)) {
                verdict.deciding = finding;
            }
        }
    }
    return table;
}

std::vector<Finding> stale_sections(const Results& results) {
    std::vector<ValueRecord> present;
    const auto add = [&](const auto& entry) { present.push_back(value_record(entry)); };
    std::ranges::for_each(results.black_level, add);
    std::ranges::for_each(results.lens_shading, add);
    std::ranges::for_each(results.white_balance, add);
    std::ranges::for_each(results.matrices, add);
    std::vector<Finding> stale;
    for_each_record(results, [&](const char* section, const std::string& entry, const Record& record) {
        for (const ValueRecord& used : record.values) {
            const bool unchanged = std::ranges::any_of(present, [&](const ValueRecord& value) {
                return value.section == used.section && value.entry == used.entry && value.digest == used.digest;
            });
            if (used.given.empty() && !unchanged) {
                stale.push_back(
                    {record_of(Check::stale).code,
                     Severity::warn,
                     {section, "", {}},
                     entry,
                     {},
                     "",
                     {},
                     used.section + (used.entry.empty() ? "" : " " + used.entry) + " has changed since: run it again"});
            }
        }
    });
    return stale;
}

}  // namespace cali::host
