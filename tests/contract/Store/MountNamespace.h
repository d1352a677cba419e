#pragma once

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

namespace xel::contract {

/// Runs a piece of a test on a thread in a mount namespace of its own, so that files and folders can be
/// replaced without touching the machine's. The namespace goes with the thread and those that it started.
class MountNamespace {
public:
    /// The error number when the system does not permit a namespace, else 0.
    static int run(const std::function<void()>& work) {
        int refusal = 0;
        std::thread([&] {
            if (::unshare(CLONE_NEWNS) != 0 ||
                ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
                refusal = errno;
                return;
            }
            work();
        }).join();
        return refusal;
    }
};

/// A small disk in memory in the place of the folder, for its user alone: what others may write to is
/// refused.
inline void mountDisk(const std::string& folder, const std::string& size) {
    ASSERT_EQ(::mount("none", folder.c_str(), "tmpfs", 0, ("mode=0700,size=" + size).c_str()), 0)
        << std::strerror(errno);
}

/// What is below the folder can only be read any more, by root too.
inline void makeReadOnly(const std::string& folder) {
    ASSERT_EQ(::mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr), 0) << std::strerror(errno);
    ASSERT_EQ(::mount(nullptr, folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0)
        << std::strerror(errno);
}

/// One file in the place of another.
inline void putInPlaceOf(const std::string& path, const std::string& other) {
    ASSERT_EQ(::mount(other.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0) << std::strerror(errno);
}

}  // namespace xel::contract

#define WITH_MOUNTS_OF_ITS_OWN(...)                                                                       \
    do {                                                                                                  \
        if (const int refusal = MountNamespace::run(__VA_ARGS__); refusal != 0) {                         \
            GTEST_SKIP() << "NOT TESTED: a mount namespace is not permitted: " << std::strerror(refusal); \
        }                                                                                                 \
    } while (false)
