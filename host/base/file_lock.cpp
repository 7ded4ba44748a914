#include "base/file_lock.h"

#include "base/error.h"
#include "base/output_file.h"
#include "base/system_file.h"

namespace cali::host {

FileLock::FileLock(const std::filesystem::path& file) {
    if (is_passed_on(file)) {
        return;
    }
    const std::filesystem::path folder = behind_links(file).parent_path();
    handle_ = system_file::lock_folder(folder.empty() ? "." : folder);
    if (handle_ < 0) {
        throw InputError(file.string() + ": its folder cannot be locked; does it exist, and may it be read?");
    }
}

FileLock::~FileLock() {
    if (handle_ >= 0) {
        system_file::unlock_folder(handle_);
    }
}

}  // namespace cali::host
