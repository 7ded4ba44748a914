#include "outputs/figures_csv.h"

#include "base/json.h"
#include "results/describe_results.h"

namespace cali::host {
namespace {

/// In the fewest digits that give it back; nothing for what is not finite.
std::string number(std::optional<double> value) {
    const std::string shortest = value ? Json(*value).dump(-1) : "";
    return shortest == "null" ? "" : shortest;
}

}  // namespace

std::string csv_field(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char letter : text) {
        quoted += letter == '"' ? "\"\"" : std::string(1, letter);
    }
    return quoted + "\"";
}

std::string figures_csv(const Results& results) {
    std::string csv = "calibration,entry,figure,value,unit,uncertainty,step,truth\n";
    for (const DescribedSection& described : describe_all(results)) {
        for (const Figure& figure : described.section.figures) {
            csv += csv_field(described.key) + "," + csv_field(described.entry) + "," + csv_field(figure.name) + "," +
                   number(figure.value) + "," + csv_field(figure.unit) + "," + number(figure.uncertainty) + "," +
                   number(figure.step > 0 ? std::optional(figure.step) : std::nullopt) + "," + number(figure.truth) +
                   "\n";
        }
    }
    return csv;
}

}  // namespace cali::host
