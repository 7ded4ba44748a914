// The DLL as Windows hosts meet it: loaded by name, and its warnings as the boxes that an operator sees. Needs a
// desktop.

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "cali/cali.h"

namespace cali::test {
namespace {

template <typename Function>
Function* export_of(const char* name) {
    static const HMODULE library = LoadLibraryW(L"cali.dll");
    EXPECT_NE(library, nullptr);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

#define EXPORT(name) export_of<decltype(name)>(#name)

struct Box {
    std::string caption;
    std::string text;
    bool owned = false;
};

BOOL CALLBACK find_dialog(HWND window, LPARAM found) {
    std::array<char, 64> type{};
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    GetClassNameA(window, type.data(), static_cast<int>(type.size()));
    if (process == GetCurrentProcessId() && type.data() == std::string("#32770") && IsWindowVisible(window) != 0) {
        *reinterpret_cast<HWND*>(found) = window;
        return FALSE;
    }
    return TRUE;
}

/// Reads the box, and presses OK. Nothing where none comes up in ten seconds.
Box dismiss() {
    constexpr int kText = 0xFFFF;  // where message boxes keep it
    for (int i = 0; i < 500; ++i) {
        HWND window = nullptr;
        EnumWindows(find_dialog, reinterpret_cast<LPARAM>(&window));
        if (window != nullptr && GetDlgItem(window, IDOK) != nullptr) {
            std::array<char, 256> caption{};
            std::array<char, 1024> text{};
            GetWindowTextA(window, caption.data(), static_cast<int>(caption.size()));
            GetDlgItemTextA(window, kText, text.data(), static_cast<int>(text.size()));
            const Box box{caption.data(), text.data(), GetWindow(window, GW_OWNER) != nullptr};
            PostMessageA(window, WM_COMMAND, IDOK, 0);
            while (IsWindow(window) != 0) {
                Sleep(5);
            }
            return box;
        }
        Sleep(20);
    }
    return {};
}

/// One box under that caption, its text as given, or beginning so; then the status.
void expect_box(const std::string& caption, const std::string& text, int32_t status,
                const std::function<int32_t()>& call) {
    SCOPED_TRACE(text);
    Box box;
    std::thread operator_([&] { box = dismiss(); });
    const int32_t found = call();
    operator_.join();
    EXPECT_EQ(found, status);
    EXPECT_EQ(box.caption, caption);
    EXPECT_EQ(box.text.substr(0, text.size()), text);
    EXPECT_FALSE(box.owned);
}

class Boxes : public ::testing::Test {
protected:
    static constexpr int kSide = 64;

    Boxes() { SetEnvironmentVariableA("CALI_WARNINGS", nullptr); }

    int32_t balance(uint32_t code, int32_t x, int32_t y) {
        EXPECT_EQ(EXPORT(cali_awb_setROI)(x, y, 32, 32), 0);
        samples_.assign(kSide * kSide, code);
        uint32_t* frame = samples_.data();
        std::vector<uint32_t> grid(9, 512);
        std::array<uint16_t, 3> gains{};
        return EXPORT(cali_awb_calc)(&frame, kSide, kSide, 0, 3, 3, grid.data(), grid.data(), grid.data(), 0, 0, 0, 0,
                                     1, 1, 1, 1, &gains[0], &gains[1], &gains[2]);
    }

    int32_t curve(uint8_t count, float kelvin, uint8_t weight) {
        std::array<float, 16> ratios{};
        ratios.fill(1);
        std::array<float, 16> kelvins{};
        kelvins.fill(kelvin);
        std::array<uint8_t, 16> weights{};
        weights.fill(weight);
        AwbCurveRecord record{};
        return EXPORT(cali_awb_BuildCurve)(1, 1, ratios.data(), ratios.data(), kelvins.data(), weights.data(), count,
                                           &record);
    }

    std::vector<uint32_t> samples_;
};

TEST_F(Boxes, WhiteBalanceSaysWhatIsWrong) {
    const std::string caption = "WB Calib Warning";
    expect_box(caption, "Too Bright", 0, [&] { return balance(4000, 0, 0); });
    expect_box(caption, "Too Dark", 0, [&] { return balance(10, 0, 0); });
    expect_box(caption, "ROI X,W is wrong", -1, [&] { return balance(1000, kSide, 0); });
    expect_box(caption, "ROI Y,H  is wrong", -1, [&] { return balance(1000, 0, kSide); });
    expect_box(caption, "Amount is Over", -1, [&] { return curve(16, 5000, 1); });
    expect_box(caption, "TempK is 0", -1, [&] { return curve(3, 0, 1); });
    expect_box(caption, "Total Weight is too big", -1, [&] { return curve(3, 5000, 255); });
}

TEST_F(Boxes, EveryFamilyHasItsCaption) {
    expect_box("WB Calib Warning", "cali_awb_BuildCurve", -1,
               [] { return EXPORT(cali_awb_BuildCurve)(1, 1, nullptr, nullptr, nullptr, nullptr, 0, nullptr); });
    expect_box("BLC Calib Warning", "cali_blc_calc", -1, [] {
        return EXPORT(cali_blc_calc)(nullptr, 2, 2, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, 1);
    });
    expect_box("LSC Calib Warning", "cali_lsc_verify", -1, [] {
        return EXPORT(cali_lsc_verify)(nullptr, 2, 2, 0, 3, 3, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr);
    });
    expect_box("CCM Calib Warning", "cali_isp_ccm_pipe_calc", -1, [] {
        return EXPORT(cali_isp_ccm_pipe_calc)(nullptr, 48, 48, 0, 3, 3, nullptr, nullptr, nullptr, 0, 0, 0, 0, 1, 1, 1,
                                              1, 0, 0, 0, nullptr, 1, nullptr, nullptr, nullptr);
    });
    expect_box("ROI Calib Warning", "cali_roi_rgb_cal", -1,
               [] { return EXPORT(cali_roi_rgb_cal)(nullptr, 2, 2, nullptr, nullptr, 1); });
    expect_box("Noise Calib Warning", "cali_isp_diff_img_calc", -1,
               [] { return EXPORT(cali_isp_diff_img_calc)(nullptr, nullptr, 2, 2, nullptr); });
    expect_box("CLUT Calib Warning", "cali_clut_calc", -1,
               [] { return EXPORT(cali_clut_calc)(nullptr, nullptr, 1, nullptr, nullptr); });
}

/// As hosts of other runtimes set it: in the system's environment alone.
TEST_F(Boxes, AHostMayHaveLinesInstead) {
    SetEnvironmentVariableA("CALI_WARNINGS", "stderr");
    ::testing::internal::CaptureStderr();
    const int32_t status = EXPORT(cali_roi_rgb_cal)(nullptr, 2, 2, nullptr, nullptr, 1);
    const std::string said = ::testing::internal::GetCapturedStderr();
    SetEnvironmentVariableA("CALI_WARNINGS", nullptr);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(said.substr(0, 18), "ROI Calib Warning:");
}

}  // namespace
}  // namespace cali::test
