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

/// Whether size, pattern (or that there is none) and depth agree: values of the one may be applied to captures of the
/// other.
[[nodiscard]] bool same_sensor(const SensorGeometry& a, const SensorGeometry& b);

/// "RGGB", or "MONO" where the sensor has no mosaic.
[[nodiscard]] std::string pattern_text(const SensorGeometry& sensor);

/// "1920 x 1080, RGGB, 12 bits".
[[nodiscard]] std::string to_text(const SensorGeometry& sensor);

/// Throws InputError, which names both files, where sensors differ.
void require_same_sensor(const SensorGeometry& found, const std::string& file, const SensorGeometry& expected,
                         const std::string& expected_file);

/// How the samples of a row follow each other in headerless files: in bytes or 16-bit words, or packed as MIPI CSI-2
/// sends them.
enum class Packing { none, raw10, raw12, raw14 };
inline constexpr std::array<const char*, 4> kPackingNames = {"none", "raw10", "raw12", "raw14"};

/// How headerless files lie; what is not told follows from their length.
struct RawLayout {
    std::optional<int> stride_bytes;  ///< from the start of a row to that of the next
    std::optional<int> header_bytes;  ///< before the first row
    std::optional<bool> big_endian;   ///< of 16-bit words
    std::optional<Packing> packing;
};

/// What is known of a capture before it is read; most forms of files tell more themselves.
struct Geometry {
    std::optional<int> width;
    std::optional<int> height;
    std::optional<int> pattern;
    std::optional<int> bits;
    std::string source = "the options";  ///< who says so, for error messages
    bool mono = false;                   ///< with the pattern
    Source size_by = Source::session;    ///< option or session
    Source pattern_by = Source::session;
    Source bits_by = Source::session;
    RawLayout layout = {};
    std::optional<double> gain = {};  ///< analogue; by option
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

/// As parse_pattern; also "MONO", for a sensor without a mosaic. Throws InputError.
void set_pattern(Geometry& geometry, const std::string& text, const std::string& where);

/// "none", "raw10", "raw12", "raw14". Throws InputError.
[[nodiscard]] Packing parse_packing(const std::string& text, const std::string& where);
/// Whether "big"; else "little". Throws InputError.
[[nodiscard]] bool parse_byte_order(const std::string& text, const std::string& where);

/// What the name of a file tells, as NAME_1920x1080_12bits_RGGB.raw does: size, depth and pattern, each where it is
/// there and within its limits.
[[nodiscard]] Geometry geometry_of_name(const std::filesystem::path& file);

/// The file's name without suffix, and without what geometry_of_name takes from its end.
[[nodiscard]] std::string stem_without_geometry(const std::filesystem::path& file);

/// Throws InputError where the number is outside low..high.
int check_number(int64_t found, int64_t low, int64_t high, const std::string& what);

}  // namespace cali::host
