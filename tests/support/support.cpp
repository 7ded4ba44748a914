#include "support/support.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "boundary/warning.h"
#include "core/environment.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace cali::test {
namespace {

std::vector<std::string> collected;

void collect(const char* caption, const char* text) { collected.push_back(std::string(caption) + ": " + text); }

void set_variable(const char* name, const std::optional<std::string>& value) {
#ifdef _WIN32
    SetEnvironmentVariableA(name, value ? value->c_str() : nullptr);
#else
    (void)(value ? setenv(name, value->c_str(), 1) : unsetenv(name));
#endif
}

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

TemporaryDirectory::TemporaryDirectory()
    : before_(std::filesystem::current_path()),
      directory_(std::filesystem::temp_directory_path() / ("cali-test-" + std::to_string(std::random_device{}()))) {
    std::filesystem::create_directory(directory_);
    std::filesystem::current_path(directory_);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(directory_, ignored);
}

EnvironmentVariable::EnvironmentVariable(const char* name, const std::string& value)
    : name_(name), before_(environment_variable(name)) {
    set_variable(name, value);
}

EnvironmentVariable::~EnvironmentVariable() { set_variable(name_, before_); }

std::ostream& operator<<(std::ostream& stream, const Geometry& geometry) {
    return stream << geometry.width << " x " << geometry.height << ", pattern " << geometry.pattern;
}

std::vector<Geometry> small_geometries() {
    std::vector<Geometry> geometries;
    for (int32_t side = 1; side <= 70; ++side) {
        for (int32_t pattern = 0; pattern < kBayerPatterns; ++pattern) {
            geometries.push_back({side, 1 + (pattern + side / 2) % 3, pattern});
            geometries.push_back({1 + (side * 29) % 70, side, pattern});
        }
    }
    return geometries;
}

std::vector<uint32_t> samples_of_kind(Random& random, SampleKind kind, std::size_t count) {
    std::vector<uint32_t> samples = random_samples(random, count, 0, 4095);
    for (uint32_t& sample : samples) {
        if (kind == SampleKind::extreme || (kind == SampleKind::sprinkled && random() % 16 == 0)) {
            sample =
                random() % 2 == 0 ? pick(random, kExtremeSamples) : static_cast<uint32_t>(random()) >> random() % 32;
        }
    }
    return samples;
}

BlackLevel library_record(const reference::BlackLevelArguments& arguments) {
    const auto& [offset, gain] = arguments;
    return {PerChannel<uint32_t>::from_red_first(offset[0], offset[1], offset[2], offset[3]),
            PerChannel<float>::from_red_first(gain[0], gain[1], gain[2], gain[3])};
}

MeshGrids library_record(const reference::Grids& grids) {
    return {grids.cols, grids.rows, grids.red.data(), grids.green.data(), grids.blue.data()};
}

reference::Grids plausible_grids(Random& random, int cols, int rows) {
    reference::Grids grids = make_grids(cols, rows, [&] { return 400 + static_cast<uint32_t>(random()) % 256; });
    for (uint32_t& node : grids.green) {
        node = 512 + static_cast<uint32_t>(random()) % 1536;
    }
    return grids;
}

std::vector<uint32_t> random_samples(Random& random, std::size_t count, uint32_t low, uint32_t high) {
    std::vector<uint32_t> samples(count);
    for (uint32_t& sample : samples) {
        sample = low + static_cast<uint32_t>(random() % (uint64_t{high} - low + 1));
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
