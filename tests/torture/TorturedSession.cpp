#include "tests/torture/TorturedSession.h"

#include <algorithm>
#include <chrono>
#include <string>

namespace xel::torture {

namespace {

using namespace std::chrono_literals;

constexpr const char* kNews = "app/shop/user/public/news";
constexpr const char* kSports = "app/shop/user/public/sports";

}  // namespace

void TorturedSession::run() {
    useEverything();
    host_.drive(5min);
    connectAgain();
    compare("in the session");
    becomeAnother();
    host_.drive(5min);
    host_.strokes.heal();
    memoryStrokes().heal();
    connectAgain();
    compare("as another identity");
    goOnInANewLife();
}

void TorturedSession::useEverything() {
    host_.start();
    host_.drive(2s);
    for (const char* const id : {"a1", "a2", "a3"}) {
        send(id);
    }
    host_.drive(1s);
    publish("p1");
    publish("p2");
    host_.ask([](PushClientManager& push) {
        PushClientMessage message;
        message.channel = "news";
        message.messageBody = "live";
        message.live = true;
        return push.publish(message);
    });
    host_.ask([](PushClientManager& push) { return push.publishEvent("login", Dictionary{{"id", "e1"}}); });
    host_.ask([](PushClientManager& push) { return push.markAsRead("a1"); });
    host_.drive(1s);
    const bool wantsSports =
        host_.ask([](PushClientManager& push) { return push.subscribe("sports"), true; }).has_value();
    host_.drive(1s);
    const bool leavesNews =
        host_.ask([](PushClientManager& push) { return push.unsubscribe("news"), true; }).has_value();
    host_.drive(1s);
    if (wantsSports) {
        wanted_[kSports] = true;
    }
    if (leavesNews) {
        wanted_[kNews] = false;
    }
    host_.machine.broker->dropConnections();
    host_.drive(1s);
    publish("p3");
    send("a4");
    send("a5");
    host_.drive(10s);
    host_.ask([](PushClientManager& push) {
        return push.applicationCrashedWithUserInfo({{"why", "torture"}}, {.saveOnDisk = true}), true;
    });
    host_.drive(1s);
    publish("p4");
}

void TorturedSession::becomeAnother() {
    // What waits falls to the reset; what the host wanted goes with it.
    promised_.clear();
    wanted_.clear();
    host_.ask([](PushClientManager& push) { return push.reset(), true; });
    host_.drive(1s);
    host_.introduceItself();
    host_.drive(2s);
    send("b1");
    send("b2");
    host_.drive(1s);
    publish("q1");
    host_.drive(1s);
}

void TorturedSession::goOnInANewLife() {
    host_.kill();
    host_.start();
    host_.drive(5s);
    send("c1");
    host_.drive(5s);
    if (!host_.isConnected()) {
        fault("in a new life", "it does not connect");
    }
    compare("in a new life");
}

void TorturedSession::send(const std::string& id) {
    const std::string topic = "app/shop/user/alice01/default";
    if (host_.machine.broker->subscriptionsOf(TorturedHost::kClientId).contains(topic)) {
        sent_.insert(id);
    }
    host_.machine.broker->publish({topic, R"({"id":")" + id + R"(","messageBody":"b"})", 1, false});
}

void TorturedSession::publish(const std::string& text) {
    if (host_.ask([&](PushClientManager& push) { return push.publish("news", text); }).value_or(false)) {
        promised_.insert(text);
    }
}

void TorturedSession::rest(FakeRunLoop::Duration duration) {
    const bool hadFallen = heal();
    host_.drive(duration);
    if (heal() && !hadFallen) {
        host_.drive(duration);
    }
}

bool TorturedSession::heal() {
    const bool hasFallen = host_.strokes.hasFallen() || memoryStrokes().hasFallen();
    if (hasFallen) {
        host_.strokes.heal();
        memoryStrokes().heal();
    }
    return hasFallen;
}

void TorturedSession::connectAgain() {
    rest(5min);
    if (host_.isConnected()) {
        return;
    }
    wanted_.erase(kNews);  // which the host asks for when it registers
    if (host_.isRunning()) {
        host_.introduceItself();
    } else {
        host_.start();
    }
    rest(2min);
    if (host_.isConnected()) {
        recovery_ = std::max(recovery_, Recovery::ByIntroducing);
        return;
    }
    recovery_ = Recovery::ByRestarting;
    host_.kill();
    host_.start();
    rest(2min);
    if (!host_.isConnected()) {
        fault("after healing", "it never connects");
    } else if (host_.exceptions() == 0) {
        fault("after healing", "it connects only in a new life, though nothing was thrown");
    }
}

void TorturedSession::compare(std::string_view when) {
    // A message that could not be read has no id to be known by, and is reported as unreadable.
    std::size_t unreadable = host_.unreadableCount();
    const auto& received = host_.received();
    for (const std::string& id : sent_) {
        if (std::find(received.begin(), received.end(), id) != received.end()) {
            continue;
        }
        if (unreadable == 0) {
            fault(when, "message " + id + " is lost");
        } else {
            --unreadable;
        }
    }
    const auto published = host_.machine.broker->packetsOfType(FakeBrokerPacketType::Publish);
    for (const std::string& text : promised_) {
        const bool hasArrived = std::any_of(published.begin(), published.end(), [&](const auto& packet) {
            return packet.payload.find('"' + text + '"') != std::string::npos;
        });
        if (!hasArrived) {
            fault(when, "publication " + text + " is lost");
        }
    }
    const auto topics = host_.machine.broker->subscriptionsOf(TorturedHost::kClientId);
    for (const auto& [topic, isWanted] : wanted_) {
        if (topics.contains(topic) != isWanted) {
            fault(when, topic + (isWanted ? " is not subscribed to" : " is still subscribed to"));
        }
    }
    if (const auto waiting = host_.machine.broker->unacknowledgedCount(TorturedHost::kClientId);
        waiting > 0) {
        fault(when, std::to_string(waiting) + " messages are not acknowledged");
    }
    // Without memory not even a ping is sent, and the broker ends the connection.
    for (const std::string& breach : host_.machine.broker->faults()) {
        if (host_.exceptions() == 0 || breach.find("keep-alive") == std::string::npos) {
            fault(when, "breach: " + breach);
        }
    }
}

void TorturedSession::fault(std::string_view when, const std::string& what) {
    faults_.push_back(std::string(when) + ": " + what);
}

}  // namespace xel::torture
