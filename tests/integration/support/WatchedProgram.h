#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "sandbox/process/ChildProcess.h"

namespace xel::test {

/// A program that a test starts beside itself and whose words it waits for. It is killed with the object, and
/// with the thread that made the object, however that ends.
class WatchedProgram {
public:
    /// `arguments[0]` is the program's path. Throws SandboxError when no process can be made.
    explicit WatchedProgram(const std::vector<std::string>& arguments);
    /// Returns when the program has ended, and every process that it started and that holds its output.
    ~WatchedProgram();
    WatchedProgram(const WatchedProgram&) = delete;
    WatchedProgram& operator=(const WatchedProgram&) = delete;

    /// Whether the text has come in the program's output; false when it ends before, or the time is over.
    [[nodiscard]] bool waitForOutput(std::string_view text, std::chrono::seconds patience);

    /// What it has written so far, on standard output and standard error.
    [[nodiscard]] std::string output() const;

private:
    void readToTheEnd();

    sandbox::StartedChild child_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string output_;
    bool ended_ = false;
    std::thread reader_;
};

}  // namespace xel::test
