// `seen` and `dismiss` differ in the operation that they call.

#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/runs/PublishingRun.h"

namespace xel::tools {

namespace {

using Receipt = bool (PushClientManager::*)(const OptionalText& messageId);

struct ReceiptChoice {
    ClientChoice client;
    std::string messageId;
};

void addReceiptCommand(CLI::App& program, const char* name, const char* help, Receipt receipt) {
    const auto choice = std::make_shared<ReceiptChoice>();
    CLI::App* command = program.add_subcommand(name, help);
    command->add_option("message-id", choice->messageId, "The message's id, as listen shows it")
        ->required()
        ->type_name("ID");
    addActionOptions(*command, choice->client);
    command->callback([choice, receipt] {
        const auto act = [&](PushClientManager& push) { return (push.*receipt)(choice->messageId); };
        PublishingRun(choice->client, findService(choice->client.service), {act}).run();
    });
}

}  // namespace

void addReceiptCommands(CLI::App& program) {
    addReceiptCommand(program, "seen", "Tell the service that the user has read a message",
                      &PushClientManager::markAsRead);
    addReceiptCommand(program, "dismiss", "Tell the service that the user has dismissed a message",
                      &PushClientManager::messageDismissed);
}

}  // namespace xel::tools
