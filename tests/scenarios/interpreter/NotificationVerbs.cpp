#include <set>

#include "tests/FirstAndLast.h"
#include "tests/scenarios/interpreter/Requirements.h"
#include "tests/scenarios/interpreter/VerbTable.h"

// Rich notifications and crash reports: what a host does, what the network brings, and what is then seen.

namespace xel::scenario {
namespace {

Dictionary takeDictionary(const ScenarioWorld& world, Words& words) {
    const auto document = world.readDocument(words.take("a document"));
    require(document.asDictionary() != nullptr, "the document is no object");
    return *document.asDictionary();
}

void showLocalRichNotification(ScenarioWorld& world, Words& words) {
    world.manager().showLocalRichNotificationWithPayload(takeDictionary(world, words));
}

/// "didReceiveNotificationRequest {user info}": a remote notification, in a service extension.
void didReceiveNotificationRequest(ScenarioWorld& world, Words& words) {
    UNNotificationRequest request{"remote", {}};
    request.content.userInfo = takeDictionary(world, words);
    world.manager().didReceiveNotificationRequest(request, [&world](const UNNotificationContent& content) {
        world.done.record({"enriched", {{"attachments", std::to_string(content.attachments.size())}}});
    });
}

/// "applicationCrashed {user info} [saveOnDisk]".
void applicationCrashed(ScenarioWorld& world, Words& words) {
    const auto userInfo = takeDictionary(world, words);
    world.manager().applicationCrashedWithUserInfo(userInfo, {.saveOnDisk = words.takeIf("saveOnDisk")});
}

std::string extensionOf(const std::string& file) {
    return file.substr(file.rfind('.'));
}

/// "on-screen none", "on-screen field value ...": the one notification that the user sees.
void expectOnScreen(ScenarioWorld& world, Words& words) {
    const auto& onScreen = world.machine->notificationCenter->onScreen();
    if (words.takeIf("none")) {
        require(onScreen.empty(), "there is a notification on screen");
        return;
    }
    requireEqual(std::to_string(onScreen.size()), "1", "the number of notifications on screen");
    const auto& content = firstOf(onScreen).content;
    Fields fields{{"identifier", firstOf(onScreen).identifier},
                  {"title", content.title.value_or("(null)")},
                  {"body", content.body.value_or("(null)")},
                  {"subtitle", content.subtitle.value_or("(null)")},
                  {"category", content.categoryIdentifier.value_or("(null)")},
                  {"badge", content.badge ? std::to_string(*content.badge) : "(null)"},
                  {"media", "none"}};
    for (const auto& attachment : content.attachments) {
        fields.back().second = extensionOf(attachment.file);
        fields.emplace_back("content", world.machine->files->contents(attachment.file).value_or("(null)"));
    }
    Journal one("notification");
    one.record({"notification", std::move(fields)});
    one.expectNext("notification", words.takeRest());
}

/// "category none", "category <identifier> <action>,<action>".
void expectCategory(ScenarioWorld& world, Words& words) {
    const auto& categories = world.machine->notificationCenter->categories();
    const auto identifier = words.take("an identifier");
    if (identifier == "none") {
        require(categories.empty(), "there is a category");
        return;
    }
    requireEqual(std::to_string(categories.size()), "1", "the number of categories");
    requireEqual(firstOf(categories).identifier, identifier, "the category");
    std::string actions;
    for (const auto& action : firstOf(categories).actions) {
        actions += (actions.empty() ? "" : ",") + action.identifier;
    }
    requireEqual(actions, words.take("actions"), "the actions");
}

/// "crash-files none", "crash-files <n> as sent": their contents are those of the newest requests.
void expectCrashFiles(ScenarioWorld& world, Words& words) {
    const std::string begin = world.home().documentsDirectory + "/crash-";
    std::multiset<std::string> contents;
    for (const auto& [path, content] : world.machine->files->files()) {
        if (path.starts_with(begin) && path.ends_with(".log")) {
            contents.insert(content);
        }
    }
    const auto count = words.take("a number");
    requireEqual(count == "none" ? "0" : count, std::to_string(contents.size()), "the number of files");
    if (!words.takeIf("as")) {
        return;
    }
    words.take("sent");
    for (const auto& request : world.collectedRequests) {
        contents.erase(request.body);
    }
    require(contents.empty(), "a file was not sent");
}

}  // namespace

const VerbTable& hostNotificationVerbs() {
    static const VerbTable verbs{
        {"showLocalRichNotification", showLocalRichNotification},
        {"didReceiveNotificationRequest", didReceiveNotificationRequest},
        {"applicationCrashed", applicationCrashed},
    };
    return verbs;
}

const VerbTable& notificationExpectations() {
    static const VerbTable verbs{
        {"on-screen", expectOnScreen},
        {"category", expectCategory},
        {"crash-files", expectCrashFiles},
    };
    return verbs;
}

/// "media answers <url> <status> [content]", "media fails <url> <reason>".
void performMedia(ScenarioWorld& world, Words& words) {
    const bool isFailing = words.takeIf("fails");
    if (!isFailing) {
        words.take("answers");
    }
    const auto url = words.take("a URL");
    if (isFailing) {
        const auto reason = words.take("a reason");
        world.machine->urlSession->fail(url, errorCodeNamed(reason), reason);
        return;
    }
    const auto status = static_cast<int>(words.takeNumber("a status"));
    world.machine->urlSession->answer(url, status, words.isAtEnd() ? "" : words.take("a content"));
}

}  // namespace xel::scenario
