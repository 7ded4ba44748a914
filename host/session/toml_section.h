/// A table of a TOML file, with the name by which errors speak of it.
#pragma once

#include <array>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "captures/capture_entry.h"
#include "captures/frame_series.h"
#include "captures/geometry.h"

namespace cali::host {

/// All values are optional; what is there in another form throws InputError. File names are relative to the file's
/// folder.
class TomlSection {
public:
    /// The file's root table. Throws InputError, which calls the file `what`, where it cannot be read as TOML.
    static TomlSection read_file(const std::filesystem::path& file, const char* what);

    [[nodiscard]] bool holds(std::string_view key) const;

    /// Throws InputError for any other key.
    void allow_only(std::initializer_list<std::string_view> keys) const;

    [[nodiscard]] TomlSection section(std::string_view key) const;

    [[nodiscard]] std::optional<int64_t> whole_number(std::string_view key) const;
    [[nodiscard]] std::optional<double> number(std::string_view key) const;
    [[nodiscard]] std::optional<bool> yes_or_no(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> text(std::string_view key) const;

    /// One whole number or four of them.
    [[nodiscard]] std::vector<int64_t> codes(std::string_view key) const;
    /// Every key of the table with its two numbers.
    [[nodiscard]] std::vector<std::pair<std::string, std::array<double, 2>>> number_pairs() const;

    [[nodiscard]] std::optional<std::filesystem::path> file(std::string_view key) const;
    /// One text or a list of them.
    [[nodiscard]] std::vector<std::filesystem::path> files(std::string_view key) const;
    /// Lists of { file = "...", illuminant_k = 5000, gain = 2, exposure_ms = 10 }; a plain file name will do, and
    /// files = [...] or glob = "..." name a burst. Dark captures have no light.
    [[nodiscard]] std::vector<CaptureEntry> lit_captures(std::string_view key) const { return entries(key, true); }
    [[nodiscard]] std::vector<CaptureEntry> dark_captures(std::string_view key) const { return entries(key, false); }
    /// Lists of { files = [...] } or { glob = "..." }, with a gain.
    [[nodiscard]] std::vector<SeriesLevel> series(std::string_view key) const;

    [[nodiscard]] std::optional<Window> window(std::string_view key) const;
    /// A list of `count` numbers, 0 to 65535 each.
    [[nodiscard]] std::optional<std::vector<int>> whole_numbers(std::string_view key, std::size_t count,
                                                                const char* expected) const;
    /// `count` lists of `length` numbers, `least` to 65535 each.
    [[nodiscard]] std::optional<std::vector<std::vector<double>>> number_rows(std::string_view key, std::size_t count,
                                                                              std::size_t length, double least,
                                                                              const char* expected) const;

    /// "session.toml: noise: window", for messages.
    [[nodiscard]] std::string where(std::string_view key) const { return name_ + ": " + std::string(key); }

private:
    struct Document;

    TomlSection(std::shared_ptr<const Document> document, const void* table, std::string name,
                std::filesystem::path folder);

    [[noreturn]] void fail(std::string_view key, const void* node, const std::string& expected) const;
    [[nodiscard]] std::vector<CaptureEntry> entries(std::string_view key, bool lit) const;
    /// A number within limits, of which messages speak with their unit.
    [[nodiscard]] std::optional<double> number_within(std::string_view key, double least, double most,
                                                      const char* unit) const;
    [[nodiscard]] std::vector<std::filesystem::path> files_or_glob() const;
    [[nodiscard]] TomlSection entry(const void* table, std::string_view key) const;
    template <typename T>
    [[nodiscard]] std::optional<T> value(std::string_view key, const char* expected) const;

    std::shared_ptr<const Document> document_;  ///< keeps the tables alive
    const void* table_;                         ///< null where the file has no such table
    std::string name_;
    std::filesystem::path folder_;
};

}  // namespace cali::host
