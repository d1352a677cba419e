#include "XelPushClient/Linux/Store/NewStoreFile.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"

namespace xel {
namespace {

std::string unfinished(const std::string& path) {
    return path + ".new";
}
std::string finished(const std::string& path) {
    return path + ".made";
}

bool isFileThere(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0;
}

void removeLeftovers(const std::string& path) {
    (void)::unlink(unfinished(path).c_str());
    (void)::unlink((unfinished(path) + "-journal").c_str());
    (void)::unlink(finished(path).c_str());
}

/// The new name is on the disk when it returns.
Result<void> renameForGood(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) == 0) {
        syncFolder(to.substr(0, to.rfind('/') + 1));
        return {};
    }
    return makeStoreError(StoreErrorCode::CannotOpen, "cannot rename " + from + " to " + to + ": " +
                                                          std::generic_category().message(errno));
}

}  // namespace

NewStoreFile::~NewStoreFile() {
    // A finished one without the store's own is the store.
    if (isFileThere(path_)) {
        removeLeftovers(path_);
    }
}

Result<void> NewStoreFile::make() {
    removeLeftovers(path_);
    auto made = makePrivateFile(unfinished(path_));
    return made ? database_.open(unfinished(path_)) : made;
}

Result<void> NewStoreFile::finish() {
    // Each transaction is on the disk; the name of the file must be, too, before another one is given up.
    database_.close();
    return renameForGood(unfinished(path_), finished(path_));
}

Result<void> NewStoreFile::putInPlace() {
    return renameForGood(finished(path_), path_);
}

Result<bool> NewStoreFile::recover(const std::string& path) {
    if (!isFileThere(path) && isFileThere(finished(path))) {
        const auto put = renameForGood(finished(path), path);
        return put ? Result<bool>(true) : put.error();
    }
    removeLeftovers(path);
    return false;
}

}  // namespace xel
