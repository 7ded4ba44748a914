/// How often each code occurs in a frame.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "captures/channels.h"
#include "captures/frame.h"

namespace cali::host {

/// By channel and code of the library's scale; larger ones count as 4095.
class CodeHistogram {
public:
    using Counts = std::array<uint32_t, kLibraryFullScale + 1>;

    explicit CodeHistogram(const ConstRawFrame& frame);

    [[nodiscard]] const Counts& of(std::size_t channel) const { return (*counts_)[channel]; }

private:
    std::unique_ptr<Channels<Counts>> counts_;
};

}  // namespace cali::host
