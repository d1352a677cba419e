#include "tools/commands/SandboxLists.h"

#include <cstdint>
#include <memory>
#include <string_view>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/ExitCode.h"
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

}  // namespace

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

}  // namespace xel::tools
