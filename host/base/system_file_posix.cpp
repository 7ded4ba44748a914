#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <new>

#include "base/system_file.h"

namespace cali::host::system_file {
namespace {

constexpr mode_t kNewFile = 0666;  // less the umask
constexpr mode_t kPermissions = 07777;

std::FILE* stream_of(int handle) {
    std::FILE* const file = handle < 0 ? nullptr : ::fdopen(handle, "wb");
    if (file == nullptr && handle >= 0) {
        const int error = errno;
        ::close(handle);
        errno = error;
    }
    return file;
}

/// What is no disk cannot be flushed.
bool flush_handle(int handle) { return ::fsync(handle) == 0 || errno == EINVAL || errno == ENOTSUP; }

/// Retries what a signal interrupts.
int wait_for_lock(int handle) {
    int status = 0;
    do {
        status = ::flock(handle, LOCK_EX);
    } while (status != 0 && errno == EINTR);
    return status;
}

}  // namespace

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
    std::FILE* const file = stream_of(handle);
    if (file == nullptr) {
        const int error = errno;
        ::unlink(name.c_str());
        errno = error;
    }
    return file;
}

std::FILE* open_existing(const std::filesystem::path& name) {
    return stream_of(::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
}

std::FILE* duplicate_standard_output() { return stream_of(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)); }

bool is_device(const std::filesystem::path& name) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(name, error);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
           !std::filesystem::is_directory(status);
}

bool may_be_written(const std::filesystem::path& existing) { return ::access(existing.c_str(), W_OK) == 0; }

bool flush_to_disk(std::FILE* file) { return std::fflush(file) == 0 && flush_handle(::fileno(file)); }

bool flush_folder(const std::filesystem::path& folder) {
    const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0) {
        return true;
    }
    const bool flushed = flush_handle(handle);
    const int error = errno;
    ::close(handle);
    errno = error;
    return flushed;
}

void replace(const std::filesystem::path& file, const std::filesystem::path& by_name, std::error_code& error) {
    std::filesystem::rename(file, by_name, error);
}

std::vector<std::filesystem::path> names_in(const std::filesystem::path& folder, std::error_code& error) {
    std::vector<std::filesystem::path> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(folder.c_str()), ::closedir);
    if (!open && errno == ENOMEM) {
        throw std::bad_alloc();
    }
    while (open) {
        errno = 0;
        const dirent* const entry = ::readdir(open.get());
        if (entry == nullptr) {
            break;
        }
        names.emplace_back(entry->d_name);
    }
    error = std::error_code(errno, std::generic_category());
    std::erase(names, ".");
    std::erase(names, "..");
    return names;
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

std::intptr_t lock_folder(const std::filesystem::path& folder) {
    const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle >= 0) {
        (void)wait_for_lock(handle);
    }
    return handle;
}

void unlock_folder(std::intptr_t handle) { ::close(static_cast<int>(handle)); }

std::FILE* temporary_file() { return std::tmpfile(); }

std::FILE* create_log(const std::filesystem::path& name) { return std::fopen(name.c_str(), "wb"); }

bool is_wrong_name(int error) {
    constexpr std::array kWrong = {ENOENT, ENOTDIR, EACCES, EPERM, EROFS, ENAMETOOLONG, ELOOP, EISDIR, EINVAL, ENXIO};
    return std::ranges::find(kWrong, error) != kWrong.end();
}

}  // namespace cali::host::system_file
