#include "tests/matrix/support/KilledGateway.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/contract/Process/ChildOfTest.h"
#include "tests/kill/ReceivedLog.h"
#include "tests/matrix/support/MatrixGateway.h"

namespace xel::matrix {

namespace {

constexpr const char* kAlive = "alive";        // a life has begun
constexpr const char* kGot = "got";            // with client and text
constexpr const char* kPromised = "promised";  // likewise
constexpr const char* kRefused = "refused";    // likewise

/// The client behind those that get the messages.
constexpr std::size_t kOffline = KilledGateway::kClients;

std::string answerTo(const std::string& text, std::size_t client) {
    return "answer to " + text + " by " + std::to_string(client);
}

std::string greetingIn(std::size_t start, std::size_t client) {
    return "greeting " + std::to_string(start) + " of " + std::to_string(client);
}

template <class Condition>
bool waitUntil(const Condition& done) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

}  // namespace

KilledGateway::KilledGateway(RealBroker& broker, std::string folder)
    : broker_(broker), folder_(std::move(folder)), correspondent_(broker.port()) {}

std::string KilledGateway::textOf(std::size_t life) {
    return "message-" + std::to_string(life);
}

int KilledGateway::live(Life life) const {
    killtest::ReceivedLog log(notePath());
    log.note(kAlive);
    MatrixGateway* self = nullptr;
    const auto didReceive = [&](std::size_t client, const std::string& text) {
        const std::string ofClient = " " + std::to_string(client) + " " + text;
        log.note(kGot + ofClient);
        // Into the store alone: the one that says it is offline in this life.
        if (self->push(kOffline).publish("news", answerTo(text, client))) {
            log.note(kPromised + ofClient);
        } else {
            log.note(kRefused + ofClient);
        }
    };
    MatrixGateway gateway(
        {.port = broker_.port(), .folder = folder_, .clients = kClients + 1, .didReceive = didReceive});
    self = &gateway;
    gateway.connectAll();
    if (life == Life::WithOneOffline) {
        gateway.push(kOffline).disconnectFromServer();
    }
    const auto areOnline = [&] {
        const auto connected = gateway.connected();
        const auto expected = kClients + (life == Life::OfAll ? 1 : 0);
        return connected.size() == expected && connected.back() == expected - 1;
    };
    if (!runUntil(gateway.loop(), areOnline)) {
        throw std::runtime_error("not all clients of the gateway connect");
    }
    // Behind their topics: whoever has these may send.
    for (std::size_t client = 0; client < kClients; ++client) {
        gateway.push(client).publish("news", greetingIn(starts_, client));
    }
    gateway.loop().run();
    throw std::logic_error("the loop of the gateway has ended");
}

int KilledGateway::start(Life life) {
    ++starts_;
    const pid_t child = contract::startChild([this, life] { return live(life); });
    for (std::size_t client = 0; client < kClients; ++client) {
        if (!waitUntil([&] { return correspondent_.has(greetingIn(starts_, client)); })) {
            throw std::runtime_error("a client of the gateway does not come");
        }
    }
    return child;
}

void KilledGateway::liveUntil(std::size_t received) {
    const std::string text = textOf(++lives_);
    const pid_t child = start(Life::WithOneOffline);
    // Meanwhile the messages wait in the sockets, so that it finds all of them at one look.
    kill(child, SIGSTOP);
    waitpid(child, nullptr, WUNTRACED);
    for (std::size_t client = 0; client < kClients; ++client) {
        correspondent_.send(text, MatrixGateway::nameOf(client));
    }
    kill(child, SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return countOf(kGot, text) >= received; }));
    kill(child, SIGKILL);
    EXPECT_EQ(contract::statusOf(child), -SIGKILL);
}

bool KilledGateway::liveInPeace() {
    const pid_t child = start(Life::OfAll);
    const bool isComplete = waitUntil([this] { return describeMissing().empty(); });
    kill(child, SIGKILL);
    return contract::statusOf(child) == -SIGKILL && isComplete;
}

std::string KilledGateway::describeMissing() {
    std::string missing;
    for (std::size_t client = 0; client < kClients; ++client) {
        const std::size_t got = inboxOf(client).firstTimes.size();
        if (got < lives_) {
            missing += "client " + std::to_string(client) + " has " + std::to_string(got) + " messages\n";
        }
    }
    for (const Note& note : notes()) {
        if (note.what == kPromised && !correspondent_.has(answerTo(note.text, note.client))) {
            missing += answerTo(note.text, note.client) + " has not come\n";
        }
        if (note.what == kRefused) {
            missing += answerTo(note.text, note.client) + " was refused\n";
        }
    }
    return missing;
}

KilledGateway::Inbox KilledGateway::inboxOf(std::size_t client) const {
    Inbox inbox;
    std::vector<std::string> ofThisLife;
    const auto keep = [](std::vector<std::string>& texts, const std::string& text) {
        const bool isNew = std::find(texts.begin(), texts.end(), text) == texts.end();
        if (isNew) {
            texts.push_back(text);
        }
        return isNew;
    };
    for (const Note& note : notes()) {
        if (note.what == kAlive) {
            ofThisLife.clear();
        } else if (note.what == kGot && note.client == client) {
            inbox.hasTwiceInALife = !keep(ofThisLife, note.text) || inbox.hasTwiceInALife;
            keep(inbox.firstTimes, note.text);
        }
    }
    return inbox;
}

std::vector<KilledGateway::Note> KilledGateway::notes() const {
    std::ifstream file(notePath());
    std::vector<Note> notes;
    for (std::string what; file >> what;) {
        Note note{.what = what};
        if (what != kAlive) {
            file >> note.client >> note.text;
        }
        notes.push_back(std::move(note));
    }
    return notes;
}

std::size_t KilledGateway::countOf(const std::string& what, const std::string& text) const {
    const auto all = notes();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const Note& note) { return note.what == what && note.text == text; }));
}

}  // namespace xel::matrix
