#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "sandbox/distributor/DistributorBus.h"
#include "sandbox/distributor/DistributorProgram.h"
#include "tools/commands/Commands.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

struct DistributorChoice {
    std::string stateFolder;
    std::uint16_t port = 0;
};

void printProgress(std::string_view line) {
    std::cerr << "xelpush distributor: " << line << std::endl;
}

void printReady(std::uint16_t port, const std::filesystem::path& folder) {
    std::cout << "ready: " << sandbox::kDistributorName << ", endpoints on http://127.0.0.1:" << port << '\n'
              << "registrations: " << folder.string() << std::endl;
}

void runDistributor(const DistributorChoice& choice, bool hasPort) {
    sandbox::DistributorOptions options;
    options.stateFolder = choice.stateFolder;
    if (hasPort) {
        options.port = choice.port;
    }
    options.log = printProgress;
    options.onReady = printReady;
    try {
        sandbox::runDistributorUntilSignal(options);
    } catch (const sandbox::NoSessionBusError& error) {
        throw CommandFailure(ExitCode::CannotConnect, error.what());
    }
}

}  // namespace

void addDistributorCommand(CLI::App& program) {
    const auto choice = std::make_shared<DistributorChoice>();
    CLI::App* command = program.add_subcommand(
        "distributor",
        "Run a UnifiedPush distributor on the session bus until Ctrl-C: it wakes applications");
    command->footer(kExitCodesHelp);
    command->add_option("--state-folder", choice->stateFolder, "Where registrations and messages are kept")
        ->type_name("FOLDER");
    const CLI::Option* port =
        command
            ->add_option(
                "--port", choice->port,
                "Port of the endpoints; 0: any free one (default: as last time, at first a free one)")
            ->type_name("PORT");
    command->callback([choice, port] { runDistributor(*choice, port->count() > 0); });
}

}  // namespace xel::tools
