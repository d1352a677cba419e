#pragma once

#include <exception>
#include <functional>
#include <iostream>

#include <sys/wait.h>
#include <unistd.h>

namespace xel::contract {

inline constexpr unsigned kPatienceWithChild =
    60;  // seconds, after which a child that hangs is killed by its alarm
inline constexpr int kChildThrew = 99;

/// Starts a child of the test that ends with the block's answer. No test goes on in it.
inline pid_t startChild(const std::function<int()>& block) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceWithChild);
        try {
            _exit(block());
        } catch (const std::exception& error) {
            std::cerr << "a test's child threw: " << error.what() << std::endl;
            _exit(kChildThrew);
        }
    }
    return child;
}

/// How the child ended: its exit status, or less than 0 when a signal ended it.
inline int statusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

inline int resultOfChild(const std::function<int()>& block) {
    return statusOf(startChild(block));
}

}  // namespace xel::contract
