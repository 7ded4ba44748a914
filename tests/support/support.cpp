#include "support/support.h"

#include <fstream>
#include <iterator>

#include "core/warning.h"

namespace cali::test {
namespace {

std::vector<std::string> collected;

void collect(const char* caption, const char* text) { collected.push_back(std::string(caption) + ": " + text); }

}  // namespace

CapturedWarnings::CapturedWarnings() {
    collected.clear();
    set_warning_sink(collect);
}

CapturedWarnings::~CapturedWarnings() { set_warning_sink(nullptr); }

const std::vector<std::string>& CapturedWarnings::texts() const { return collected; }

std::vector<Isa> available_isas() {
    std::vector<Isa> isas;
    for (const Isa isa : kAllIsas) {
        if (isa_available(isa)) {
            isas.push_back(isa);
        }
    }
    return isas;
}

std::vector<uint32_t> random_samples(Random& random, std::size_t count, uint32_t low, uint32_t high) {
    std::uniform_int_distribution<uint32_t> distribution(low, high);
    std::vector<uint32_t> samples(count);
    for (uint32_t& sample : samples) {
        sample = distribution(random);
    }
    return samples;
}

OwnedFrame random_frame(Random& random, int32_t width, int32_t height, int32_t pattern, uint32_t high) {
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    return {random_samples(random, count, 0, high), width, height, pattern};
}

std::string read_file(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace cali::test
