#include "session/session_writer.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "session/session_lists.h"

namespace cali::host {
namespace {

/// A remark is one line whatever a file is called.
std::string remark(const std::string& words) {
    std::string line = "# " + words;
    for (char& c : line) {
        c = static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
    return line + "\n";
}

class Writer {
public:
    /// Empty: the current folder.
    explicit Writer(const std::filesystem::path& folder)
        : folder_(std::filesystem::absolute(folder.empty() ? "." : folder).lexically_normal()) {}

    [[nodiscard]] std::string name(const std::filesystem::path& file) const {
        const std::filesystem::path near =
            std::filesystem::absolute(file).lexically_normal().lexically_relative(folder_);
        return (near.empty() ? file : near).generic_string();
    }

    /// An example where there is none.
    [[nodiscard]] std::string entries(const char* key, const std::vector<CaptureEntry>& captures,
                                      const std::string& what, const std::string& example) const {
        std::string list = remark(what);
        if (captures.empty()) {
            return list + remark(std::string(key) + " = [" + example + "]");
        }
        std::vector<ListedCapture> listed;
        listed.reserve(captures.size());
        for (const CaptureEntry& entry : captures) {
            listed.push_back({names(entry.files), entry.taken});
        }
        return list + key + " = " + toml_list(listed);
    }

    /// Likewise.
    [[nodiscard]] std::string series(const std::vector<SeriesLevel>& levels, const std::string& what,
                                     const std::string& example) const {
        if (levels.empty()) {
            return remark(what) + remark("series = [" + example + "]");
        }
        std::vector<ListedCapture> listed;
        listed.reserve(levels.size());
        for (const SeriesLevel& level : levels) {
            listed.push_back({names(level.files), {{}, level.gain}});
        }
        return remark(what) + "series = " + toml_list(listed, true);
    }

private:
    [[nodiscard]] std::vector<std::string> names(const std::vector<std::filesystem::path>& files) const {
        std::vector<std::string> out;
        std::ranges::transform(files, std::back_inserter(out), [&](const auto& file) { return name(file); });
        return out;
    }

    std::filesystem::path folder_;
};

std::string sensor_text(const SensorGeometry& sensor, const Geometry& told) {
    std::string out = remark(to_text(sensor));
    out += "[sensor]\n";
    if (told.width && told.height) {
        out += text("width = %d\nheight = %d\n", *told.width, *told.height);
    }
    if (told.pattern) {
        out += "pattern = " + toml_string(pattern_text(sensor)) + "\n";
    }
    if (told.bits) {
        out += text("bits = %d\n", *told.bits);
    }
    const RawLayout& layout = told.layout;
    out += layout.stride_bytes ? text("stride_bytes = %d\n", *layout.stride_bytes) : "";
    out += layout.header_bytes ? text("header_bytes = %d\n", *layout.header_bytes) : "";
    out += layout.big_endian ? std::string("byte_order = ") + (*layout.big_endian ? "\"big\"\n" : "\"little\"\n") : "";
    out += layout.packing ? "packing = " + toml_string(kPackingNames[static_cast<std::size_t>(*layout.packing)]) + "\n"
                          : "";
    return out;
}

}  // namespace

std::string session_file_text(const Placement& placement, const Geometry& told, const std::filesystem::path& folder) {
    const Writer writer(folder);
    std::string out = remark("Captures of one sensor, sorted by cali init. Look them over, then: cali calibrate") +
                      sensor_text(placement.sensor, told) + "\n[captures]\n";
    out += writer.entries("dark", placement.dark, "Lens capped.", "\"dark_1.raw\"");
    out += writer.entries("flat", placement.flat, "An evenly lit, bright surface that fills the frame.",
                          "{ file = \"flat_5000K.raw\", illuminant_k = 5000 }");
    out += writer.entries("grey", placement.grey, "A grey card. Lights without one take their chart's greys.",
                          "{ file = \"grey_5000K.raw\", illuminant_k = 5000 }");
    out += writer.entries("chart", placement.chart, "The 24-patch chart; it is found where it lies.",
                          "{ file = \"chart_5000K.raw\", illuminant_k = 5000 }");
    out += writer.series(placement.series,
                         "One even light at several brightness levels, dark to bright; two frames or more of each.",
                         "{ files = [\"noise_1_1.raw\", \"noise_1_2.raw\"] }");
    if (!placement.seen.empty()) {
        out += "\n" + remark("Told by what they show, not by their names:");
        for (const auto& [file, as] : placement.seen) {
            out += remark("  " + writer.name(file) + ": " + as);
        }
    }
    if (!placement.left_out.empty()) {
        out += "\n" + remark("Not placed:");
        for (const auto& [file, why] : placement.left_out) {
            out += remark("  " + writer.name(file) + ": " + why);
        }
    }
    if (placement.dark.empty()) {
        out += "\n[black_level]\n" + remark("offset = 64   # known, where there is no dark frame");
    }
    return out;
}

}  // namespace cali::host
