#include "base/finding.h"

#include <algorithm>
#include <array>

#include "base/choice.h"
#include "base/text.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 3> kSeverityNames = {"pass", "warn", "fail"};

}  // namespace

const char* severity_name(Severity severity) { return kSeverityNames[static_cast<std::size_t>(severity)]; }

Severity parse_severity(const std::string& text, const std::string& where) {
    return parse_choice<Severity>(kSeverityNames, text, where);
}

Severity worst(const std::vector<Finding>& findings) {
    const auto found = std::ranges::max_element(findings, {}, &Finding::severity);
    return found == findings.end() ? Severity::pass : found->severity;
}

std::string to_text(const Finding& finding) {
    const Subject& subject = finding.subject;
    std::string line = std::string(severity_name(finding.severity)) + ": " +
                       (subject.capture.empty() ? subject.calibration : subject.capture.filename().string()) + ": " +
                       finding.code;
    if (finding.value) {
        line += text(" is %.4g%s%s", *finding.value, finding.unit.empty() ? "" : " ", finding.unit.c_str());
    }
    if (!finding.place.empty()) {
        line += " (" + finding.place + ")";
    }
    if (finding.limit) {
        line += text(", limit %.4g", *finding.limit);
    }
    return line + (finding.message.empty() ? "" : ": " + finding.message);
}

}  // namespace cali::host
