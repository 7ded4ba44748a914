#include "core/scratch.h"

#include "support/support.h"

namespace cali::test {
namespace {

/// Up to 2 MB, and beyond, where Linux gets huge pages.
TEST(Scratch, IsAlignedForEveryInstructionSet) {
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{100}, std::size_t{3} << 20U}) {
        const Scratch<unsigned char> memory(bytes);
        memory[bytes - 1] = 1;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(memory.data()) % 64, 0U);
    }
}

}  // namespace
}  // namespace cali::test
