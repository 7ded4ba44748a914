#include "commands/commands.h"

#include <sstream>

namespace cali::host {

NumberRange::NumberRange(double low, double high) {
    std::ostringstream limits;
    limits << low << " to " << high;
    description("NUMBER in " + limits.str());
    func_ = [low, high, limits = limits.str()](std::string& text) {
        double value = 0;
        const bool inside = CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
        return inside ? std::string() : "Value " + text + " not in range " + limits;
    };
}

void GeometryOptions::add_to(CLI::App& command) {
    command.add_option("--session", session_, "session file that tells the geometry (docs/session.md)")
        ->type_name("FILE");
    command.add_option("--size", size_, "size of raw files, such as 1920x1080")->type_name("WxH");
    command.add_option("--pattern", pattern_, "colours of the top-left photosites: BGGR, GBRG, GRBG or RGGB");
    command.add_option("--bits", bits_, "bit depth of the samples, 8 to 16");
}

std::optional<Session> GeometryOptions::session() const {
    return session_.empty() ? std::nullopt : std::optional(read_session(session_));
}

Geometry GeometryOptions::geometry() const {
    const std::optional<Session> from_session = session();
    Geometry geometry = from_session ? from_session->geometry : Geometry{};
    if (!size_.empty()) {
        set_size(geometry, size_);
        geometry.source = "--size";
    }
    if (!pattern_.empty()) {
        geometry.pattern = parse_pattern(pattern_, "--pattern");
    }
    if (bits_) {
        geometry.bits = check_number(*bits_, kMinBits, kMaxBits, "--bits");
    }
    return geometry;
}

void OutputOptions::add_to(CLI::App& command) {
    auto* verbose = command.add_flag("-v,--verbose", verbose_, "show what the library prints, on standard error");
    command.add_option("--log", log_, "collect what the library prints in a file")
        ->type_name("FILE")
        ->excludes(verbose);
}

LibraryOutput OutputOptions::output() const {
    if (verbose_) {
        return LibraryOutput::verbose();
    }
    return log_.empty() ? LibraryOutput() : LibraryOutput::to_file(log_);
}

}  // namespace cali::host
