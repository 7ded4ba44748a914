#include "boundary/console.h"

#include <cmath>

#include "boundary/warning.h"
#include "support/support.h"

namespace cali::test {
namespace {

TEST(Console, PrintsProgressByRow) {
    CapturedOutput output;
    PrintedProgress(3).print_whole();
    PrintedProgress(0).print_whole();
    EXPECT_EQ(output.take(), "LSC... 33%\rLSC... 66%\rLSC...100%\r\n");
}

TEST(Console, WarnsOfExposureOutsideItsLimits) {
    const CapturedWarnings warnings;
    for (const float mean : {2866.5F, 614.25F, std::nanf("")}) {
        warn_of_exposure(mean);
    }
    EXPECT_TRUE(warnings.texts().empty());
    warn_of_exposure(std::nextafter(2866.5F, 5000.0F));
    warn_of_exposure(std::nextafter(614.25F, 0.0F));
    EXPECT_EQ(warnings.texts(),
              (std::vector<std::string>{"WB Calib Warning: Too Bright", "WB Calib Warning: Too Dark"}));
}

TEST(Console, OutlivesASinkThatThrows) {
    set_warning_sink([](const char*, const char*) { throw 1; });
    warn(Family::roi, "text");
    set_warning_sink(nullptr);
}

#ifndef _WIN32
TEST(Console, WarnsOnStandardError) {
    ::testing::internal::CaptureStderr();
    warn(Family::roi, "text");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "ROI Calib Warning: text\n");
}
#endif

}  // namespace
}  // namespace cali::test
