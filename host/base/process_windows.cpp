#include <windows.h>
// Behind it, which they need.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdlib>
#include <filesystem>

#include "base/process.h"
#include "base/text.h"

namespace cali::host::process {
namespace {

/// In a thread of its own, not in the midst of something as POSIX has it.
BOOL WINAPI clean_up_and_exit(DWORD event) {
    clean_up();
    constexpr unsigned kInterrupted = 130;
    constexpr unsigned kEnded = 143;
    ExitProcess(event == CTRL_C_EVENT ? kInterrupted : kEnded);
}

}  // namespace

void clean_up() {
    for (const std::atomic<const char*>& slot : temporary_names()) {
        if (const char* const name = slot.load()) {
            std::error_code ignored;
            std::filesystem::remove(path_of(name), ignored);
        }
    }
}

/// What main gets is in the machine's old code page, with patterns expanded.
std::vector<std::string> arguments(int /*argc*/, char** /*argv*/) {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) {
        texts.push_back(std::filesystem::path(words[i]).string());
    }
    LocalFree(words);
    return texts;
}

void prepare_streams() {
    SetConsoleOutputCP(CP_UTF8);
    for (std::FILE* const stream : {stdin, stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
}

void set_variable(const char* name, const char* value) { _putenv_s(name, value); }

int redirect(std::FILE* stream, std::FILE* target) {
    const int before = _dup(_fileno(stream));
    if (before >= 0) {
        _dup2(_fileno(target), _fileno(stream));
    }
    return before;
}

void restore(std::FILE* stream, int before) {
    _dup2(before, _fileno(stream));
    _close(before);
}

bool is_terminal(std::FILE* file) { return _isatty(_fileno(file)) != 0; }

HeldSignals::HeldSignals() = default;
void HeldSignals::let_through() {}

void clean_up_on_signals() { SetConsoleCtrlHandler(clean_up_and_exit, TRUE); }

}  // namespace cali::host::process
