#include "results/value_digest.h"

#include "base/digest.h"
#include "base/text.h"

namespace cali::host {
namespace {

template <typename T>
void add(std::string& values, const T& numbers) {
    for (const auto number : numbers) {
        values += text("%.17g ", static_cast<double>(number));
    }
}

ValueRecord record(const char* section, std::string entry, const std::string& values, const Record& made) {
    // The option or file that the section came from stands in its place there.
    return {section, std::move(entry), digest_of({reinterpret_cast<const uint8_t*>(values.data()), values.size()}),
            made.given};
}

}  // namespace

std::string entry_name(const Conditions& taken, const std::filesystem::path& capture) {
    const std::string name = to_text(taken);
    return taken.illuminant_k ? name
           : capture.empty()  ? name
                              : capture.filename().generic_string() + (name.empty() ? "" : " at ") + name;
}

ValueRecord value_record(const BlackLevelResults& results) {
    std::string values;
    add(values, results.values.offset);
    add(values, results.values.gain);
    return record("black_level", entry_name(results.taken, {}), values, results.record);
}

ValueRecord value_record(const LensShading& result) {
    std::string values = text("%d %d ", result.tables.cols, result.tables.rows);
    for (const std::vector<int32_t>& mesh : result.tables.mesh) {
        add(values, mesh);
    }
    return record("lens_shading", entry_name(result.taken, result.file), values, result.record);
}

ValueRecord value_record(const WhiteBalance& result) {
    std::string values;
    add(values, std::array{result.gains.red, result.gains.green, result.gains.blue});
    return record("white_balance", entry_name(result.taken, result.file), values, result.record);
}

ValueRecord value_record(const MatrixCalibration& result) {
    std::string values;
    for (const Colour& colour : result.corrected) {
        add(values, colour);
    }
    if (!result.settings.reference.empty()) {
        for (const Colour& colour : result.reference) {
            add(values, colour);
        }
    }
    return record("colour_matrix", entry_name(result.taken, result.file), values, result.record);
}

}  // namespace cali::host
