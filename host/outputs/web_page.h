/// Pages that need nothing but themselves: no network, no other files, nothing but their own script and style.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cali::host {

/// A text that was built into the program.
struct EmbeddedText {
    std::string_view text;
    std::string_view sha256;  ///< in hexadecimal digits
};

extern const EmbeddedText kCharts;  ///< the chart library; empty where the program was built without it
extern const EmbeddedText kPickScript;
extern const EmbeddedText kPickStyle;
extern const EmbeddedText kReportStyle;
extern const EmbeddedText kReportScript;

/// Text as it may stand between tags and in quoted attributes.
[[nodiscard]] std::string html(std::string_view text);

/// A picture as the source of an image.
[[nodiscard]] std::string png_source(std::string_view png);

/// A document as data for a page's script.
[[nodiscard]] std::string json_block(const char* id, const std::string& json);

struct WebPage {
    std::string title;
    const EmbeddedText& style;
    std::vector<const EmbeddedText*> scripts;  ///< run in this order, once the body is there; empty ones are left out
    std::string body;
};

/// The whole document. Its policy lets the page's own scripts and style in by their digests, pictures that it holds,
/// and nothing else.
[[nodiscard]] std::string to_text(const WebPage& page);

}  // namespace cali::host
