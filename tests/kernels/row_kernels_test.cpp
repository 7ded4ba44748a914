#include "kernels/row_kernels.h"

#include <array>
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
    const std::vector<Isa> isas = available_isas();
    const Isa widest = isas.back();
    for (const Isa isa : isas) {
        expect_isa(isa_name(isa), isa, "");
    }
    expect_isa("", widest, "");
    const std::array<const char*, 3> lists = {"\"baseline\"", "\"baseline\" or \"avx2\"",
                                              "\"baseline\", \"avx2\" or \"avx512\""};
    expect_isa("AVX2", widest,
               std::string("CALI_ISA is \"AVX2\", expected ") + lists[isas.size() - 1] + "; taking " +
                   isa_name(widest) + "\n");
    if (isas.size() < kAllIsas.size()) {
        const char* const wider = isa_name(kAllIsas.back());
        expect_isa(wider, widest,
                   std::string("CALI_ISA is \"") + wider + "\", expected " + lists[isas.size() - 1] + "; taking " +
                       isa_name(widest) + "\n");
    }
}

}  // namespace
}  // namespace cali::test
