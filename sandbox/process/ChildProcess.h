#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace xel::sandbox {

/// A started program and the reading end of the pipe to its standard output and error.
struct StartedChild {
    pid_t pid{-1};
    int output{-1};
};

/// Starts `arguments[0]`, found by its path, in a process group of its own, with no descriptor but the three
/// standard ones, no signal blocked, and SIGTERM on the end of the calling thread.
/// Throws SandboxError when no process or pipe can be made; a program that cannot be run says so in its
/// output and ends with status 127.
StartedChild startChild(const std::vector<std::string>& arguments);

/// How a child ended, from the status that waitpid(2) gave.
std::string describeEnd(int waitStatus);

}  // namespace xel::sandbox
