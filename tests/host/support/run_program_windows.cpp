#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "base/text.h"
#include "support/program.h"

namespace cali::test {
namespace {

/// As the C runtime takes a command line apart; none of the tests' arguments ends with a backslash.
std::wstring quoted(const std::string& argument) { return L"\"" + host::path_of(argument).wstring() + L"\""; }

HANDLE inheritable(const std::filesystem::path& file, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, disposition, 0, nullptr);
}

/// Tests expect names as other systems show them.
std::string shown(const std::filesystem::path& file) {
    std::string text = read_text(file);
    std::ranges::replace(text, '\\', '/');
    return text;
}

}  // namespace

ProgramRun run_program(const std::filesystem::path& folder, const std::vector<std::string>& arguments) {
    const TemporaryFolder outputs;
    std::wstring line = quoted(CALI_PROGRAM);
    for (const std::string& argument : arguments) {
        line += L" " + quoted(argument);
    }
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = inheritable("NUL", GENERIC_READ, OPEN_EXISTING);
    start.hStdOutput = inheritable(outputs / "out", GENERIC_WRITE, CREATE_ALWAYS);
    start.hStdError = inheritable(outputs / "err", GENERIC_WRITE, CREATE_ALWAYS);
    PROCESS_INFORMATION process{};
    // On a busy machine Wine now and then does not get a process started; what never ran may be asked for again.
    constexpr int kTries = 5;
    const auto is_started = [&] {
        return CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, folder.c_str(), &start,
                              &process) != 0;
    };
    for (int i = 1; !is_started(); ++i) {
        const DWORD error = GetLastError();
        std::printf("the program was not started: error %lu\n", error);
        if (i == kTries) {
            throw std::runtime_error("the program was not started");
        }
        Sleep(500);
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0;
    if (!GetExitCodeProcess(process.hProcess, &status)) {
        throw std::runtime_error("the program's end is not known: error " + std::to_string(GetLastError()));
    }
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    for (const HANDLE handle : {start.hStdInput, start.hStdOutput, start.hStdError}) {
        CloseHandle(handle);
    }
    return {static_cast<int>(status), shown(outputs / "out"), shown(outputs / "err")};
}

}  // namespace cali::test
