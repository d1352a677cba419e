#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/JsonOption.h"
#include "tools/output/ExitCode.h"
#include "tools/runs/PublishingRun.h"

namespace xel::tools {

namespace {

struct LocationChoice {
    ClientChoice client;
    double latitude = 0.0;
    double longitude = 0.0;
    std::string data;
    bool live = false;
    bool stateful = false;
};

void publishLocation(const LocationChoice& choice) {
    const auto act = [&choice](PushClientManager& push) {
        CLLocation location;
        location.coordinate = CLLocationCoordinate2DMake(choice.latitude, choice.longitude);
        location.timestamp = std::chrono::system_clock::now();
        PublishLocationOptions options;
        options.live = choice.live;
        options.stateful = choice.stateful;
        if (!choice.data.empty()) {
            options.data = parseJsonObject(choice.data);
        }
        push.publishLocation(location, options);
        return true;
    };
    PublishingRun(choice.client, findService(choice.client.service), {act, choice.live}).run();
}

}  // namespace

void addLocationCommand(CLI::App& program) {
    CLI::App* location = program.add_subcommand("location", "Publish a location");
    location->footer(kExitCodesHelp);
    location->require_subcommand(1);

    const auto choice = std::make_shared<LocationChoice>();
    CLI::App* command =
        location->add_subcommand("publish", "As a user's client, publish a place as event \"geo\"");
    command->add_option("--latitude", choice->latitude, "Degrees north; south with =, as in --latitude=-33.9")
        ->required()
        ->check(CLI::Range(-90.0, 90.0))
        ->type_name("DEGREES");
    command
        ->add_option("--longitude", choice->longitude, "Degrees east; west with =, as in --longitude=-70.6")
        ->required()
        ->check(CLI::Range(-180.0, 180.0))
        ->type_name("DEGREES");
    command->add_option("--data", choice->data, "The application's data")->check(jsonObject());
    command->add_flag("--live", choice->live, "Send at most once");
    command->add_flag("--stateful", choice->stateful, "Keep the event for later subscribers");
    addActionOptions(*command, choice->client);
    command->callback([choice] { publishLocation(*choice); });
}

}  // namespace xel::tools
