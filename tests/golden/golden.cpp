/// Calls every export under the instruction set in force and writes a file for each digest; scripts/check-golden
/// compares them.
///
///   cali_golden FOLDER [values]   with what the digests in libm/ are made of, value by value, beside them
///   cali_golden --sets            the instruction sets that this machine has

#include "golden/golden.h"

#include <fstream>

namespace cali::test {

void Digest::add(uint64_t bits, char kind) {
    if (keep_values_) {
        values_ += kind;
        values_.append(reinterpret_cast<const char*>(&bits), kind == 'c' ? 1 : sizeof bits);
    }
    state_ = (state_ ^ bits) * 0x9E3779B97F4A7C15U;
    state_ ^= state_ >> 32U;
}

std::string Digest::text() const {
    std::array<char, 17> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(state_));
    return digits.data();
}

CapturedStream::CapturedStream(std::FILE* stream, std::string path) : stream_(stream), path_(std::move(path)) {
    if (std::freopen(path_.c_str(), "wb", stream_) == nullptr) {
        throw std::runtime_error("cannot write " + path_);
    }
}

std::string CapturedStream::take() {
    (void)std::fflush(stream_);
    const auto length = static_cast<std::size_t>(std::ftell(stream_));
    if (length == 0) {
        return {};
    }
    std::rewind(stream_);
    return read_file(path_).substr(0, length);
}

const std::map<std::string, Digest>& Golden::finish() {
    std::string printed = out_.take();
    for (std::size_t at = 0; (at = printed.find("-nan", at)) != std::string::npos;) {
        printed[at] = ' ';  // runtimes differ in whether they print the sign
    }
    const std::string said = err_.take();
    std::map<std::string, std::string> files;
    if (files_appear_) {
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            const std::string name = entry.path().filename().string();
            files[name] = read_file(name);
        }
    }
    if (current_ != nullptr) {
        *current_ << printed << said;
        for (const auto& [name, contents] : files) {
            *current_ << name << contents;
            std::filesystem::remove(name);
        }
    }
    current_ = nullptr;
    return digests_;
}

namespace {

void write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    if (!(std::ofstream(path, std::ios::binary) << text)) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

void write_digests(const std::filesystem::path& folder, bool with_values) {
    const EnvironmentVariable no_boxes("CALI_WARNINGS", "stderr");
    const TemporaryDirectory beside;
    const std::filesystem::path out = std::filesystem::absolute("out");
    const std::filesystem::path err = std::filesystem::absolute("err");
    std::filesystem::create_directory("here");
    std::filesystem::current_path("here");
    Golden golden(out.string(), err.string(), with_values);
    call_front_end(golden);
    call_charts(golden);
    call_noise(golden);
    call_toolkit(golden);
    for (const auto& [name, digest] : golden.finish()) {
        write(folder / name, digest.text() + "\n");
        if (with_values && name.starts_with("libm/")) {
            write(folder / (name + ".values"), digest.values());
        }
    }
}

}  // namespace
}  // namespace cali::test

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty() || arguments.size() > 2 || (arguments.size() == 2 && arguments[1] != "values")) {
        (void)std::fputs("cali_golden: expected FOLDER [values], or --sets\n", stderr);
        return 2;
    }
    if (arguments[0] == "--sets") {
        for (const cali::Isa isa : cali::test::available_isas()) {
            std::puts(cali::isa_name(isa));
        }
        return 0;
    }
    cali::test::write_digests(std::filesystem::absolute(arguments[0]), arguments.size() == 2);
}
