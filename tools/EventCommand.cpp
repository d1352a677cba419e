#include <iostream>
#include <memory>
#include <string>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tools/Commands.h"
#include "tools/JsonOption.h"
#include "tools/RestCall.h"
#include "tools/ServiceAccess.h"

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
    if (choice.json) {
        std::cout << printJSON(answer, JSONLayout::OneLine) << '\n';
        return;
    }
    const Value* topic = answer.find("topic");
    std::cout << "published to " << (topic != nullptr && topic->isString() ? *topic->asString() : "") << '\n';
}

}  // namespace

void addEventCommand(CLI::App& program) {
    const auto choice = std::make_shared<EventChoice>();
    CLI::App* command = program.add_subcommand("event", "Have the local push service publish an event");
    command->add_option("name", choice->name, "The event's name")->required()->type_name("NAME");
    command->add_option("--device", choice->device, "The installation that publishes it")
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
