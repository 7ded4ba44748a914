#include "commands/value_options.h"

#include <algorithm>
#include <charconv>

#include "base/error.h"
#include "base/text.h"
#include "results/choose_values.h"
#include "results/merge.h"

namespace cali::host {
namespace {

template <typename T>
void replace(std::vector<T>& section, std::vector<T>& other) {
    if (!other.empty()) {
        section = std::move(other);
    }
}

void require_section(bool there, const std::string& file, const char* what, const char* expected) {
    if (!there) {
        throw InputError(file + ": holds no " + what + ", expected results of " + expected);
    }
}

}  // namespace

void ValueOptions::add_to(Command& command, std::initializer_list<Kind> kinds) {
    for (const Kind kind : kinds) {
        switch (kind) {
            case black_level:
                command
                    .option("--black-level", black_level_,
                            "black level in place of the results': another results file, or codes of the capture's "
                            "depth, one for all channels or four for RR,GR,GB,BB")
                    .type_name("FILE|CODES")
                    .takes(ValueKind::file);
                break;
            case lens_shading:
                command
                    .option("--lens-shading", lens_shading_,
                            "another results file whose mesh of the nearest light is applied")
                    .type_name("FILE");
                break;
            case all:
                command
                    .option("--values", values_,
                            "other results files whose black level, lens shading and white balance are applied in "
                            "place of the results'")
                    .type_name("FILE");
        }
    }
}

void ValueOptions::name_files(RunFiles& files) const {
    if (!black_level_.empty() && !parse_codes(black_level_, "--black-level")) {
        files.values(path_of(black_level_), "--black-level");
    }
    if (!lens_shading_.empty()) {
        files.values(lens_shading_, "--lens-shading");
    }
    for (const std::filesystem::path& file : values_) {
        files.values(file, "--values");
    }
}

Results ValueOptions::values(const Capture& capture, Run& run) const {
    Results values = run.earlier();
    Results others;
    for (const std::filesystem::path& file : values_) {
        merge(others, run.read_values(file));
    }
    const auto codes = parse_codes(black_level_, "--black-level");
    if (!codes && !black_level_.empty()) {
        Results other = run.read_values(path_of(black_level_));
        require_black_level(other, black_level_);
        others.black_level = std::move(other.black_level);
    }
    const bool others_tell = !others.black_level.empty();
    replace(values.black_level, others.black_level);
    values.black_level = strongest_black_level(codes, others_tell ? std::nullopt : run.session_black_level(),
                                               std::move(values.black_level), capture);
    if (codes) {
        values.black_level.front().record.given = black_level_;
    }
    replace(values.lens_shading, others.lens_shading);
    replace(values.white_balance, others.white_balance);
    if (!lens_shading_.empty()) {
        Results other = run.read_values(lens_shading_);
        require_section(!other.lens_shading.empty(), lens_shading_.string(), "lens shading",
                        "cali lsc or cali calibrate");
        values.lens_shading = std::move(other.lens_shading);
    }
    if (values.black_level.empty()) {
        run.report().warn("no black level is known: none is subtracted");
    }
    // Whose lack of a light messages speak of.
    values.file = values_.empty() ? values.file : values_.front();
    return values;
}

void require_black_level(const Results& results, const std::string& file) {
    require_section(!results.black_level.empty(), file, "black level", "cali blc or cali calibrate");
}

std::optional<Channels<uint32_t>> parse_codes(const std::string& text, const std::string& what) {
    if (text.empty() || text.find_first_not_of("0123456789,.-+ ") != std::string::npos) {
        return std::nullopt;
    }
    std::vector<uint32_t> codes;
    const char* at = text.data();
    const char* const end = text.data() + text.size();
    while (at <= end && codes.size() <= 4) {
        uint32_t code = 0;
        const auto [next, error] = std::from_chars(at, end, code);
        if (error != std::errc{} || (next != end && *next != ',')) {
            codes.clear();
            break;
        }
        codes.push_back(code);
        at = next + 1;
    }
    if (codes.size() != 1 && codes.size() != 4) {
        throw InputError(what + " is '" + text + "', expected a file, one whole code, or four: RR,GR,GB,BB");
    }
    Channels<uint32_t> channels{};
    for (std::size_t c = 0; c < channels.size(); ++c) {
        channels[c] = codes[codes.size() == 1 ? 0 : c];
    }
    return channels;
}

}  // namespace cali::host
