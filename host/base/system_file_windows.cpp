#include <windows.h>
// Behind it, which they need.
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "base/system_file.h"

namespace cali::host::system_file {
namespace {

constexpr DWORD kPauseMs = 10;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// The system's error as the standard library would call it.
void set_errno(DWORD error) {
    switch (error) {
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS: errno = EEXIST; break;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_FILENAME_EXCED_RANGE: errno = ENOENT; break;
        case ERROR_ACCESS_DENIED:
        case ERROR_WRITE_PROTECT:
        case ERROR_SHARING_VIOLATION: errno = EACCES; break;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL: errno = ENOSPC; break;
        default: errno = EIO;
    }
}

std::FILE* stream_of(HANDLE handle, const char* mode) {
    if (handle == INVALID_HANDLE_VALUE) {
        set_errno(GetLastError());
        return nullptr;
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY);
    return descriptor < 0 ? nullptr : _fdopen(descriptor, mode);
}

}  // namespace

/// The lock is that nobody else may open it for writing.
std::FILE* create_locked(const std::filesystem::path& name, const std::filesystem::path& /*like*/) {
    return stream_of(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                 CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr),
                     "wb");
}

std::FILE* open_existing(const std::filesystem::path& name) {
    return stream_of(CreateFileW(name.c_str(), GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr), "wb");
}

std::FILE* duplicate_standard_output() {
    const int descriptor = _dup(_fileno(stdout));
    return descriptor < 0 ? nullptr : _fdopen(descriptor, "wb");
}

std::FILE* create_log(const std::filesystem::path& name) { return _wfopen(name.c_str(), L"wb"); }

/// The standard library's would lie in the drive's root, where few may write.
std::FILE* temporary_file() {
    std::array<wchar_t, MAX_PATH + 1> folder{};
    std::array<wchar_t, MAX_PATH + 1> name{};
    if (GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
        GetTempFileNameW(folder.data(), L"cal", 0, name.data()) == 0) {
        return nullptr;
    }
    return stream_of(CreateFileW(name.data(), GENERIC_READ | GENERIC_WRITE, kShareAll, nullptr, CREATE_ALWAYS,
                                 FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr),
                     "w+b");
}

bool is_device(const std::filesystem::path& name) {
    const std::wstring word = name.filename().stem().wstring();
    return std::ranges::any_of(std::array{L"NUL", L"CON"},
                               [&](const wchar_t* device) { return _wcsicmp(word.c_str(), device) == 0; });
}

bool may_be_written(const std::filesystem::path& existing) {
    constexpr int kWrite = 2;
    return _waccess(existing.c_str(), kWrite) == 0;
}

bool flush_to_disk(std::FILE* file) {
    return std::fflush(file) == 0 && (_commit(_fileno(file)) == 0 || errno == EBADF);
}

bool flush_folder(const std::filesystem::path&) { return true; }  // the file system does that when it renames

void replace(const std::filesystem::path& file, const std::filesystem::path& by_name, std::error_code& error) {
    constexpr int kTries = 200;
    DWORD reason = ERROR_SUCCESS;
    error.clear();
    for (int i = 0; i < kTries; ++i) {
        if (MoveFileExW(file.c_str(), by_name.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
            return;
        }
        reason = GetLastError();
        if (reason != ERROR_SHARING_VIOLATION && reason != ERROR_ACCESS_DENIED) {
            break;
        }
        Sleep(kPauseMs);
    }
    set_errno(reason);
    error = std::error_code(errno, std::generic_category());
}

std::vector<std::filesystem::path> names_in(const std::filesystem::path& folder, std::error_code& error) {
    std::vector<std::filesystem::path> names;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        names.push_back(entry->path().filename());
    }
    return names;
}

/// Fails while its maker, or anyone, has it open.
void remove_abandoned(const std::filesystem::path& name) {
    const HANDLE handle = CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle != INVALID_HANDLE_VALUE) {
        CloseHandle(handle);
    }
}

/// By a file that one process at a time may have open, and that goes with it, however it ends.
std::intptr_t lock_folder(const std::filesystem::path& folder) {
    const std::filesystem::path name = folder / ".cali.lock";
    for (;;) {
        const HANDLE handle = CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                                          FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (handle != INVALID_HANDLE_VALUE) {
            return reinterpret_cast<std::intptr_t>(handle);
        }
        const DWORD error = GetLastError();
        // While the one before is being removed, access is denied; but so it is in a folder that is write-protected.
        std::error_code ignored;
        const bool there = error == ERROR_ACCESS_DENIED && std::filesystem::exists(name, ignored);
        if (error != ERROR_SHARING_VIOLATION && error != ERROR_DELETE_PENDING && !there) {
            set_errno(error);
            return -1;
        }
        Sleep(kPauseMs);
    }
}

void unlock_folder(std::intptr_t handle) { CloseHandle(reinterpret_cast<HANDLE>(handle)); }

bool is_wrong_name(int error) {
    constexpr std::array kWrong = {ENOENT, ENOTDIR, EACCES, EINVAL, EISDIR};
    return std::ranges::find(kWrong, error) != kWrong.end();
}

}  // namespace cali::host::system_file
