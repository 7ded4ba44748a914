#include "kernels/row_kernels.h"

#include <cstdlib>

#include "boundary/export_call.h"
#include "support/support.h"

namespace cali::test {
namespace {

/// In a process of its own, since the variable is read once: the set in force, and what two exports say of it.
void expect_isa(const char* asked, Isa isa, const std::string& said) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const EnvironmentVariable variable("CALI_ISA", asked);
    EXPECT_EXIT(
        {
            const int status = run_export([] { return 0; }) + run_export([] { return 0; });
            std::exit(status != 0 || row_kernels().isa != isa ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), ::testing::Eq(said))
        << asked;
}

TEST(RowKernels, AreTheOnesAskedFor) {
    const Isa widest = isa_available(Isa::avx2) ? Isa::avx2 : Isa::baseline;
    const std::string choice = isa_available(Isa::avx2) ? "\"baseline\" or \"avx2\"; taking avx2\n"
                                                        : "\"baseline\", all that this machine runs; taking baseline\n";
    expect_isa("baseline", Isa::baseline, "");
    expect_isa("", widest, "");
    expect_isa("AVX2", widest, "CALI_ISA is \"AVX2\", expected " + choice);
    if (widest == Isa::avx2) {
        expect_isa("avx2", Isa::avx2, "");
    } else {
        expect_isa("avx2", widest, "CALI_ISA is \"avx2\", expected " + choice);
    }
}

}  // namespace
}  // namespace cali::test
