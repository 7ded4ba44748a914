#include "outputs/web_page.h"

#include "base/base64.h"

namespace cali::host {
namespace {

int digit(char hexadecimal) { return hexadecimal <= '9' ? hexadecimal - '0' : hexadecimal - 'a' + 10; }

/// "'sha256-...'", as policies name what they let in.
std::string source_of(const EmbeddedText& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.sha256.size(); i += 2) {
        bytes += static_cast<char>(16 * digit(text.sha256[i]) + digit(text.sha256[i + 1]));
    }
    return "'sha256-" + base64(bytes) + "'";
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

}  // namespace

std::string html(std::string_view text) {
    std::string out;
    for (const char letter : text) {
        switch (letter) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += letter;
        }
    }
    return out;
}

std::string png_source(std::string_view png) { return "data:image/png;base64," + base64(png); }

std::string json_block(const char* id, const std::string& json) {
    // What could end the block, or begin another, is written as numbers: to the document it is the same.
    return std::string("<script type=\"application/json\" id=\"") + id + "\">" + replaced(json, "<", "\\u003c") +
           "</script>\n";
}

std::string to_text(const WebPage& page) {
    std::string allowed;
    std::string scripts;
    for (const EmbeddedText* const script : page.scripts) {
        if (!script->text.empty()) {
            allowed += " " + source_of(*script);
            scripts += "<script>" + std::string(script->text) + "</script>\n";
        }
    }
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src" +
           allowed + "; style-src " + source_of(page.style) +
           "; img-src data:; base-uri 'none'; form-action 'none'\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
           html(page.title) + "</title>\n<style>" + std::string(page.style.text) + "</style>\n</head>\n<body>\n" +
           page.body + scripts + "</body>\n</html>\n";
}

}  // namespace cali::host
