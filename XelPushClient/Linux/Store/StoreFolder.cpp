#include "XelPushClient/Linux/Store/StoreFolder.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel {
namespace {

NSError systemError(std::string_view what, const std::string& path) {
    const int number = errno;
    return makeStoreError(StoreErrorCode::CannotOpen,
                          std::string(what) + " " + path + ": " + std::generic_category().message(number));
}

std::string utcTimeText() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts);
    return {text.data(), length};
}

bool exists(const std::string& path) {
    struct stat facts {};
    return lstat(path.c_str(), &facts) == 0;
}

}  // namespace

Result<void> makeStoreFolder(const std::string& folder) {
    for (std::size_t at = 1; at <= folder.size(); ++at) {
        if (at != folder.size() && folder[at] != '/') {
            continue;
        }
        const std::string part = folder.substr(0, at);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST && errno != EISDIR) {
            return systemError("cannot make the folder", part);
        }
    }
    struct stat facts {};
    if (stat(folder.c_str(), &facts) != 0) {
        return systemError("cannot use the folder", folder);
    }
    if (!S_ISDIR(facts.st_mode)) {
        errno = ENOTDIR;
        return systemError("cannot use the folder", folder);
    }
    return {};
}

Result<void> refuseForeignFolder(const std::string& folder) {
    struct stat facts {};
    if (stat(folder.c_str(), &facts) != 0) {
        return systemError("cannot use the folder", folder);
    }
    if ((facts.st_mode & S_IWOTH) != 0) {
        return makeStoreError(StoreErrorCode::CannotOpen,
                              "the folder " + folder +
                                  " may be written to by every user of this machine; "
                                  "take that right away (chmod o-w) or use another");
    }
    if (facts.st_uid != geteuid() && facts.st_uid != 0) {
        return makeStoreError(StoreErrorCode::CannotOpen,
                              "the folder " + folder + " belongs to another user (" +
                                  std::to_string(facts.st_uid) + "), not to this one (" +
                                  std::to_string(geteuid()) + ") or root; use one of this user's");
    }
    return {};
}

bool isGroupWritable(const std::string& folder) {
    struct stat facts {};
    return stat(folder.c_str(), &facts) == 0 && (facts.st_mode & S_IWGRP) != 0;
}

Result<void> makePrivateFile(const std::string& path) {
    // Not through a symbolic link, which others who may write to the folder could have put there.
    const FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen()) {
        return systemError("cannot write to the store", path);
    }
    if (fchmod(file.number(), 0600) != 0) {
        return systemError("cannot keep others out of the store", path);
    }
    return {};
}

Result<FileDescriptor> takeOwnership(const std::string& lockPath) {
    // A child with a copy of it would hold the lock.
    FileDescriptor file(openInThisProcess(
        [&] { return open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600); }));
    if (!file.isOpen()) {
        return systemError("cannot open the lock file", lockPath);
    }
    std::array<char, 24> text{};
    // flock(2) and no POSIX lock (fcntl(2)), which would neither keep two homes of one process apart nor
    // survive the closing of any other descriptor of the file.
    if (flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            return systemError("cannot lock", lockPath);
        }
        const ssize_t length = pread(file.number(), text.data(), text.size() - 1, 0);
        const std::string owner(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
        return makeStoreError(StoreErrorCode::InUse, "the store of " + lockPath +
                                                         " is in use by another process" +
                                                         (owner.empty() ? "" : " (" + owner + ")"));
    }
    const int length = std::snprintf(text.data(), text.size(), "pid %d", static_cast<int>(getpid()));
    // Who owns it is a courtesy to the reader of the error; the lock stands without it.
    if (ftruncate(file.number(), 0) != 0 ||
        pwrite(file.number(), text.data(), static_cast<std::size_t>(length), 0) != length) {
        return file;
    }
    return file;
}

Result<std::string> setAside(const std::string& databasePath) {
    const std::string wanted = databasePath + ".damaged-" + utcTimeText();
    std::string target = wanted;
    for (int number = 2; exists(target) || exists(target + "-wal"); ++number) {
        target = wanted + "-" + std::to_string(number);
    }
    // It may be gone already: then what is left of the store is its log.
    if (rename(databasePath.c_str(), target.c_str()) != 0 && errno != ENOENT) {
        return systemError("cannot set aside the damaged store", databasePath);
    }
    const std::string log = databasePath + "-wal";
    if (rename(log.c_str(), (target + "-wal").c_str()) != 0 && errno != ENOENT) {
        return systemError("cannot set aside the damaged log", log);
    }
    return target;
}

void syncFolder(const std::string& folder) {
    const FileDescriptor handle(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (handle.isOpen()) {
        (void)fsync(handle.number());
    }
}

}  // namespace xel
