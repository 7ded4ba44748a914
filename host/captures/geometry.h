/// Size, colour pattern and bit depth of captures, as files and options name them, and windows on them.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "base/record.h"

namespace cali::host {

inline constexpr int kMinBits = 8;
inline constexpr int kMaxBits = 16;
inline constexpr int kMaxSide = 65535;

/// Depth of the library's samples.
inline constexpr int kLibraryBits = 12;

/// Pattern names in the library's numbering.
inline constexpr std::array<const char*, 4> kPatternNames = {"BGGR", "GBRG", "GRBG", "RGGB"};

/// Of a sensor without colours.
inline constexpr const char* kMonoPattern = "MONO";

/// What a sensor's captures have in common.
struct SensorGeometry {
    int width = 0;
    int height = 0;
    int pattern = 0;
    int bits = kLibraryBits;         ///< of the files
    std::optional<int> white_level;  ///< largest code of the files, where they tell
    bool mono = false;               ///< one channel at every photosite; the pattern is then RGGB
};

/// What a file tells of its capture beside the samples. Never who took it, where, or with which unit.
struct CaptureMetadata {
    std::optional<double> gain;  ///< analogue, 1 = ISO 100
    std::optional<double> exposure_ms;
    std::optional<std::array<double, 4>> black_level;  ///< RR, GR, GB, BB in codes of the file's depth, with fractions
    std::optional<std::array<double, 3>> neutral;      ///< as shot: what white is, R, G, B, green 1
};

/// Whether size, pattern and depth agree: values of the one may be applied to captures of the other.
[[nodiscard]] bool same_sensor(const SensorGeometry& a, const SensorGeometry& b);

/// "1920 x 1080, RGGB, 12 bits".
[[nodiscard]] std::string to_text(const SensorGeometry& sensor);

/// Throws InputError, which names both files, where sensors differ.
void require_same_sensor(const SensorGeometry& found, const std::string& file, const SensorGeometry& expected,
                         const std::string& expected_file);

/// What is known of a capture before it is read; PGM files tell their own size and depth.
struct Geometry {
    std::optional<int> width;
    std::optional<int> height;
    std::optional<int> pattern;
    std::optional<int> bits;
    std::string source = "the options";  ///< who says so, for error messages
};

/// Throws InputError where a capture's `what` is not known: an option or a session file must tell.
void require_known(const std::filesystem::path& file, bool known, const char* what, const char* option);

/// A window in photosites.
struct Window {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// "[4, 2, 256, 256]": x, y, width, height.
[[nodiscard]] std::string to_text(const Window& window);

/// "1920x1080": two whole numbers. Throws InputError, which speaks of `what` and gives `example`.
[[nodiscard]] std::pair<int, int> parse_sides(const std::string& text, const std::string& what, const char* example);

/// Throws InputError.
void set_size(Geometry& geometry, const std::string& text);

/// "RGGB" for 3.
[[nodiscard]] inline const char* pattern_name(int pattern) { return kPatternNames[static_cast<std::size_t>(pattern)]; }

/// "RGGB" in either case, or 0 to 3. Throws InputError.
[[nodiscard]] int parse_pattern(const std::string& text, const std::string& where);

/// Throws InputError where the number is outside low..high.
int check_number(int64_t found, int64_t low, int64_t high, const std::string& what);

}  // namespace cali::host
