#include "tests/contract/Homes/SyncedFiles.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace xel::contract {
namespace {

std::atomic<SyncedFiles*> watcher = nullptr;

std::string pathOf(int descriptor) {
    std::array<char, 4096> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = readlink(link.c_str(), path.data(), path.size());
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
}

std::string contentsOfOpen(int descriptor) {
    struct stat facts {};
    if (fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return {};
    }
    std::string contents(static_cast<std::size_t>(facts.st_size), '\0');
    const auto read = pread(descriptor, contents.data(), contents.size(), 0);
    contents.resize(read > 0 ? static_cast<std::size_t>(read) : 0);
    return contents;
}

int syncFile(int descriptor, long call) {
    SyncedFiles* const files = watcher;
    if (files != nullptr && files->sync(descriptor) != 0) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(call, descriptor));
}

}  // namespace

SyncedFiles::SyncedFiles() {
    watcher = this;
}

SyncedFiles::~SyncedFiles() {
    watcher = nullptr;
}

std::map<std::string, std::string> SyncedFiles::below(const std::string& folder) const {
    const std::lock_guard lock(mutex_);
    std::map<std::string, std::string> found;
    for (const auto& [path, contents] : contents_) {
        if (path.starts_with(folder + "/")) {
            found[path.substr(folder.size() + 1)] = contents;
        }
    }
    return found;
}

int SyncedFiles::count() const {
    const std::lock_guard lock(mutex_);
    return count_;
}

void SyncedFiles::setFailing(std::string ending) {
    const std::lock_guard lock(mutex_);
    failing_ = std::move(ending);
}

int SyncedFiles::sync(int descriptor) {
    const std::string path = pathOf(descriptor);
    const std::lock_guard lock(mutex_);
    if (!failing_.empty() && path.ends_with(failing_)) {
        return -1;
    }
    contents_[path] = contentsOfOpen(descriptor);
    ++count_;
    return 0;
}

}  // namespace xel::contract

// In place of the system library's: the program's own definitions come first, for its libraries too.
extern "C" int fdatasync(int descriptor) {
    return xel::contract::syncFile(descriptor, SYS_fdatasync);
}
extern "C" int fsync(int descriptor) {
    return xel::contract::syncFile(descriptor, SYS_fsync);
}
