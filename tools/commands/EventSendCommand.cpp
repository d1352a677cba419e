#include <memory>
#include <string>

#include "tools/commands/EventCommand.h"
#include "tools/options/JsonOption.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/ExitCode.h"
#include "tools/output/Output.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

struct EventChoice {
    ServiceChoice service;
    std::string name;
    std::string device = "xelpush";
    std::string data = "{}";
    bool live = false;
    bool stateful = false;
    bool json = false;
};

void sendEvent(const EventChoice& choice) {
    const Dictionary fields{{"event", choice.name},
                            {"deviceId", choice.device},
                            {"data", parseJsonObject(choice.data)},
                            {"live", choice.live},
                            {"stateful", choice.stateful}};
    const Dictionary answer = postToService(findService(choice.service), "sandbox/events", fields);
    printLine(choice.json, answer, "published to " + textOf(answer, "topic"));
}

}  // namespace

void addEventSendCommand(CLI::App& event) {
    const auto choice = std::make_shared<EventChoice>();
    CLI::App* command =
        event.add_subcommand("send", "Have the local push service publish an event for an installation");
    command->footer(kExitCodesHelp);
    command->add_option("name", choice->name, "The event's name")->required()->type_name("NAME");
    command->add_option("--device", choice->device, "The installation in whose name it is published")
        ->capture_default_str()
        ->type_name("ID");
    command->add_option("--data", choice->data, "The event's data")
        ->check(jsonObject())
        ->capture_default_str();
    command->add_flag("--live", choice->live, "Send at most once");
    command->add_flag("--stateful", choice->stateful, "Keep the event for later subscribers");
    command->add_flag("--json", choice->json, "Print the service's answer as one JSON object");
    addServiceOptions(*command, choice->service);
    command->callback([choice] { sendEvent(*choice); });
}

}  // namespace xel::tools
