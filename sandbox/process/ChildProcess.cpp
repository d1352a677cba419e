#include "sandbox/process/ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {
namespace {

// Runs in the child: between fork and exec nothing may allocate or take a lock.
[[noreturn]] void becomeProgram(pid_t parent, int output, char* const* arguments) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) {
        ::_exit(127);  // the parent ended before it could be watched
    }
    // The mask, and what is ignored, would outlive execve(2): a broker that ignores
    // SIGTERM cannot be ended.
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGCHLD}) {
        std::signal(number, SIG_DFL);
    }
    const int nothing = ::open("/dev/null", O_RDONLY);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    // Also what a library opened without the mark that closes it here.
    ::close_range(3, ~0U, 0);
    ::execv(arguments[0], arguments);
    constexpr char kMessage[] = "cannot be run: ";
    const char* reason = ::strerrordesc_np(errno);
    [[maybe_unused]] ssize_t written = ::write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
    if (reason != nullptr) {
        written = ::write(STDERR_FILENO, reason, std::strlen(reason));
    }
    ::_exit(127);
}

}  // namespace

StartedChild startChild(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);

    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw SandboxError("cannot make a pipe: " + std::generic_category().message(errno));
    }
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        becomeProgram(parent, ends[1], pointers.data());
    }
    const int reason = errno;
    ::close(ends[1]);
    if (pid < 0) {
        ::close(ends[0]);
        throw SandboxError("cannot start '" + arguments[0] + "': " + std::generic_category().message(reason));
    }
    return StartedChild{pid, ends[0]};
}

std::string describeEnd(int waitStatus) {
    if (WIFSIGNALED(waitStatus)) {
        return "ended by signal " + std::to_string(WTERMSIG(waitStatus));
    }
    return "ended with status " + std::to_string(WEXITSTATUS(waitStatus));
}

}  // namespace xel::sandbox
