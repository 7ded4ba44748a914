/// One comparison for all stages.
#pragma once

#include "stages/front_end.h"
#include "support/support.h"

namespace cali::test {

/// The front end gives `expected` on every instruction set: beside the frame, in place, and over a range of columns.
inline void expect_stage(const Geometry& geometry, const std::vector<uint32_t>& samples, const FrontEnd& front_end,
                         const std::vector<uint32_t>& expected) {
    const int32_t first = geometry.width / 3;
    const int32_t count = geometry.width - first - geometry.width / 5;
    on_every_isa([&] {
        OwnedFrame frame{samples, geometry.width, geometry.height, geometry.pattern};
        std::vector<uint32_t> apart(geometry.size());
        apply_front_end(frame.view(), front_end, apart.data());
        ASSERT_TRUE(same_bits(expected, apart));
        ASSERT_TRUE(same_bits(samples, frame.samples));
        FrontEndRows rows(frame.view(), front_end);
        rows.set_columns(first, count);
        const RawFrame wanted{apart.data(), geometry.width, geometry.height, geometry.pattern};
        for (int32_t y = 0; y < geometry.height; ++y) {
            std::vector<uint32_t> part(static_cast<std::size_t>(count));
            rows.row(y, frame.view().row(y) + first, part.data());
            ASSERT_TRUE(same_bits(std::span<const uint32_t>(wanted.row(y) + first, part.size()),
                                  std::span<const uint32_t>(part)));
        }
        apply_front_end(frame.view(), front_end, frame.samples.data());
        ASSERT_TRUE(same_bits(expected, frame.samples));
    });
}

/// Calls `expect(geometry, samples, turn)` for small frames of every kind of sample, until one fails.
template <typename Expect>
void for_small_frames(Random& random, const std::vector<Geometry>& more, Expect&& expect) {
    std::vector<Geometry> geometries = small_geometries();
    geometries.insert(geometries.end(), more.begin(), more.end());
    std::size_t turn = 0;
    for (const Geometry& geometry : geometries) {
        for (const SampleKind kind : kSampleKinds) {
            SCOPED_TRACE(::testing::Message() << geometry << ", turn " << turn);
            ASSERT_NO_FATAL_FAILURE(expect(geometry, samples_of_kind(random, kind, geometry.size()), turn++));
        }
    }
}

}  // namespace cali::test
