#include "results/merge.h"

#include <algorithm>

#include "results/sections.h"

namespace cali::host {
namespace {

template <typename T>
void put(std::optional<T>& kept, std::optional<T>& made) {
    if (made) {
        kept = std::move(made);
    }
}

template <typename T>
void put(std::vector<T>& kept, std::vector<T>& made) {
    for (T& entry : made) {
        const auto same = std::ranges::find(kept, entry_of(entry), [](const T& other) { return entry_of(other); });
        if (same != kept.end()) {
            *same = std::move(entry);
        } else {
            kept.push_back(std::move(entry));
        }
    }
}

/// Findings on a section that a file has once go together.
std::string subject_name(const Finding& finding) {
    const Subject& subject = finding.subject;
    const bool single = subject.calibration == "black_level" || subject.calibration == "white_balance_curve" ||
                        subject.calibration == "noise";
    return subject.calibration + "/" + entry_name(subject.taken, single ? std::filesystem::path() : subject.capture);
}

}  // namespace

void merge(Results& results, Results step) {
    // A light whose last capture gave no values has none that may be applied.
    for (const Finding& finding : step.findings) {
        if (finding.code == record_of(Check::not_computed).code && finding.severity == Severity::fail) {
            for_each_record(results, [&](const char* section, const std::string& entry, Record& record) {
                if (subject_name(finding) == std::string(section) + "/" + entry) {
                    record.standing = Standing::rejected;
                }
            });
        }
    }
    put(results.black_level, step.black_level);
    put(results.lens_shading, step.lens_shading);
    put(results.white_balance, step.white_balance);
    put(results.curve, step.curve);
    put(results.matrices, step.matrices);
    put(results.tables, step.tables);
    put(results.noise, step.noise);
    std::erase_if(results.findings, [&](const Finding& old) {
        return std::ranges::any_of(step.findings,
                                   [&](const Finding& made) { return subject_name(made) == subject_name(old); });
    });
    std::ranges::move(step.findings, std::back_inserter(results.findings));
    for (const std::filesystem::path& output : step.outputs) {
        if (std::ranges::find(results.outputs, output) == results.outputs.end()) {
            results.outputs.push_back(output);
        }
    }
    if (step.truth) {
        results.truth = step.truth;
    }
    results.version = step.version;
    results.sensor = step.sensor;
    results.limits = step.limits;
}

}  // namespace cali::host
