#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel::tools {

/// What the command ends with. Scripts rely on the numbers: docs/command-line.md and --help list them.
enum class ExitCode : int {
    Success = 0,
    Failure = 1,             ///< something went wrong while running
    Usage = 2,               ///< wrong options
    TimeOut = 3,             ///< what was waited for did not come in time
    CredentialsRefused = 4,  ///< the service does not know the key, the user or the password
    CannotConnect = 5,       ///< the service is not there, or is not whom it should be
};

inline constexpr const char* kExitCodesHelp =
    "Exit codes: 0 success; 1 failure while running; 2 wrong usage; 3 time-out;\n"
    "            4 credentials refused; 5 cannot connect to the service.";

/// Ends the command with a code and a text for standard error.
class CommandFailure : public std::runtime_error {
public:
    CommandFailure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}

    [[nodiscard]] ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

/// One line on standard output: the record as a JSON object, or the text for people. From any thread.
void printLine(bool json, const Dictionary& record, std::string_view text);

/// One line of progress on standard error. From any thread.
void printProgress(std::string_view text);

/// The text under the key; empty when there is none.
[[nodiscard]] std::string textOf(const Dictionary& record, std::string_view key);

}  // namespace xel::tools
