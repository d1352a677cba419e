#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "sandbox/SandboxProgram.h"
#include "sandbox/state/SandboxInfo.h"
#include "sandbox/state/SandboxOptions.h"
#include "tools/commands/Commands.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/Output.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

constexpr std::int64_t kLargestLimit = 1000;

using Describe = std::string (*)(const Dictionary& record);

struct ListKind {
    const char* name;
    const char* help;
    Describe describe;
};

struct ListChoice {
    ServiceChoice service;
    std::int64_t limit = 100;
    bool json = false;
};

std::string numberOf(const Dictionary& record, std::string_view key) {
    const Value* value = record.find(key);
    return value == nullptr ? "" : std::to_string(value->integer().value_or(0));
}

std::string dateOf(const Dictionary& record, std::string_view key) {
    const Value* value = record.find(key);
    return value == nullptr ? "" : describeDate(dateFromMillisecondsSince1970(value->number().value_or(0.0)));
}

std::string jsonOf(const Dictionary& record, std::string_view key) {
    const Value* value = record.find(key);
    return value == nullptr ? "null" : printJSON(*value, JSONLayout::OneLine);
}

/// The service publishes events itself, too.
std::string userOf(const Dictionary& record) {
    const std::string user = textOf(record, "user");
    return user.empty() ? "the service" : user;
}

std::string describeCode(const Dictionary& record) {
    return textOf(record, "user") + "  " + textOf(record, "code") + "  until " + dateOf(record, "expires") +
           ", tries left: " + numberOf(record, "triesLeft");
}

std::string describeEvent(const Dictionary& record) {
    return dateOf(record, "received") + "  " + textOf(record, "event") + " of " + textOf(record, "deviceId") +
           " by " + userOf(record) + "  " + jsonOf(record, "data");
}

std::string describeReceipt(const Dictionary& record) {
    return dateOf(record, "received") + "  " + textOf(record, "kind") + "  " + textOf(record, "messageId") +
           "  by " + userOf(record) + " on " + textOf(record, "deviceId");
}

std::string describeCrash(const Dictionary& record) {
    return dateOf(record, "received") + "  " + textOf(record, "id") + "  " + jsonOf(record, "report");
}

std::string describeInstallation(const Dictionary& record) {
    return textOf(record, "id") + "  " + textOf(record, "userId") + "  " + textOf(record, "deviceModel") +
           "  tags " + jsonOf(record, "tags");
}

void show(const ListKind& kind, const ListChoice& choice) {
    const std::string path = std::string("sandbox/") + kind.name + "?limit=" + std::to_string(choice.limit);
    const Dictionary answer = getFromService(findService(choice.service), path);
    const Value* list = answer.find(kind.name);
    const Array* records = list != nullptr ? list->asArray() : nullptr;
    if (records == nullptr) {
        throw CommandFailure(ExitCode::Failure, "the service's answer holds no list");
    }
    for (const Value& entry : *records) {
        if (const Dictionary* record = entry.asDictionary()) {
            printLine(choice.json, *record, kind.describe(*record));
        }
    }
    if (records->empty()) {
        printProgress(std::string("no ") + kind.name);
    }
}

/// Adds the commands that show what the running local push service has kept. `stateFolder` is the service's
/// own option, which may stand behind the command too, and counts when --sandbox-folder is not given; it
/// outlives the command.
void addSandboxLists(CLI::App& sandbox, std::string& stateFolder) {
    static constexpr ListKind kKinds[] = {
        {"codes", "Show the verification codes that can still be used", describeCode},
        {"events", "Show the events that were published", describeEvent},
        {"receipts", "Show which messages were seen and dismissed", describeReceipt},
        {"crashes", "Show the crash reports that were sent", describeCrash},
        {"installations", "Show the installations and their tags", describeInstallation},
    };
    for (const ListKind& kind : kKinds) {
        const auto choice = std::make_shared<ListChoice>();
        CLI::App* command = sandbox.add_subcommand(kind.name, kind.help);
        command->footer(std::string("The newest come last.\n\n") + kExitCodesHelp);
        command->add_option("--limit", choice->limit, "Show no more than so many, the newest")
            ->check(CLI::Range(std::int64_t{1}, kLargestLimit))
            ->capture_default_str()
            ->type_name("NUMBER");
        command->add_flag("--json", choice->json, "Print one JSON object a line");
        command->add_option("--state-folder", stateFolder, "Where the service keeps its state")
            ->type_name("FOLDER");
        addServiceOptions(*command, choice->service);
        command->callback([&kind, choice, &stateFolder] {
            if (choice->service.sandboxFolder.empty()) {
                choice->service.sandboxFolder = stateFolder;
            }
            show(kind, *choice);
        });
    }
}

struct SandboxChoice {
    sandbox::SandboxOptions options;
    std::string stateFolder;
    bool freePorts = false;
};

void printSandboxReady(const sandbox::SandboxInfo& info) {
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
    choice.options.onReady = printSandboxReady;
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
