#include "results/describe_results.h"

#include <algorithm>

#include "base/text.h"
#include "results/gain_model.h"
#include "results/sections.h"

namespace cali::host {
namespace {

/// What warns and what fails, as lines over the plot.
void add_limits(const Limits& limits, Plot& plot) {
    for (std::size_t i = 0; i < kChecks && !plot.limit.empty(); ++i) {
        const auto check = static_cast<Check>(i);
        if (plot.limit == record_of(check).code) {
            plot.bands.push_back({text("warn %g", limits[check].warn), limits[check].warn, limits[check].warn});
            plot.bands.push_back({text("fail %g", limits[check].fail), limits[check].fail, limits[check].fail});
        }
    }
}

class Description {
public:
    explicit Description(const Results& results) : results_(results) {}

    void add(const char* key, const std::vector<WhiteBalance>& cards) {
        if (!cards.empty()) {
            add(key, "", describe(cards));
        }
    }
    template <typename AnySection>
    void add(const char* key, const AnySection& section) {
        for_each_entry(section, [&](const auto& entry) { add(key, entry_of(entry), describe(entry)); });
    }
    void add(const char* key, const std::string& entry, Section section) {
        add_truth(results_, key, entry, section);
        for (Plot& plot : section.plots) {
            add_limits(results_.limits, plot);
        }
        sections_.push_back({key, entry, std::move(section)});
    }
    [[nodiscard]] std::vector<DescribedSection> take() { return std::move(sections_); }

private:
    const Results& results_;
    std::vector<DescribedSection> sections_;
};

}  // namespace

std::vector<DescribedSection> describe_all(const Results& results) {
    Description description(results);
    for_each_section(results, [&](const char* key, const auto& section) { description.add(key, section); });
    if (const auto model = gain_model(results)) {
        description.add("gain_model", "", describe(*model));
    }
    return description.take();
}

}  // namespace cali::host
