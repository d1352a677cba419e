#include <cstdint>
#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/runs/RequestRun.h"

namespace xel::tools {

namespace {

struct TagChoice {
    ClientChoice client;
    std::string tag;
};

void changeTag(const TagChoice& choice, bool isAdded) {
    const auto act = [&](PushClientManager& push, const RequestRun::Outcome& outcome) {
        const auto succeeded = [&choice, isAdded, outcome](std::int64_t count) {
            outcome.succeeded({{"tag", choice.tag}, {"count", count}},
                              "tag '" + choice.tag + (isAdded ? "' added: " : "' removed: ") +
                                  std::to_string(count) + " installations of the user carry it");
        };
        if (isAdded) {
            push.addTag(choice.tag, succeeded, outcome.failed);
        } else {
            push.removeTag(choice.tag, succeeded, outcome.failed);
        }
    };
    RequestRun(choice.client, findService(choice.client.service), act).run();
}

void addChange(CLI::App& tag, const char* name, const char* help, bool isAdded) {
    const auto choice = std::make_shared<TagChoice>();
    CLI::App* command = tag.add_subcommand(name, help);
    command->add_option("tag", choice->tag, "The tag")->required()->type_name("TAG");
    addActionOptions(*command, choice->client);
    command->callback([choice, isAdded] { changeTag(*choice, isAdded); });
}

}  // namespace

void addTagCommand(CLI::App& program) {
    CLI::App* tag = program.add_subcommand("tag", "Add a tag to a user's installations, or remove one");
    tag->footer(kExitCodesHelp);
    tag->require_subcommand(1);
    addChange(*tag, "add", "Add a tag to every installation that the user has now", true);
    addChange(*tag, "remove", "Remove a tag from the user's installations", false);
}

}  // namespace xel::tools
