#include "base/system_file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#ifdef _WIN32
#include <io.h>
#include <cstdlib>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace cali::host {
namespace {

// Handlers may touch nothing but lock-free atomics.
std::array<std::atomic<const char*>, 1024> g_temporary_names;
static_assert(std::atomic<const char*>::is_always_lock_free);

}  // namespace

namespace system_file {

void remove_on_signal(const char* name) {
    for (std::atomic<const char*>& slot : g_temporary_names) {
        const char* empty = nullptr;
        if (slot.compare_exchange_strong(empty, name)) {
            return;
        }
    }
}

void keep_on_signal(const char* name) {
    for (std::atomic<const char*>& slot : g_temporary_names) {
        const char* found = name;
        if (slot.compare_exchange_strong(found, nullptr)) {
            return;
        }
    }
}

}  // namespace system_file

#ifndef _WIN32

namespace {

constexpr mode_t kNewFile = 0666;  // less the umask
constexpr mode_t kPermissions = 07777;

extern "C" void remove_temporary_files_and_exit(int signal) {
    for (const std::atomic<const char*>& slot : g_temporary_names) {
        if (const char* const name = slot.load()) {
            ::unlink(name);
        }
    }
    ::_exit(128 + signal);
}

std::FILE* stream_of(int handle) {
    std::FILE* const file = handle < 0 ? nullptr : ::fdopen(handle, "wb");
    if (file == nullptr && handle >= 0) {
        ::close(handle);
    }
    return file;
}

/// Retries what a signal interrupts.
int wait_for_lock(int handle) {
    int status = 0;
    do {
        status = ::flock(handle, LOCK_EX);
    } while (status != 0 && errno == EINTR);
    return status;
}

}  // namespace

namespace system_file {

void clean_up_on_signals() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    // A closed pipe and a file that grows too large are errors of writing, and said as such.
    ::sigaction(SIGPIPE, &ignore, nullptr);
    ::sigaction(SIGXFSZ, &ignore, nullptr);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before = {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {  // nohup, jobs in the background
            struct sigaction clean_up = {};
            clean_up.sa_handler = remove_temporary_files_and_exit;
            ::sigfillset(&clean_up.sa_mask);
            ::sigaction(signal, &clean_up, nullptr);
        }
    }
}

std::FILE* create_locked(const std::filesystem::path& name, const std::filesystem::path& like) {
    struct stat model = {};
    const bool modelled = ::stat(like.c_str(), &model) == 0;
    const int handle = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                              modelled ? model.st_mode & kPermissions & kNewFile : kNewFile);
    if (handle < 0) {
        return nullptr;
    }
    // Before the lock is taken, another run may have found the file abandoned and removed it.
    struct stat made = {};
    (void)wait_for_lock(handle);
    if (::fstat(handle, &made) == 0 && made.st_nlink == 0) {
        ::close(handle);
        errno = EEXIST;
        return nullptr;
    }
    if (modelled) {
        // The owner first: changing it clears bits. Only root may give files away, others keep what they can.
        const bool owned = ::fchown(handle, model.st_uid, model.st_gid) == 0;
        ::fchmod(handle, model.st_mode & (owned ? kPermissions : kPermissions & 0777U));
    }
    return stream_of(handle);
}

std::FILE* open_existing(const std::filesystem::path& name) {
    return stream_of(::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
}

std::FILE* duplicate_standard_output() { return stream_of(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)); }

bool may_be_written(const std::filesystem::path& existing) { return ::access(existing.c_str(), W_OK) == 0; }

bool flush_to_disk(std::FILE* file) {
    // What is no disk cannot be flushed.
    return std::fflush(file) == 0 && (::fsync(::fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP);
}

void flush_folder(const std::filesystem::path& folder) {
    const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle >= 0) {
        ::fsync(handle);
        ::close(handle);
    }
}

void remove_abandoned(const std::filesystem::path& name) {
    const int handle = ::open(name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (handle >= 0) {
        if (::flock(handle, LOCK_EX | LOCK_NB) == 0) {
            ::unlink(name.c_str());
        }
        ::close(handle);
    }
}

int lock_folder(const std::filesystem::path& folder) {
    const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle >= 0) {
        (void)wait_for_lock(handle);
    }
    return handle;
}

void unlock_folder(int handle) { ::close(handle); }

bool is_wrong_name(int error) {
    constexpr std::array kWrong = {ENOENT, ENOTDIR, EACCES, EPERM, EROFS, ENAMETOOLONG, ELOOP, EISDIR, EINVAL, ENXIO};
    return std::ranges::find(kWrong, error) != kWrong.end();
}

}  // namespace system_file

#else

namespace system_file {

void clean_up_on_signals() {}

std::FILE* create_locked(const std::filesystem::path& name, const std::filesystem::path&) {
    return std::fopen(name.string().c_str(), "wbx");
}

std::FILE* open_existing(const std::filesystem::path& name) { return std::fopen(name.string().c_str(), "wb"); }

std::FILE* duplicate_standard_output() { return ::_fdopen(::_dup(::_fileno(stdout)), "wb"); }

bool may_be_written(const std::filesystem::path& existing) {
    constexpr int kWrite = 2;
    return ::_access(existing.string().c_str(), kWrite) == 0;
}

bool flush_to_disk(std::FILE* file) { return std::fflush(file) == 0; }

void flush_folder(const std::filesystem::path&) {}

void remove_abandoned(const std::filesystem::path&) {}  // without a lock nobody knows

int lock_folder(const std::filesystem::path&) { return 0; }

void unlock_folder(int) {}

bool is_wrong_name(int error) {
    return error == ENOENT || error == ENOTDIR || error == EACCES || error == EINVAL || error == EISDIR;
}

}  // namespace system_file

#endif

}  // namespace cali::host
