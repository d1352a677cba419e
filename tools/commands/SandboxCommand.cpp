#include <iostream>
#include <memory>
#include <string>

#include "sandbox/SandboxProgram.h"
#include "sandbox/state/SandboxInfo.h"
#include "sandbox/state/SandboxOptions.h"
#include "tools/commands/Commands.h"
#include "tools/commands/SandboxLists.h"
#include "tools/output/ExitCode.h"

namespace xel::tools {

namespace {

struct SandboxChoice {
    sandbox::SandboxOptions options;
    std::string stateFolder;
    bool freePorts = false;
};

void printReady(const sandbox::SandboxInfo& info) {
    std::cout << "ready: application " << info.appId << ", MQTT " << info.mqttPort << ", MQTT over TLS "
              << info.mqttTlsPort << ", REST " << info.restUrl << '\n'
              << "credentials and addresses: " << (info.stateFolder / sandbox::kSandboxInfoFile).string()
              << '\n'
              << "certificate authority: " << info.caFile.string() << std::endl;
}

void runSandbox(SandboxChoice& choice) {
    if (choice.freePorts) {
        choice.options.mqttPort = 0;
        choice.options.mqttTlsPort = 0;
        choice.options.restPort = 0;
    }
    choice.options.stateFolder = choice.stateFolder;
    choice.options.onReady = printReady;
    sandbox::runSandboxUntilSignal(std::move(choice.options));
}

}  // namespace

void addSandboxCommand(CLI::App& program) {
    const auto choice = std::make_shared<SandboxChoice>();
    sandbox::SandboxOptions& options = choice->options;
    CLI::App* command = program.add_subcommand(
        "sandbox", "Run the local push service until Ctrl-C, or show what a running one has kept");
    command->footer(kExitCodesHelp);
    command->add_option("--state-folder", choice->stateFolder, "Where its state and its credentials are kept")
        ->type_name("FOLDER");
    command->add_option("--app-id", options.appId, "The application that it serves")->type_name("ID");
    command->add_option("--address", options.address, "The loopback address to listen on")
        ->capture_default_str()
        ->type_name("ADDRESS");
    command->add_option("--mqtt-port", options.mqttPort, "Port of plain MQTT; 0: any free one")
        ->capture_default_str()
        ->type_name("PORT");
    command->add_option("--mqtt-tls-port", options.mqttTlsPort, "Port of MQTT over TLS; 0: any free one")
        ->capture_default_str()
        ->type_name("PORT");
    command->add_option("--rest-port", options.restPort, "Port of the REST backend (HTTPS); 0: any free one")
        ->capture_default_str()
        ->type_name("PORT");
    command->add_flag("--free-ports", choice->freePorts, "Use free ports for all three");
    command->add_option("--mosquitto", options.mosquittoProgram, "The broker's program")->type_name("FILE");
    command->add_option("--broker-plugin", options.brokerPlugin, "The broker's plugin")->type_name("FILE");
    command->add_flag("--verbose,-v", options.verbose, "Tell of every connection and subscription");
    addSandboxLists(*command, choice->stateFolder);
    command->require_subcommand(0, 1);
    command->callback([choice, command] {
        if (command->get_subcommands().empty()) {
            runSandbox(*choice);
        }
    });
}

}  // namespace xel::tools
