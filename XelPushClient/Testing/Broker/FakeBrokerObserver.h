#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/Broker/FakeBrokerSessions.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {

/// One packet between a client and the broker.
struct FakeBrokerRecord {
    std::string clientId;
    FakeBrokerPacket packet;
    FakeRunLoop::Duration time{0};  ///< the loop's `elapsed` when the broker read or wrote it
};

/// Hears what a `FakeBroker` does, as it happens. Changes nothing of the broker from inside. Every
/// operation is optional. Thread: the broker's run loop.
class FakeBrokerObserver {
public:
    virtual ~FakeBrokerObserver() = default;

    /// Every packet that a client sent, whatever became of it.
    virtual void brokerDidReceive(const FakeBrokerRecord& record) { static_cast<void>(record); }
    /// Every packet that the broker sent to a client.
    virtual void brokerDidSend(const FakeBrokerRecord& record) { static_cast<void>(record); }
    /// Octets that it sent as they are.
    virtual void brokerDidSendOctets(std::string_view octets) { static_cast<void>(octets); }

    /// A client's publication was taken: the broker answers for it from now on.
    virtual void brokerDidTake(std::string_view clientId, const FakeBrokerPublication& publication) {
        static_cast<void>(clientId), static_cast<void>(publication);
    }
    /// A publication entered a client's session, to be sent in its turn.
    virtual void brokerDidQueue(std::string_view clientId, const FakeBrokerPublication& publication) {
        static_cast<void>(clientId), static_cast<void>(publication);
    }
    /// The client acknowledged a publication, which has left its session.
    virtual void brokerDidHearAcknowledgement(std::string_view clientId,
                                              const FakeBrokerPublication& publication) {
        static_cast<void>(clientId), static_cast<void>(publication);
    }
    /// A session was lost with everything that waited in it.
    virtual void brokerDidForgetSession(std::string_view clientId) { static_cast<void>(clientId); }
    /// A connection has ended, on whichever side.
    virtual void brokerDidLoseClient(std::string_view clientId) { static_cast<void>(clientId); }
};

}  // namespace xel
