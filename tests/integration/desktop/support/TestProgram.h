#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace xel::test {

/// How long a test waits for what must come. Nothing waits this long unless it fails.
inline constexpr std::chrono::seconds kPatience{20};

/// Looks again and again until the condition holds; false when it does not within the test's patience.
template <class Condition>
[[nodiscard]] bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

/// A program of the system's that runs for the length of a test, its output in a file.
class TestProgram {
public:
    /// The environment is added to the test's own. Throws when no process can be made.
    TestProgram(const std::vector<std::string>& command, const std::filesystem::path& log,
                const std::map<std::string, std::string>& environment = {});
    TestProgram(const TestProgram&) = delete;
    TestProgram& operator=(const TestProgram&) = delete;
    ~TestProgram();

    /// Ends it and waits for its end.
    void stop();
    [[nodiscard]] bool isRunning();
    /// What it has written.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] pid_t pid() const { return pid_; }

private:
    std::filesystem::path log_;
    pid_t pid_ = -1;
};

/// Where a program of that name is, or empty.
[[nodiscard]] std::string programPath(const std::string& name);

/// Runs a program to its end. Its output, or an empty text when it failed.
[[nodiscard]] std::string outputOf(const std::vector<std::string>& command, const std::filesystem::path& log,
                                   const std::map<std::string, std::string>& environment);

}  // namespace xel::test
