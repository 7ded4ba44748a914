#include "results/unit_record.h"

#include <algorithm>

#include "base/digest.h"
#include "base/error.h"
#include "base/input_file.h"
#include "cali/cali.h"
#include "results/codecs.h"
#include "results/results_file.h"
#include "results/sections.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

constexpr int kForm = 1;  // of the file

void fields(Archive& archive, UnitRecord& record) {
    archive.field("cali_version", record.version);
    option_fields(archive, record.options);
    input_fields(archive, record.inputs);
    archive.field("error", record.error);
    archive.named("verdict", record.verdict, severity_name, parse_severity);
    archive.field("calibrations", record.states);
    archive.list("figures", record.figures, [](Archive entry, UnitFigure& figure) {
        entry.field("calibration", figure.section);
        entry.field("entry", figure.entry);
        entry.field("figure", figure.figure.name);
        entry.field("value", figure.figure.value);
        entry.field("unit", figure.figure.unit);
        entry.field("step", figure.figure.step);
    });
}

}  // namespace

bool UnitRecord::same_inputs(const UnitRecord& other) const {
    const auto same = [](const InputRecord& a, const InputRecord& b) {
        return a.file == b.file && a.bytes == b.bytes && a.digest == b.digest;
    };
    return version == other.version && options == other.options && std::ranges::equal(inputs, other.inputs, same);
}

UnitRecord unit_record(const std::string& name, const Results& results) {
    UnitRecord record{name, CALI_VERSION_STRING, {}, {}, "", Severity::pass, {}, figures_of(results)};
    for (const CalibrationVerdict& verdict : verdicts(results)) {
        record.verdict = std::max(record.verdict, verdict.severity);
        record.states.emplace_back(state_name(verdict));
    }
    return record;
}

void add_unit_record(PendingFiles& files, const std::filesystem::path& folder, const UnitRecord& record) {
    Json json = Json::object();
    json["form"] = kForm;
    Archive archive = Archive::writer(json, std::nullopt);
    UnitRecord copy = record;
    fields(archive, copy);
    files.add_text(folder / kUnitRecord, json.dump(-1) + "\n");
}

std::optional<UnitRecord> read_unit_record(const std::filesystem::path& folder) {
    std::error_code error;
    const std::filesystem::path file = folder / kUnitRecord;
    if (!std::filesystem::is_regular_file(file, error)) {
        return std::nullopt;
    }
    try {
        const Json json = read_json(file, "record of a unit");
        Archive archive = Archive::reader(json, std::nullopt);
        int form = 0;
        archive.field("form", form, kForm, kForm);
        UnitRecord record;
        fields(archive, record);
        record.name = folder.filename().string();
        if (record.error.empty() && record.states.size() != kSectionNames.size()) {
            return std::nullopt;
        }
        return record;
    } catch (const InputError&) {
        return std::nullopt;
    }
}

InputRecord input_record(const std::filesystem::path& file) {
    constexpr std::size_t kPart = 1U << 18U;
    std::ifstream stream = open_input(file);
    Digest digest;
    InputRecord record{file.filename(), 0, ""};
    std::vector<char> part(kPart);
    while (stream.read(part.data(), static_cast<std::streamsize>(part.size())), stream.gcount() > 0) {
        const auto count = static_cast<std::size_t>(stream.gcount());
        digest.add({reinterpret_cast<const uint8_t*>(part.data()), count});
        record.bytes += count;
    }
    if (stream.bad()) {
        throw InputError(file.string() + ": cannot be read");
    }
    record.digest = digest.text();
    return record;
}

}  // namespace cali::host
