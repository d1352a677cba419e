#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/OptionTypes.h"
#include "tools/runs/CrashRun.h"
#include "tools/runs/RequestRun.h"

namespace xel::tools {

namespace {

constexpr const char* kCheckHelp =
    "The code stands in the file, in XELPUSH_VERIFICATION_CODE, or else on the first line of standard\n"
    "input. Exit code 1: it is not the user's current code.";

struct CheckChoice {
    ClientChoice client;
    std::string codeFile;
};

void requestCode(const ClientChoice& choice) {
    const auto act = [&choice](PushClientManager& push, const RequestRun::Outcome& outcome) {
        push.requestVerificationCode(
            choice.user, [&choice, outcome](bool isSent, const std::optional<NSError>& error) {
                if (error) {
                    outcome.failed(*error);
                } else if (isSent) {
                    outcome.succeeded({{"user", choice.user}, {"sent", true}},
                                      "a code was sent to " + choice.user +
                                          "; the local push service shows it: xelpush sandbox codes");
                } else {
                    outcome.denied({{"user", choice.user}, {"sent", false}}, "no code was sent");
                }
            });
    };
    RequestRun(choice, findService(choice.service), act).run();
}

std::string readCode(const CheckChoice& choice) {
    if (!choice.codeFile.empty()) {
        return secretFromFile(choice.codeFile);
    }
    if (const char* code = std::getenv("XELPUSH_VERIFICATION_CODE"); code != nullptr && *code != '\0') {
        return code;
    }
    std::string code;
    std::getline(std::cin, code);
    if (code.empty()) {
        throw CommandFailure(
            ExitCode::Usage,
            "no code is given; set XELPUSH_VERIFICATION_CODE, give --code-file, or write the "
            "code on standard input");
    }
    return code;
}

void checkCode(const CheckChoice& choice) {
    const ServiceAccess access = findService(choice.client.service);
    const std::string code = readCode(choice);
    const std::string& user = choice.client.user;
    const auto act = [&](PushClientManager& push, const RequestRun::Outcome& outcome) {
        push.verifyUserCode(user, code, [&user, outcome](bool isRight, const std::optional<NSError>& error) {
            const Dictionary record{{"user", user}, {"verified", isRight}};
            if (error) {
                outcome.failed(*error);
            } else if (isRight) {
                outcome.succeeded(record, user + " is verified");
            } else {
                outcome.denied(record, "this is not the current code of " + user);
            }
        });
    };
    RequestRun(choice.client, access, act).run();
}

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

void addVerifyCommand(CLI::App& program) {
    CLI::App* verify = program.add_subcommand("verify", "Verify a user by a code");
    verify->footer(kExitCodesHelp);
    verify->require_subcommand(1);

    const auto request = std::make_shared<ClientChoice>();
    CLI::App* requestCommand = verify->add_subcommand("request", "Have a code sent to the user");
    addActionOptions(*requestCommand, *request);
    requestCommand->callback([request] { requestCode(*request); });

    const auto check = std::make_shared<CheckChoice>();
    CLI::App* checkCommand = verify->add_subcommand("check", "Check the code that the user was sent");
    checkCommand->add_option("--code-file", check->codeFile, "File that holds the code")
        ->check(CLI::ExistingFile)
        ->type_name("FILE");
    addActionOptions(*checkCommand, check->client);
    checkCommand->footer(std::string(kCheckHelp) + "\n\n" + kExitCodesHelp);
    checkCommand->callback([check] { checkCode(*check); });
}

void addTagCommand(CLI::App& program) {
    CLI::App* tag = program.add_subcommand("tag", "Add a tag to a user's installations, or remove one");
    tag->footer(kExitCodesHelp);
    tag->require_subcommand(1);
    addChange(*tag, "add", "Add a tag to every installation that the user has now", true);
    addChange(*tag, "remove", "Remove a tag from the user's installations", false);
}

void addCrashCommand(CLI::App& program) {
    const auto options = std::make_shared<CrashOptions>();
    CLI::App* command = program.add_subcommand("crash", "As a user's client, send a crash report");
    command->add_option("--data", options->data, "The host's own data")
        ->check(jsonObject())
        ->capture_default_str();
    command->add_flag("--save", options->saveOnDisk,
                      "Write the report to a file beside the client's state, too");
    addActionOptions(*command, options->client);
    command->callback([options] { CrashRun(*options, findService(options->client.service)).run(); });
}

}  // namespace xel::tools
