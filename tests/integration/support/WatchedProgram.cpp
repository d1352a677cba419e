#include "tests/integration/support/WatchedProgram.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include <sys/wait.h>
#include <unistd.h>

namespace xel::test {

WatchedProgram::WatchedProgram(const std::vector<std::string>& arguments)
    : child_(sandbox::startChild(arguments)), reader_([this] { readToTheEnd(); }) {}

WatchedProgram::~WatchedProgram() {
    ::kill(child_.pid, SIGKILL);
    reader_.join();
    ::close(child_.output);
    while (::waitpid(child_.pid, nullptr, 0) < 0 && errno == EINTR) {}
}

bool WatchedProgram::waitForOutput(std::string_view text, std::chrono::seconds patience) {
    std::unique_lock lock(mutex_);
    const auto hasCome = [&] { return output_.find(text) != std::string::npos; };
    changed_.wait_for(lock, patience, [&] { return ended_ || hasCome(); });
    return hasCome();
}

std::string WatchedProgram::output() const {
    const std::lock_guard lock(mutex_);
    return output_;
}

// All the time, not only while somebody waits: a full pipe would stop the program.
void WatchedProgram::readToTheEnd() {
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = ::read(child_.output, buffer.data(), buffer.size())) > 0 ||
           (count < 0 && errno == EINTR)) {
        const std::lock_guard lock(mutex_);
        output_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        changed_.notify_all();
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

}  // namespace xel::test
