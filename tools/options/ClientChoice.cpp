#include "tools/options/ClientChoice.h"

#include <map>

#include "tools/options/OptionTypes.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kUsualTimeout = 30s;
constexpr std::size_t kLargestCount = 1'000'000'000;

}  // namespace

void addClientOptions(CLI::App& command, ClientChoice& choice) {
    command.footer(kExitCodesHelp);
    command.add_option("--user", choice.user, "The user id to act as")->required()->type_name("ID");
    command.add_flag("--plain", choice.usingPlainMQTT, "Connect to the broker without TLS");
    command.add_flag("--json", choice.json, "Print one JSON object a line");
    command.add_option("--state-folder", choice.stateFolder, "Where this client keeps its state")
        ->type_name("FOLDER");
    command.add_flag("--verbose,-v", choice.verbose, "Show the client's log on standard error");
    command
        .add_option(
            "--diagnostics", choice.diagnosticsFile,
            "Append to this file, as JSON, what no callback tells: each attempt to connect, what is dropped")
        ->type_name("FILE");
    addServiceOptions(command, choice.service);
    addBrokerOptions(command, choice.service);
}

void addActionOptions(CLI::App& command, ClientChoice& choice) {
    addClientOptions(command, choice);
    choice.timeout = kUsualTimeout;
    addDurationOption(command, "--timeout", choice.timeout, "Give up after so long, with exit code 3 or 5")
        ->default_str("30s");
}

void addKindOption(CLI::App& command, ClientChoice& choice) {
    static const std::map<std::string, ClientKind> kKinds{{"listen", ClientKind::Listening},
                                                          {"command", ClientKind::Acting}};
    choice.kind = ClientKind::Listening;
    command
        .add_option("--client", choice.kind,
                    "Which of the user's clients: the one that listens, or the one of the other commands")
        ->transform(CLI::CheckedTransformer(kKinds).description("listen|command"))
        ->default_str("listen");
}

std::string homeNameOf(ClientKind kind, const std::string& user) {
    return (kind == ClientKind::Listening ? "listen-" : "command-") + user;
}

void addListenOptions(CLI::App& command, ListenOptions& options) {
    addClientOptions(command, options.client);
    command.add_option("--count", options.count, "End after so many messages, events and delivery reports")
        ->check(CLI::Range(std::size_t{1}, kLargestCount))
        ->type_name("NUMBER");
    addDurationOption(command, "--timeout", options.client.timeout,
                      "End after so long; exit code 3 when --count is not reached");
}

}  // namespace xel::tools
