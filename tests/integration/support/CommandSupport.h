#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {

using sandbox::test::RunningSandbox;
using sandbox::test::TemporaryFolder;

struct CommandOutcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

inline std::string quoted(const std::string& text) {
    return '\'' + text + '\'';
}

inline std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The command, or another program, started by a shell whose environment holds nothing but what the test
/// says.
class Command {
public:
    Command(const TemporaryFolder& folder, const std::vector<std::string>& arguments,
            const std::vector<std::string>& environment = {}, const std::string& input = {},
            const std::string& program = XELPUSH_COMMAND_PATH)
        : errors_(errorFile(folder)) {
        std::string line =
            "exec env -i PATH=\"$PATH\" ASAN_OPTIONS=\"$ASAN_OPTIONS\" TSAN_OPTIONS=\"$TSAN_OPTIONS\"";
        line += " HOME=" + quoted(folder.path().string());
        for (const std::string& variable : environment) {
            line += ' ' + quoted(variable);
        }
        line += ' ' + quoted(program);
        for (const std::string& argument : arguments) {
            line += ' ' + quoted(argument);
        }
        line += " 2>" + quoted(errors_.string()) + " </dev/null";
        if (!input.empty()) {
            std::ofstream(errors_.string() + ".in") << input;
            line += " <" + quoted(errors_.string() + ".in");
        }
        pipe_ = ::popen(line.c_str(), "r");
    }
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    ~Command() {
        if (pipe_ != nullptr) {
            ::pclose(pipe_);
        }
    }

    /// Reads lines until one holds the text; false when the command ends before.
    bool readUntil(const std::string& text) {
        while (readLine()) {
            if (lastLine_.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    /// Waits for the end.
    CommandOutcome finish() {
        while (readLine()) {}
        const int status = ::pclose(std::exchange(pipe_, nullptr));
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output_, contentOf(errors_)};
    }

private:
    // Commands run side by side.
    static std::filesystem::path errorFile(const TemporaryFolder& folder) {
        static int number = 0;
        return folder.path() / ("errors-" + std::to_string(++number));
    }

    bool readLine() {
        std::array<char, 4096> buffer{};
        lastLine_.clear();
        while (!lastLine_.ends_with('\n') && std::fgets(buffer.data(), buffer.size(), pipe_) != nullptr) {
            lastLine_ += buffer.data();
        }
        output_ += lastLine_;
        return !lastLine_.empty();
    }

    std::filesystem::path errors_;
    FILE* pipe_ = nullptr;
    std::string lastLine_;
    std::string output_;
};

/// A test that runs the command.
class CommandLineTest : public testing::Test {
protected:
    CommandOutcome run(const std::vector<std::string>& arguments,
                       const std::vector<std::string>& environment = {}, const std::string& input = {}) {
        return Command(folder_, arguments, environment, input).finish();
    }

    TemporaryFolder folder_;
};

/// The same beside a running service.
class CommandAndServiceTest : public CommandLineTest {
protected:
    [[nodiscard]] std::vector<std::string> with(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--sandbox-folder", service_.info().stateFolder.string()});
        return arguments;
    }

    RunningSandbox service_;
};

}  // namespace xel::test
