#include "base/digest.h"

#define XXH_INLINE_ALL  // the one place that uses it
#include <xxhash.h>

#include "base/text.h"

namespace cali::host {

std::string digest_of(std::span<const uint8_t> bytes) {
    const XXH128_hash_t hash = XXH3_128bits(bytes.data(), bytes.size());
    return text("%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                static_cast<unsigned long long>(hash.low64));
}

}  // namespace cali::host
