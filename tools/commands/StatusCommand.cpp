#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Linux/Homes/HomeStore.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/System/LinuxFolders.h"
#include "tools/commands/Commands.h"
#include "tools/options/ClientChoice.h"
#include "tools/output/Output.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

namespace fs = std::filesystem;

struct StatusChoice {
    ServiceChoice service;
    std::string user;
    bool json = false;
};

class NoLog final : public LogSink {
public:
    void write(std::string_view /*line*/) override {}
};

/// Whether the service answers; its failure when not.
std::optional<CommandFailure> showService(const StatusChoice& choice) {
    try {
        const ServiceAccess access = findService(choice.service);
        const std::string where = access.restUrl;
        Dictionary record{{"type", "service"}, {"appId", access.appId}, {"rest", where}, {"running", true}};
        try {
            (void)getFromService(access, "sandbox/codes?limit=1");
            printLine(choice.json, record, "service  runs at " + where + " for application " + access.appId);
        } catch (const CommandFailure& failure) {
            record.set("running", false);
            record.set("reason", failure.what());
            printLine(choice.json, record, "service  does not serve at " + where + ": " + failure.what());
            return failure;
        }
    } catch (const CommandFailure& failure) {
        printLine(choice.json, {{"type", "service"}, {"running", false}, {"reason", failure.what()}},
                  std::string("service  ") + failure.what());
        return failure;
    }
    return std::nullopt;
}

std::string textOf(const NSUserDefaults& defaults, std::string_view key) {
    const auto value = defaults.objectForKey(key);
    return value && value->isString() ? *value->asString() : "";
}

std::size_t topicsOf(const NSUserDefaults& defaults) {
    const auto value = defaults.objectForKey(kUserChannelsKey);
    const Dictionary* topics = value ? value->asDictionary() : nullptr;
    return topics == nullptr ? 0 : topics->size();
}

/// Only one that is sound: opening a damaged one would set it aside, which is a client's to do, and to tell.
Result<Home> openSoundHome(const Machine& machine, const std::string& name) {
    if (const auto examined = HomeStore::examine(defaultStateFolder(name).value_or("")); !examined) {
        return examined.error();
    }
    LinuxOptions options;
    options.name = name;
    return openLinuxHome(options, machine);
}

void showClient(const StatusChoice& choice, const Machine& machine, const std::string& name) {
    Dictionary record{{"type", "client"}, {"name", name}};
    const auto home = openSoundHome(machine, name);
    if (!home) {
        record.set("reason", home.error().localizedDescription());
        printLine(choice.json, record, name + "  " + home.error().localizedDescription());
        return;
    }
    const NSUserDefaults& defaults = *home.value().defaults;
    const std::string user = textOf(defaults, kUserIdKey);
    const std::string installation = textOf(defaults, kDeviceIdKey);
    const auto topics = static_cast<std::int64_t>(topicsOf(defaults));
    record.set("user", user);
    record.set("installation", installation);
    record.set("topics", topics);
    std::string text = name + "  " + (user.empty() ? "no user" : "user " + user);
    text += installation.empty() ? ", not registered" : ", installation " + installation;
    printLine(choice.json, record, text + ", topics: " + std::to_string(topics));
}

/// The homes that are there, of one user or of all.
std::vector<std::string> homeNames(const std::string& user) {
    std::vector<std::string> names;
    const auto anyHome = defaultStateFolder("any");
    if (!anyHome) {
        return names;
    }
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(fs::path(*anyHome).parent_path(), error)) {
        const std::string name = entry.path().filename().string();
        const bool isOurs = user.empty() ? name.starts_with("listen-") || name.starts_with("command-")
                                         : name == homeNameOf(ClientKind::Listening, user) ||
                                               name == homeNameOf(ClientKind::Acting, user);
        if (isOurs && fs::exists(entry.path() / "home.db")) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

void showStatus(const StatusChoice& choice) {
    const std::optional<CommandFailure> failure = showService(choice);
    LinuxOptions options;
    options.logSink = std::make_shared<NoLog>();
    options.runLoop = std::make_shared<AsioRunLoop>();
    const Machine machine = makeLinuxMachine(options);
    for (const std::string& name : homeNames(choice.user)) {
        showClient(choice, machine, name);
    }
    if (failure) {
        throw CommandFailure(*failure);
    }
}

}  // namespace

void addStatusCommand(CLI::App& program) {
    const auto choice = std::make_shared<StatusChoice>();
    CLI::App* command =
        program.add_subcommand("status", "Show whether the service runs, and which clients have been here");
    command->footer(kExitCodesHelp);
    command->add_option("--user", choice->user, "Only the clients of this user")->type_name("ID");
    command->add_flag("--json", choice->json, "Print one JSON object a line");
    addServiceOptions(*command, choice->service);
    command->callback([choice] { showStatus(*choice); });
}

}  // namespace xel::tools
