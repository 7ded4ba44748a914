#include "cali/cali.h"
#include "core/module_state.h"
#include "support/support.h"

TEST(AwbRoi, IsAlignedToWholeCells) {
    EXPECT_EQ(cali_awb_setROI(5, 7, 101, 99), 0);
    EXPECT_EQ(cali::module_state().awb_roi.x, 4);
    EXPECT_EQ(cali::module_state().awb_roi.y, 6);
    EXPECT_EQ(cali::module_state().awb_roi.width, 100);
    EXPECT_EQ(cali::module_state().awb_roi.height, 98);
    cali_awb_setROI(-3, 0, 0, 0);
    EXPECT_EQ(cali::module_state().awb_roi.x, -4);
}
