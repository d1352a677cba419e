#pragma once

#include <cstddef>

#include <pthread.h>

namespace xel::contract {

/// While it lives, no thread of this process can be started: the stack that each would get is larger than any
/// address space.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&usual_);
        pthread_attr_t greedy{};
        pthread_getattr_default_np(&greedy);
        pthread_attr_setstacksize(&greedy, kNobodysStack);
        pthread_setattr_default_np(&greedy);
        pthread_attr_destroy(&greedy);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;
    ~NoThreads() {
        pthread_setattr_default_np(&usual_);
        pthread_attr_destroy(&usual_);
    }

private:
    static constexpr std::size_t kNobodysStack = std::size_t{1} << (sizeof(std::size_t) == 8 ? 60 : 31);

    pthread_attr_t usual_{};
};

}  // namespace xel::contract
