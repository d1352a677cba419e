#include "tests/scenarios/interpreter/ScenarioWorld.h"

#include <algorithm>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tests/ClientNotifications.h"
#include "tests/scenarios/interpreter/Records.h"

namespace xel::scenario {
namespace {

constexpr std::string_view kStateReport = "ServerConnectionState";

}  // namespace

ScenarioWorld::ScenarioWorld() : machine(std::make_unique<FakeMachine>()) {
    // Scenarios are the sandbox's; one about production says so.
    PushClientManager::setDevelopment(true);
}

ScenarioWorld::~ScenarioWorld() {
    isDying_ = true;
    manager_.reset();
    PushClientManager::setDevelopment(false);
}

void ScenarioWorld::useMainLoopApart() {
    if (manager_) {
        throw ScenarioFailure("the loops are chosen before the client is made");
    }
    machine = std::make_unique<FakeMachine>(FakeMachineLoops::MainLoopApart);
}

PushClientManager& ScenarioWorld::manager() {
    if (!manager_) {
        makeClient();
    }
    return *manager_;
}

void ScenarioWorld::makeClient() {
    home_ = machine->makeHome();
    observeNotifications();
    manager_ = std::make_unique<PushClientManager>(machine->machine(), home_);
    const auto host = std::make_shared<RecordingDelegate>(
        [this](JournalEntry entry) { hearFromDelegate(std::move(entry)); },
        [this] { return std::string(manager_->connectionStateString()); });
    auto operations = operationsOverriddenBy<RecordingDelegate>();
    // Responding to it would say that the host shows notifications itself; scenarios about that add a
    // delegate.
    operations.insert(DelegateOperation::UILocalNotificationDidReceivedMessage, false);
    operations.insert(DelegateOperation::DidReceiveNotificationResponse, false);
    delegates["host"] = host;
    manager_->addDelegate(host, operations);
}

void ScenarioWorld::observeNotifications() {
    for (const auto name : kClientNotifications) {
        home_.notificationCenter->addObserver(
            std::string(name), nullptr, [this](const NSNotification& notification) {
                JournalEntry entry{notification.name, {}};
                const auto& info = notification.userInfo;
                if (const auto* reachable = info.get<bool>("reachable")) {
                    entry.fields.emplace_back("reachable", yesOrNo(*reachable));
                }
                if (const auto* network = info.get<unsigned>("networkType")) {
                    entry.fields.emplace_back("networkType", std::to_string(*network));
                }
                if (const auto* error = info.get<NSError>("error")) {
                    entry.fields = fieldsOf(*error);
                }
                for (const auto* key : {"sent", "sentRequst", "verifyUserCode"}) {
                    if (const auto* flag = info.get<bool>(key)) {
                        entry.fields.emplace_back(key, yesOrNo(*flag));
                    }
                }
                if (const auto* message = info.get<PushClientMessage>("message")) {
                    entry.fields = fieldsOf(*message);
                }
                entry.fields.emplace_back("details", std::to_string(info.size()));
                entry.fields.emplace_back("object",
                                          notification.object == manager_.get() ? "manager" : "another");
                hear(notifications, notificationStates, std::move(entry));
            });
    }
}

void ScenarioWorld::hear(Journal& journal, Journal& stateJournal, JournalEntry entry) {
    if (isDying_) {
        return;
    }
    const std::string name = entry.name;
    const bool isStateReport =
        name.find(kStateReport) != std::string::npos || name == "serverConnectionStateHandler";
    if (isStateReport) {
        stateJournal.record({manager_ ? std::string(manager_->connectionStateString()) : "Disconnected", {}});
    } else {
        journal.record(std::move(entry));
    }
    runInside(name);
}

void ScenarioWorld::arrangeInside(const std::string& callback, std::vector<std::string> hostStep,
                                  bool isCatching) {
    insides_.emplace(callback, Inside{std::move(hostStep), isCatching});
}

void ScenarioWorld::runInside(const std::string& callback) {
    const auto at = insides_.find(callback);
    if (at == insides_.end()) {
        return;
    }
    const auto inside = at->second;
    insides_.erase(at);
    Words words(inside.hostStep);
    if (!inside.isCatching) {
        performHost(*this, words);
        return;
    }
    try {
        performHost(*this, words);
    } catch (const ScenarioFailure&) {
        throw;
    } catch (const std::exception& refusal) {
        lastRefusal = refusal.what();
    }
}

void ScenarioWorld::letHappen(FakeRunLoop::Duration duration) {
    if (!isPaused_) {
        machine->advanceBy(duration);
    }
}

std::optional<std::string> ScenarioWorld::takeException() {
    return std::exchange(exception_, std::nullopt);
}

void ScenarioWorld::perform(const Step& step) {
    Words words(step.words);
    const auto name = words.take("a verb");
    const auto verb = verbNamed(name);
    const bool isExpectation = name == "expect" || name == "forget";
    if (exception_ && !isExpectation) {
        throw ScenarioFailure("an exception was not expected: " + *exception_);
    }
    try {
        verb(*this, words);
        words.requireEnd();
        if (!isExpectation) {
            letHappen();
        }
    } catch (const ScenarioFailure&) {
        throw;
    } catch (const std::exception& exception) {
        exception_ = exception.what();
    }
    collect();
}

void ScenarioWorld::finish() {
    if (exception_) {
        throw ScenarioFailure("an exception was not expected: " + *exception_);
    }
    for (const auto& [callback, inside] : insides_) {
        throw ScenarioFailure("what was to happen inside " + callback + " never did");
    }
    if (!machine->broker->faults().empty()) {
        throw ScenarioFailure("the client broke the protocol: " + machine->broker->faults().front());
    }
}

void ScenarioWorld::kill() {
    machine->broker->dropConnections();
    machine->disk->setFailingCommits(true);
    isDying_ = true;
    machine->discardPostedWork();
    delegates.clear();
    manager_.reset();
    home_ = Home();
    machine->discardPostedWork();
    machine->disk->setFailingCommits(false);
    isDying_ = false;
}

void ScenarioWorld::quit() {
    manager_.reset();
    delegates.clear();
    home_ = Home();
}

std::string ScenarioWorld::filled(std::string text) const {
    constexpr std::string_view kNow = "$now";
    for (auto at = text.find(kNow); at != std::string::npos; at = text.find(kNow, at)) {
        auto end = at + kNow.size();
        long long shift = 0;
        if (end < text.size() && (text[end] == '+' || text[end] == '-')) {
            const auto digits = text.find_first_not_of("0123456789", end + 1);
            shift = std::stoll(text.substr(end, digits - end));
            end = std::min(digits, text.size());
        }
        const auto now = millisecondsSince1970(machine->clock->now());
        text.replace(at, end - at, formatted("%.0f", now + static_cast<double>(shift)));
    }
    for (const auto& [name, value] : kept) {
        const auto placeholder = "$" + name;
        for (auto at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at)) {
            text.replace(at, placeholder.size(), value);
            at += value.size();
        }
    }
    return text;
}

Value ScenarioWorld::readDocument(const std::string& text) const {
    auto read = machine->json->JSONObjectWithData(filled(text));
    if (!read) {
        throw ScenarioFailure("not a JSON document: " + text);
    }
    return std::move(read).value();
}

void ScenarioWorld::collect() {
    collectPackets();
    const auto& connections = machine->network->connections();
    for (; collectedConnections_ < connections.size(); ++collectedConnections_) {
        const auto& connection = *connections[collectedConnections_];
        attempts.record(
            {connection.host(),
             {{"port", std::to_string(connection.port())}, {"tls", yesOrNo(connection.isUsingTLS())}}});
    }
    for (auto& request : machine->http->requests()) {
        requests.record({request.method, {{"url", request.url}, {"body", request.body}}});
        collectedRequests.push_back(std::move(request));
    }
    machine->http->clearRequests();
    const auto& presented = machine->application->presentedNotifications();
    for (; collectedShown_ < presented.size(); ++collectedShown_) {
        const auto& one = presented[collectedShown_];
        shown.record({"notification",
                      {{"title", one.alertTitle.value_or("(null)")},
                       {"body", one.alertBody.value_or("(null)")},
                       {"sound", one.soundName.value_or("(null)")},
                       {"badge", std::to_string(one.applicationIconBadgeNumber)},
                       {"info", printJSON(one.userInfo, JSONLayout::OneLine)}}});
    }
    for (auto& line : machine->logSink->lines()) {
        logLines.push_back(std::move(line));
    }
    machine->logSink->clear();
}

void ScenarioWorld::collectPackets() {
    for (const auto& record : machine->broker->records()) {
        switch (record.packet.type) {
            case FakeBrokerPacketType::PubAck: acknowledgements.record(entryOf(record)); break;
            case FakeBrokerPacketType::PingReq: break;  // its own business of the session
            default: packets.record(entryOf(record)); break;
        }
    }
    machine->broker->clearRecords();
}

}  // namespace xel::scenario
