#include "results/results_file.h"

#include <fstream>
#include <sstream>

#include "base/error.h"
#include "base/output_file.h"
#include "results/codecs.h"

namespace cali::host {
namespace {

constexpr int kSchema = 1;

void sensor_fields(Archive& sensor, SensorGeometry& geometry) {
    sensor.field("width", geometry.width, 0, kMaxSide);
    sensor.field("height", geometry.height, 0, kMaxSide);
    sensor.named("pattern", geometry.pattern, pattern_name, parse_pattern);
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
void sections(Archive& archive, const char* key, std::vector<T>& results) {
    archive.list(key, results, [](Archive entry, T& result) { fields(entry, result); });
}

void fields(Archive& archive, Results& results) {
    if (!archive.reading() || archive.holds("sensor")) {
        archive.object("sensor", [&](Archive sensor) { sensor_fields(sensor, results.sensor); });
    }
    section(archive, "black_level", results.black_level);
    sections(archive, "lens_shading", results.lens_shading);
    sections(archive, "white_balance", results.white_balance);
    section(archive, "white_balance_curve", results.curve);
    sections(archive, "colour_matrix", results.matrices);
    sections(archive, "colour_table", results.tables);
    section(archive, "noise", results.noise);
}

}  // namespace

std::string to_json_text(Results results, const std::filesystem::path& folder) {
    Json json;
    json["schema"] = kSchema;
    json["cali_version"] = CALI_VERSION_STRING;
    Archive archive = Archive::writer(json, folder);
    fields(archive, results);
    return json.dump() + "\n";
}

void write_results(const std::filesystem::path& file, const Results& results) {
    write_text_file(file, to_json_text(results, std::filesystem::absolute(file).parent_path()));
}

Results read_results(const std::filesystem::path& file) {
    std::error_code error;
    std::ifstream stream(file);
    if (!std::filesystem::is_regular_file(file, error) || !stream) {
        throw InputError(file.string() + ": no such results file");
    }
    std::ostringstream content;
    content << stream.rdbuf();
    try {
        const Json json = Json::parse(content.str());
        Archive archive = Archive::reader(json, file.parent_path());
        int schema = 0;
        archive.field("schema", schema);
        if (schema != kSchema) {
            archive.fail("schema", std::to_string(schema), std::to_string(kSchema));
        }
        Results results;
        results.file = file;
        fields(archive, results);
        return results;
    } catch (const InputError& problem) {
        throw InputError(file.string() + ": not a results file of this program: " + problem.what());
    }
}

}  // namespace cali::host
