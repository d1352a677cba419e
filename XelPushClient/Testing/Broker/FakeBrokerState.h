#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "XelPushClient/Testing/Broker/FakeBroker.h"

// What `FakeBroker` is made of; not for tests.

namespace xel {

/// What the broker keeps for a client id.
struct FakeBroker::Session {
    struct InFlight {
        std::uint16_t packetId = 0;
        FakeBrokerPublication publication;
    };

    bool isKept = false;
    TopicTable subscriptions;
    std::deque<InFlight> inFlight;
    std::deque<FakeBrokerPublication> queued;
    std::uint16_t lastPacketId = 0;
    std::weak_ptr<Client> client;

    std::uint16_t takePacketId() {
        const auto isUsed = [this](std::uint16_t id) {
            return std::any_of(inFlight.begin(), inFlight.end(),
                               [&](const auto& flight) { return flight.packetId == id; });
        };
        do {
            ++lastPacketId;
        } while (lastPacketId == 0 || isUsed(lastPacketId));
        return lastPacketId;
    }
};

/// One connection, from its acceptance to its end.
struct FakeBroker::Client {
    std::shared_ptr<FakeConnection> connection;
    FakeBrokerPacketReader reader;
    std::string clientId;
    std::shared_ptr<Session> session;  ///< set once CONNECT was accepted
    bool hasConnected = false;         ///< CONNECT was read
    bool isReady = false;              ///< CONNACK was sent: publications may follow
    std::chrono::seconds keepAlive{0};
    FakeRunLoop::Duration lastHeard{0};
};

}  // namespace xel
