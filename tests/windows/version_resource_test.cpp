// What Windows' explorer and installers read of the files.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "cali/cali.h"

namespace cali::test {
namespace {

std::string told(const wchar_t* file, const char* key) {
    std::vector<std::byte> data(GetFileVersionInfoSizeW(file, nullptr));
    if (data.empty() || GetFileVersionInfoW(file, 0, static_cast<DWORD>(data.size()), data.data()) == 0) {
        return "no version resource";
    }
    void* value = nullptr;
    UINT length = 0;
    VerQueryValueA(data.data(), (std::string("\\StringFileInfo\\040904B0\\") + key).c_str(), &value, &length);
    return value != nullptr ? static_cast<const char*>(value) : "no such entry";
}

DWORD number(const wchar_t* file) {
    std::vector<std::byte> data(GetFileVersionInfoSizeW(file, nullptr));
    void* value = nullptr;
    UINT length = 0;
    if (GetFileVersionInfoW(file, 0, static_cast<DWORD>(data.size()), data.data()) == 0 ||
        VerQueryValueA(data.data(), "\\", &value, &length) == 0) {
        return 0;
    }
    return static_cast<const VS_FIXEDFILEINFO*>(value)->dwFileVersionMS;
}

TEST(VersionResource, LibraryAndProgramTellWhatTheyAre) {
    for (const auto& [file, name] : {std::pair{L"cali.dll", "cali.dll"}, {L"cali.exe", "cali.exe"}}) {
        EXPECT_EQ(told(file, "OriginalFilename"), name);
        EXPECT_EQ(told(file, "FileVersion"), CALI_VERSION_STRING);
        EXPECT_EQ(number(file), MAKELONG(CALI_VERSION_MINOR, CALI_VERSION_MAJOR)) << name;
    }
}

}  // namespace
}  // namespace cali::test
