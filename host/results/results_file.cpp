#include "results/results_file.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "base/error.h"
#include "base/text.h"
#include "base/text_file.h"
#include "results/codecs.h"
#include "results/gain_model.h"
#include "results/sections.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

constexpr int kSchema = 3;

void sensor_fields(Archive& sensor, SensorGeometry& geometry) {
    sensor.field("width", geometry.width, 0, kMaxSide);
    sensor.field("height", geometry.height, 0, kMaxSide);
    std::string pattern = pattern_text(geometry);
    sensor.field("pattern", pattern);
    Geometry told;
    set_pattern(told, pattern, sensor.where("pattern"));
    geometry.mono = told.mono;
    geometry.pattern = *told.pattern;
    sensor.field("bits", geometry.bits, kMinBits, kMaxBits);
    sensor.field("white_level", geometry.white_level);
}

/// A section that is absent where there is nothing to tell.
template <typename T>
void section(Archive& archive, const char* key, std::optional<T>& result) {
    if (archive.reading() && archive.holds(key)) {
        result.emplace();
    }
    if (result) {
        archive.object(key, [&](Archive entry) { fields(entry, *result); });
    }
}
template <typename T>
void section(Archive& archive, const char* key, std::vector<T>& results) {
    archive.list(key, results, [](Archive entry, T& result) { fields(entry, result); });
}

/// A later run may have written one again, or named it in another way.
std::vector<std::filesystem::path> each_once(const std::vector<std::filesystem::path>& files) {
    std::vector<std::filesystem::path> kept;
    std::set<std::filesystem::path> seen;
    std::ranges::copy_if(files, std::back_inserter(kept), [&](const std::filesystem::path& file) {
        return seen.insert(std::filesystem::absolute(file).lexically_normal()).second;
    });
    return kept;
}

void output_fields(Archive& archive, std::vector<std::filesystem::path>& outputs) {
    if (!archive.reading()) {
        outputs = each_once(outputs);
    }
    archive.derived("outputs", Json::array());
    archive.list("outputs", outputs, [](Archive entry, std::filesystem::path& output) { entry.file("file", output); });
}

/// Last: a file that has it is whole.
void verdict_fields(Archive& archive, const Results& results) {
    Json calibrations = Json::object();
    Severity severity = Severity::pass;
    for (const CalibrationVerdict& verdict : verdicts(results)) {
        calibrations[verdict.calibration] = state_name(verdict);
        severity = std::max(severity, verdict.severity);
    }
    archive.derived("calibrations", std::move(calibrations));
    std::string name = severity_name(severity);
    archive.field("verdict", name);
}

void fields(Archive& archive, Results& results) {
    archive.object("sensor", [&](Archive sensor) { sensor_fields(sensor, results.sensor); });
    archive.set_mono(results.sensor.mono);
    output_fields(archive, results.outputs);
    for_each_section(results, [&](const char* key, auto& entries) { section(archive, key, entries); });
    if (!archive.reading()) {
        if (const std::optional<GainModel> model = gain_model(results)) {
            archive.derived("gain_model", to_json(*model));
        }
    }
    section(archive, "truth", results.truth);
    limit_fields(archive, results.limits);
    section(archive, "findings", results.findings);
    verdict_fields(archive, results);
}

Json read_document(const std::filesystem::path& file, const std::vector<std::string>& enough = {}) {
    Json json = read_json(file, "results file", enough);
    for (const char* const key : {"schema", "cali_version"}) {
        if (json.find(key) == nullptr) {
            throw InputError(file.string() + ": no results file of cali: it has no \"" + key + "\"");
        }
    }
    return json;
}

}  // namespace

Json read_json(const std::filesystem::path& file, const char* what, const std::vector<std::string>& enough) {
    const std::string content = read_text_file(file, what);
    try {
        return Json::parse(content, enough);
    } catch (const InputError& problem) {
        throw InputError(file.string() + ": no " + what + " of cali: " + problem.what());
    }
}

Json to_json(Results results, const std::optional<std::filesystem::path>& folder) {
    Json json;
    json["schema"] = kSchema;
    json["cali_version"] = CALI_VERSION_STRING;
    Archive archive = Archive::writer(json, folder);
    fields(archive, results);
    return json;
}

Results from_json(const Json& document, const std::optional<std::filesystem::path>& folder) {
    Archive archive = Archive::reader(document, folder);
    int schema = 0;
    archive.field("schema", schema);
    if (schema != kSchema) {
        throw InputError(text("its schema is %d, expected %d: calibrate again with this version", schema, kSchema));
    }
    Results results;
    archive.field("cali_version", results.version);
    fields(archive, results);
    for_each_record(results,
                    [&](const char*, const std::string&, Record& record) { record.mono = results.sensor.mono; });
    return results;
}

std::string results_text(const std::filesystem::path& file, const Results& results) {
    return to_json(results, std::filesystem::absolute(file).parent_path()).dump() + "\n";
}

Results read_results(const std::filesystem::path& file) {
    const Json json = read_document(file);
    try {
        Results results = from_json(json, file.parent_path());
        results.file = file;
        for_each_record(results,
                        [](const char*, const std::string&, Record& record) { record.source = Source::results; });
        return results;
    } catch (const InputError& problem) {
        throw InputError(file.string() + ": " + problem.what());
    }
}

std::vector<std::filesystem::path> outputs_to_replace(const std::filesystem::path& file) {
    std::vector<std::filesystem::path> outputs;
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        return outputs;
    }
    const Json json = read_document(file, {"schema", "cali_version", "outputs"});
    try {
        Archive archive = Archive::reader(json, file.parent_path());
        int schema = 0;
        archive.field("schema", schema);
        if (schema == kSchema) {
            output_fields(archive, outputs);
        }
    } catch (const InputError&) {
        outputs.clear();
    }
    return outputs;
}

}  // namespace cali::host
