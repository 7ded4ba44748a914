#include "support/recorded_calls.h"

#include <cstdlib>
#include <fstream>
#include <map>

namespace cali::test {

void Digest::take_files() {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::current_path())) {
        const std::string name = entry.path().filename().string();
        files[name] = read_file(name);
    }
    for (const auto& [name, contents] : files) {
        *this << name << contents;
        std::filesystem::remove(name);
    }
}

bool Digest::recording() {
    static const bool asked = std::getenv("CALI_RECORD_RESULTS") != nullptr;
    return asked;
}

std::string Digest::text() const {
    std::array<char, 17> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(state_));
    return digits.data();
}

std::string without_sign_of_nan(std::string printed) {
    for (std::size_t at = 0; (at = printed.find("-nan", at)) != std::string::npos;) {
        printed[at] = ' ';
    }
    return printed;
}

void expect_digest(const std::string& name, const Digest& digest) {
    if (const char* const record = std::getenv("CALI_RECORD_DIGESTS")) {
        std::ofstream(record, std::ios::app) << name << ' ' << digest.text() << '\n';
        return;
    }
    if (const char* const folder = std::getenv("CALI_RECORD_RESULTS")) {
        std::ofstream(std::filesystem::path(folder) / name, std::ios::binary) << digest.values();
        return;
    }
#ifdef _WIN32
    if (name.starts_with("libm.")) {
        return;  // scripts/compare-platforms holds them value by value
    }
#endif
    std::ifstream file(CALI_DIGESTS);
    std::map<std::string, std::string> recorded;
    for (std::string key, value; file >> key >> value;) {
        recorded[key] = value;
    }
    EXPECT_EQ(digest.text(), recorded[name]) << name << " gives other results than were recorded in " << CALI_DIGESTS;
}

}  // namespace cali::test
