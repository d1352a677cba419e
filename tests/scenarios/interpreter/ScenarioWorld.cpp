#include "tests/scenarios/interpreter/ScenarioWorld.h"

#include <algorithm>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/OnLeaving.h"
#include "tests/ClientNotifications.h"
#include "tests/scenarios/interpreter/Records.h"

namespace xel::scenario {
namespace {

constexpr std::string_view kStateReport = "ServerConnectionState";

}  // namespace

ScenarioWorld::ScenarioWorld()
    : machine(std::make_unique<FakeMachine>()), service(std::make_unique<SimulatedService>(*machine)) {
    // Scenarios are the sandbox's; one about production says so.
    PushClientManager::setDevelopment(true);
    serveNoRequests();
    static_cast<void>(actAs(""));
}

ScenarioWorld::~ScenarioWorld() {
    isDying_ = true;
    observer_ = nullptr;
    for (const auto& [name, client] : clients_) {
        client->isAlive = false;
        client->manager.reset();
    }
    PushClientManager::setDevelopment(false);
}

void ScenarioWorld::useMainLoopApart() {
    for (const auto& [name, client] : clients_) {
        if (client->manager) {
            throw ScenarioFailure("the loops are chosen before a client is made");
        }
    }
    service.reset();
    machine = std::make_unique<FakeMachine>(FakeMachineLoops::MainLoopApart);
    service = std::make_unique<SimulatedService>(*machine);
    serveNoRequests();
}

void ScenarioWorld::serveNoRequests() {
    // A scenario says itself what the backend answers, and when.
    service->backend().setServing(false);
}

std::string ScenarioWorld::actAs(const std::string& name) {
    auto& client = clients_[name];
    if (!client) {
        client = std::make_unique<ScenarioClient>();
        client->name = name;
    }
    const auto before = std::exchange(acting_, client.get());
    return before == nullptr ? name : before->name;
}

PushClientManager& ScenarioWorld::manager() {
    if (!acting_->manager) {
        makeClient(*acting_);
    }
    return *acting_->manager;
}

void ScenarioWorld::makeClient(ScenarioClient& client) {
    ++client.life;
    client.isAlive = true;
    auto ports = machine->machine();
    client.home = machine->makeHome(client.name.empty() ? "home" : client.name);
    if (observer_ != nullptr) {
        observer_->clientWillBegin(client, ports, client.home);
    }
    observeNotifications(client);
    client.manager = std::make_unique<PushClientManager>(std::move(ports), client.home);
    const auto host = std::make_shared<RecordingDelegate>(delegateEar(), stateReader());
    auto operations = operationsOverriddenBy<RecordingDelegate>();
    // Responding to it would say that the host shows notifications itself; scenarios about that add a
    // delegate.
    operations.insert(DelegateOperation::UILocalNotificationDidReceivedMessage, false);
    operations.insert(DelegateOperation::DidReceiveNotificationResponse, false);
    client.delegates["host"] = host;
    client.manager->addDelegate(host, operations);
}

std::function<void(JournalEntry entry)> ScenarioWorld::blockEar() {
    return ear(Channel::Block);
}

std::function<void(JournalEntry entry)> ScenarioWorld::delegateEar() {
    return ear(Channel::Delegate);
}

std::function<void(JournalEntry entry)> ScenarioWorld::ear(Channel channel) {
    static_cast<void>(manager());  // whose life it belongs to
    return [this, client = acting_, life = acting_->life, channel](JournalEntry entry) {
        hear(*client, life, channel, std::move(entry));
    };
}

std::function<std::string()> ScenarioWorld::stateReader() {
    return [client = acting_] {
        return client->manager ? std::string(client->manager->connectionStateString()) : "Disconnected";
    };
}

void ScenarioWorld::observeNotifications(ScenarioClient& client) {
    for (const auto name : kClientNotifications) {
        client.home.notificationCenter->addObserver(
            std::string(name), nullptr,
            [this, &client, life = client.life](const NSNotification& notification) {
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
                entry.fields.emplace_back(
                    "object", notification.object == client.manager.get() ? "manager" : "another");
                hear(client, life, Channel::Notification, std::move(entry));
            });
    }
}

void ScenarioWorld::hear(ScenarioClient& client, std::size_t life, Channel channel, JournalEntry entry) {
    if (isDying_) {
        return;
    }
    if (observer_ != nullptr) {
        observer_->hostHears(client, life, channel, entry);
    }
    static const std::map<Channel, std::pair<Journal ScenarioWorld::*, Journal ScenarioWorld::*>> journals{
        {Channel::Delegate, {&ScenarioWorld::callbacks, &ScenarioWorld::states}},
        {Channel::Block, {&ScenarioWorld::blocks, &ScenarioWorld::blockStates}},
        {Channel::Notification, {&ScenarioWorld::notifications, &ScenarioWorld::notificationStates}},
    };
    const auto [journal, stateJournal] = journals.at(channel);
    const std::string name = entry.name;
    const bool isStateReport =
        name.find(kStateReport) != std::string::npos || name == "serverConnectionStateHandler";
    if (isStateReport) {
        const std::string state =
            client.manager ? std::string(client.manager->connectionStateString()) : "Disconnected";
        (this->*stateJournal).record({client.qualified(state), {}});
    } else {
        entry.name = client.qualified(name);
        (this->*journal).record(std::move(entry));
    }
    runInside(client, name);
}

void ScenarioWorld::arrangeInside(const std::string& callback, std::vector<std::string> step,
                                  bool isCatching) {
    acting_->insides.emplace(callback, ScenarioClient::Inside{std::move(step), isCatching});
}

void ScenarioWorld::runInside(ScenarioClient& client, const std::string& callback) {
    const auto at = client.insides.find(callback);
    if (at == client.insides.end()) {
        return;
    }
    const auto inside = at->second;
    client.insides.erase(at);
    const auto before = actAs(client.name);
    const OnLeaving goBack([&] { static_cast<void>(actAs(before)); });
    if (!inside.isCatching) {
        performInside(inside);
        return;
    }
    try {
        performInside(inside);
    } catch (const ScenarioFailure&) {
        throw;
    } catch (const std::exception& refusal) {
        lastRefusal = refusal.what();
    }
}

void ScenarioWorld::performInside(const ScenarioClient::Inside& inside) {
    if (inside.step == std::vector<std::string>{"quit"}) {
        quit();
    } else if (inside.step == std::vector<std::string>{"kill"}) {
        // Of what is still done while the stack unwinds nothing reaches anybody.
        isDying_ = true;
        machine->disk->killProcess();
        throw ProcessKilled();
    } else {
        actAsHost(inside.step);
    }
}

void ScenarioWorld::actAsHost(const std::vector<std::string>& step) {
    Words words(step);
    if (observer_ == nullptr) {
        performHost(*this, words);
        return;
    }
    const ScenarioClient& client = *acting_;
    observer_->hostWillAct(client, step);
    // Also when it throws, after what it did.
    const OnLeaving tell([&] { observer_->hostHasActed(client, step); });
    performHost(*this, words);
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
    const auto fault = parseFault(step.text);
    const Verb verb = fault ? nullptr : verbNamed(name);
    const bool isExpectation = name == "expect" || name == "forget";
    if (exception_ && !isExpectation) {
        throw ScenarioFailure("an exception was not expected: " + *exception_);
    }
    try {
        if (fault) {
            service->inject(fault.value());
        } else {
            verb(*this, words);
            words.requireEnd();
        }
        if (!isExpectation) {
            letHappen();
        }
    } catch (const ScenarioFailure&) {
        throw;
    } catch (const ProcessKilled&) {
        kill();
    } catch (const std::exception& exception) {
        exception_ = exception.what();
    }
    collect();
}

void ScenarioWorld::finish() {
    if (exception_) {
        throw ScenarioFailure("an exception was not expected: " + *exception_);
    }
    for (const auto& [name, client] : clients_) {
        for (const auto& [callback, inside] : client->insides) {
            throw ScenarioFailure("what was to happen inside " + client->qualified(callback) + " never did");
        }
    }
    if (!machine->broker->faults().empty()) {
        throw ScenarioFailure("the client broke the protocol: " + machine->broker->faults().front());
    }
}

void ScenarioWorld::kill() {
    isDying_ = true;
    machine->kill([this] {
        for (const auto& [name, client] : clients_) {
            end(*client);
            client->insides.clear();
        }
    });
    isDying_ = false;
}

void ScenarioWorld::quit() {
    end(*acting_);
}

void ScenarioWorld::end(ScenarioClient& client) {
    const bool wasThere = std::exchange(client.isAlive, false);
    // Out of the client first: while it goes, a host that asks for its state finds none.
    const auto manager = std::move(client.manager);
    const auto delegates = std::move(client.delegates);
    client.delegates.clear();
    client.home = Home();
    if (wasThere && observer_ != nullptr) {
        observer_->clientHasEnded(client);
    }
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
        if (observer_ != nullptr) {
            observer_->packetReachedBroker(record);
        }
        switch (record.packet.type) {
            case FakeBrokerPacketType::PubAck: acknowledgements.record(entryOf(record)); break;
            case FakeBrokerPacketType::PingReq: break;  // its own business of the session
            default: packets.record(entryOf(record)); break;
        }
    }
    machine->broker->clearRecords();
}

}  // namespace xel::scenario
