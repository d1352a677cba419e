#include "sandbox/state/StateFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void failWithErrno(const std::string& what, const fs::path& path) {
    throw SandboxError("cannot " + what + " '" + path.string() +
                       "': " + std::generic_category().message(errno));
}

bool isAbsoluteValue(const char* value) {
    return value != nullptr && value[0] == '/';
}

void makePrivateFolder(const fs::path& path) {
    std::error_code error;
    if (path.has_parent_path()) {
        fs::create_directories(path.parent_path(), error);
    }
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        failWithErrno("make the state folder", path);
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        failWithErrno("use the state folder", path);
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid()) {
        throw SandboxError("the state folder '" + path.string() +
                           "' is not a folder of yours; choose another one");
    }
    if ((status.st_mode & 0077U) != 0 && ::chmod(path.c_str(), 0700) != 0) {
        failWithErrno("make private the state folder", path);
    }
}

}  // namespace

fs::path defaultStateFolder() {
    return defaultStateFolder("xelpush-sandbox");
}

fs::path defaultStateFolder(std::string_view name) {
    if (const char* state = std::getenv("XDG_STATE_HOME"); isAbsoluteValue(state)) {
        return fs::path(state) / name;
    }
    if (const char* home = std::getenv("HOME"); isAbsoluteValue(home)) {
        return fs::path(home) / ".local" / "state" / name;
    }
    throw SandboxError("no place for the state folder: set XDG_STATE_HOME or HOME, or name a folder");
}

StateFolder::StateFolder(fs::path path, std::string_view owner) : path_(std::move(path)) {
    makePrivateFolder(path_);
    const fs::path lockFile = file("lock");
    lock_ = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock_ < 0) {
        failWithErrno("open", lockFile);
    }
    if (::flock(lock_, LOCK_EX | LOCK_NB) != 0) {
        const int reason = errno;
        ::close(lock_);
        if (reason == EWOULDBLOCK) {
            throw SandboxError("another " + std::string(owner) + " is running on '" + path_.string() +
                               "'; stop it, or name another state folder");
        }
        errno = reason;
        failWithErrno("lock", lockFile);
    }
}

StateFolder::~StateFolder() {
    release();
}

void StateFolder::release() {
    if (lock_ >= 0) {
        ::close(std::exchange(lock_, -1));
    }
}

void writePrivateFile(const fs::path& file, std::string_view content) {
    fs::path temporary = file;
    temporary += ".new";
    ::unlink(temporary.c_str());  // a rest of a killed service may have other rights
    const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        failWithErrno("write", temporary);
    }
    bool written = true;
    while (!content.empty() && written) {
        const ssize_t count = ::write(descriptor, content.data(), content.size());
        if (count > 0) {
            content.remove_prefix(static_cast<std::size_t>(count));
        } else {
            written = count < 0 && errno == EINTR;
        }
    }
    written = written && ::fsync(descriptor) == 0;
    const int reason = errno;
    ::close(descriptor);
    errno = reason;
    // Whoever reads it meanwhile finds the former file or the new one, each whole.
    if (!written || ::rename(temporary.c_str(), file.c_str()) != 0) {
        failWithErrno("write", file);
    }
}

std::optional<std::string> readWholeFile(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        failWithErrno("read", file);
    }
    std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream.bad()) {
        failWithErrno("read", file);
    }
    return content;
}

}  // namespace xel::sandbox
