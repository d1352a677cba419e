#include "tests/torture/TorturedHost.h"

#include <algorithm>
#include <exception>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"

namespace xel::torture {

namespace {

/// One run in which more travels out of the loop goes round in circles.
constexpr std::size_t kMostExceptions = 20'000;

}  // namespace

TorturedHost::TorturedHost()
    : runLoop_(std::make_shared<TorturedRunLoop>(machine.runLoop)),
      diagnostics_(std::make_shared<RecordingDiagnostics>()),
      application_(std::make_shared<FakeApplication>(runLoop_)) {
    machine.http->answerAlways("POST", "installations", 200, R"({"id":"D1"})");
    machine.http->answerAlways("PUT", "installations/D1", 200, R"({"id":"D1"})");
    machine.http->answerAlways("POST", "*", 200, "{}");
}

TorturedHost::~TorturedHost() {
    kill();
}

Machine TorturedHost::makeMachine() const {
    // Without const: the strokes count what the ports are asked for.
    Strokes& counted = const_cast<Strokes&>(strokes);
    Machine tortured = machine.machine();
    tortured.runLoop = runLoop_;
    tortured.mainRunLoop = runLoop_;
    tortured.application = application_;
    tortured.sessions = std::make_shared<MQTTClientSessionFactory>(
        std::make_shared<TorturedStreams>(machine.network, machine.runLoop, counted), machine.clock,
        runLoop_.get());
    tortured.http = std::make_shared<TorturedHTTP>(machine.http, machine.runLoop, counted);
    tortured.files = std::make_shared<TorturedFiles>(machine.files, counted);
    tortured.operationQueues = std::make_shared<TorturedQueues>(machine.operationQueues, counted);
    tortured.json = std::make_shared<TorturedJSON>(machine.json, counted);
    return tortured;
}

Home TorturedHost::makeHome() {
    Home home = machine.makeHome();
    home.defaults = std::make_shared<TorturedDefaults>(home.defaults, strokes);
    home.sessionMemory = std::make_shared<TorturedMemory>(home.sessionMemory, strokes);
    home.diagnostics = diagnostics_;
    return home;
}

bool TorturedHost::start() {
    try {
        Machine tortured = makeMachine();
        Home home = makeHome();
        const InClient in;
        push_ = std::make_unique<PushClientManager>(std::move(tortured), std::move(home));
    } catch (const std::exception&) {
        ++exceptions_;
        return false;
    }
    push_->setMessageUILocalNotificationHandler([](const PushClientMessage&) {});
    push_->setMessageHandler([this](const PushClientMessage& message) {
        const OutsideClient outside;
        received_.push_back(message.id.value_or("none"));
    });
    introduceItself();
    return true;
}

void TorturedHost::kill() {
    machine.broker->dropConnections();
    push_.reset();
    machine.discardPostedWork();
}

void TorturedHost::introduceItself() {
    ask([](PushClientManager& push) { return push.registerApplication("shop", "key", "user", "password"); });
    ask([](PushClientManager& push) { return push.registerUser("alice01", {"news"}); });
}

void TorturedHost::drive(FakeRunLoop::Duration duration) {
    const auto end = machine.runLoop->elapsed() + duration;
    for (std::size_t inARow = 0; machine.runLoop->elapsed() < end || machine.runLoop->hasWorkDue();
         ++inARow) {
        if (inARow == kMostExceptions) {
            throw std::runtime_error("the client throws for ever");
        }
        try {
            machine.runLoop->advanceTo(end);
        } catch (const std::bad_alloc&) {
            ++exceptions_;
        } catch (const std::system_error&) {
            ++exceptions_;
        }
    }
}

bool TorturedHost::isConnected() const {
    return push_ != nullptr && push_->connectionStateString() == "Connected" &&
           machine.broker->isConnected(kClientId);
}

std::size_t TorturedHost::unreadableCount() const {
    const auto drops = diagnostics_->recordsOf<PublicationDropped>();
    return static_cast<std::size_t>(std::count_if(drops.begin(), drops.end(), [](const auto& drop) {
        return drop.direction == PublicationDirection::Inbound &&
               drop.reason == PublicationDropReason::Unreadable;
    }));
}

}  // namespace xel::torture
