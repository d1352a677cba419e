#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace xel::contract {

/// The undefined-behaviour sanitizer looks a type up with the help of a pipe, and where it gets none it takes
/// a sound object for a wrong one.
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
#define XEL_SANITIZER_NEEDS_DESCRIPTORS
#endif
#endif
#if defined(XEL_SANITIZER_NEEDS_DESCRIPTORS)
inline constexpr bool kSanitizerNeedsDescriptors = true;
#else
inline constexpr bool kSanitizerNeedsDescriptors = false;
#endif

/// How many descriptors this process has open.
inline std::size_t countDescriptors() {
    const auto entries = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// While it lives, this process can open nothing: its limit is the lowest number that is free.
class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &usual_);
        const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(lowest);
        rlimit limit = usual_;
        limit.rlim_cur = static_cast<rlim_t>(lowest);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &usual_); }

private:
    rlimit usual_{};
};

}  // namespace xel::contract

#define SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS()                                    \
    do {                                                                              \
        if (::xel::contract::kSanitizerNeedsDescriptors) {                            \
            GTEST_SKIP() << "NOT TESTED: the sanitizer needs descriptors of its own"; \
        }                                                                             \
    } while (false)
