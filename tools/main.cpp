#include <exception>
#include <iostream>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/output/Output.h"

namespace {

/// CLI11 tells of what is missing before it tells of what it did not understand; a misspelt option is usually
/// both.
void printWhatWasNotUnderstood(const CLI::App& program, const CLI::ParseError& error) {
    const auto left = program.remaining(true);
    if (left.empty() || error.get_name() != "RequiredError") {
        return;
    }
    std::cerr << "not understood:";
    for (const std::string& argument : left) {
        std::cerr << ' ' << argument;
    }
    std::cerr << '\n';
}

int run(int argumentCount, char** arguments) {
    CLI::App program("xelpush: tries out push clients, and runs the local push service.", "xelpush");
    program.require_subcommand(1);
    program.footer(xel::tools::kExitCodesHelp);
    xel::tools::addSandboxCommand(program);
    xel::tools::addDistributorCommand(program);
    xel::tools::addListenCommand(program);
    xel::tools::addSendCommand(program);
    xel::tools::addEventCommand(program);
    xel::tools::addPublishCommand(program);
    xel::tools::addReceiptCommands(program);
    xel::tools::addVerifyCommand(program);
    xel::tools::addTagCommand(program);
    xel::tools::addLocationCommand(program);
    xel::tools::addCrashCommand(program);
    xel::tools::addChannelsCommand(program);
    xel::tools::addSettingsCommand(program);
    xel::tools::addStatusCommand(program);
    xel::tools::addResetCommand(program);
    xel::tools::addDoctorCommand(program);
    try {
        program.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        printWhatWasNotUnderstood(program, error);
        const bool isHelp = program.exit(error) == 0;
        return static_cast<int>(isHelp ? xel::tools::ExitCode::Success : xel::tools::ExitCode::Usage);
    }
    return static_cast<int>(xel::tools::ExitCode::Success);
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        return run(argumentCount, arguments);
    } catch (const xel::tools::CommandFailure& failure) {
        std::cerr << "xelpush: " << failure.what() << '\n';
        return static_cast<int>(failure.code());
    } catch (const std::exception& error) {
        std::cerr << "xelpush: " << error.what() << '\n';
        return static_cast<int>(xel::tools::ExitCode::Failure);
    }
}
