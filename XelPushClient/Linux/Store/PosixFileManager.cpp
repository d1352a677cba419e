#include "XelPushClient/Linux/Store/PosixFileManager.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"

namespace xel {

namespace {

NSError errorOfSystem(std::string_view what, const std::string& path) {
    const int number = errno;
    auto code = NSFileErrorCode::WriteUnknown;
    if (number == EEXIST) {
        code = NSFileErrorCode::WriteFileExists;
    } else if (number == ENOENT) {
        code = NSFileErrorCode::NoSuchFile;
    }
    return makeFileError(code,
                         formatted("cannot %@ %@: %@", what, path, std::generic_category().message(number)));
}

/// A name that goes with the object.
class TemporaryName {
public:
    explicit TemporaryName(std::string path) : path_(std::move(path)) {}
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;
    ~TemporaryName() { ::unlink(path_.c_str()); }

    [[nodiscard]] const char* path() const { return path_.c_str(); }

private:
    std::string path_;
};

bool writeAll(int descriptor, std::string_view octets) {
    while (!octets.empty()) {
        const ssize_t written = ::write(descriptor, octets.data(), octets.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        octets.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

}  // namespace

Result<void> PosixFileManager::moveItem(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return {};
    }
    if (errno != EINVAL) {
        return errorOfSystem("move to", to);
    }
    // A file system that cannot rename that way can still refuse to make a second link.
    if (::link(from.c_str(), to.c_str()) != 0) {
        return errorOfSystem("move to", to);
    }
    ::unlink(from.c_str());
    return {};
}

Result<void> PosixFileManager::writeNewFile(std::string_view content, const std::string& path) {
    const std::string folder = path.substr(0, path.rfind('/'));
    std::string name = folder + "/.new-XXXXXX";
    const FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (!file.isOpen()) {
        return errorOfSystem("write", path);
    }
    const TemporaryName temporary(name);
    if (!writeAll(file.number(), content) || ::fsync(file.number()) != 0) {
        return errorOfSystem("write", path);
    }
    // rename(2) would replace a file of that name; link(2) refuses.
    if (::link(temporary.path(), path.c_str()) != 0) {
        return errorOfSystem("write", path);
    }
    syncFolder(folder);
    return {};
}

}  // namespace xel
