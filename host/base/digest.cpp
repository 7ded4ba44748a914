#include "base/digest.h"

#define XXH_INLINE_ALL  // the one place that uses it
#include <xxhash.h>

#include "base/text.h"

namespace cali::host {
namespace {

std::string to_text(const XXH128_hash_t& hash) {
    return text("%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                static_cast<unsigned long long>(hash.low64));
}

}  // namespace

std::string digest_of(std::span<const uint8_t> bytes) { return to_text(XXH3_128bits(bytes.data(), bytes.size())); }

struct Digest::State {
    XXH3_state_t hash;
};

Digest::Digest() : state_(std::make_unique<State>()) { XXH3_128bits_reset(&state_->hash); }

Digest::~Digest() = default;

void Digest::add(std::span<const uint8_t> bytes) { XXH3_128bits_update(&state_->hash, bytes.data(), bytes.size()); }

std::string Digest::text() const { return to_text(XXH3_128bits_digest(&state_->hash)); }

}  // namespace cali::host
