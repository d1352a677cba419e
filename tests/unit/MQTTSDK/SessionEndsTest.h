#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/unit/MQTTSDK/SessionTest.h"

namespace xel {

/// A session whose broker ends connections on something that it was sent.
class SessionEnds : public SessionTest {
protected:
    enum class End { InOrder, Reset, Lost };

    void end(End how = End::InOrder) {
        switch (how) {
            case End::InOrder: connection().endByPeer(); break;
            case End::Reset: connection().fail(ByteStreamErrorCode::ConnectionReset, "reset by peer"); break;
            case End::Lost: connection().fail(ByteStreamErrorCode::ConnectionLost, "timed out"); break;
        }
        run();
    }

    void publish(std::string_view data) { EXPECT_TRUE(session->publishDataAtLeastOnce(data, "t", false)); }

    /// What is written after CONNECT on a new connection.
    Lines writtenAfterConnect(bool sessionPresent = true) {
        openStream();
        static_cast<void>(takeWritten());
        feed(encodeConnAck(sessionPresent, 0));
        return takeWritten();
    }

    /// What follows the broker's acknowledgement.
    Lines writtenAfter(const std::string& answer) {
        feed(answer);
        return takeWritten();
    }

    /// The broker ends connections on the first of two publications until that is set aside, and takes the
    /// other.
    void setBadAside() {
        publish("bad");
        publish("good");
        for (int i = 0; i < 5; ++i) {
            static_cast<void>(writtenAfterConnect());
            end();
        }
        static_cast<void>(writtenAfterConnect());
        feed(encodePubAck(2));
    }

    /// Connects, and leaves what is written then to be looked at, but for CONNECT.
    void connectQuietlyKeeping() {
        openStream();
        static_cast<void>(takeWritten());
        feed(encodeConnAck(true, 0));
    }

    /// The broker ends connections on that topic until it is set aside. There is a connection before and
    /// after.
    void setBadTopicAside(std::string_view topic) {
        for (int i = 0; i < 3; ++i) {
            session->subscribeToTopic(topic, 1);
            run();
            end();
            connectQuietly();
        }
    }

    /// The packet identifier in a line such as "PUBLISH #1 ...".
    static std::uint16_t idIn(const std::string& line) {
        return static_cast<std::uint16_t>(std::stoi(line.substr(line.find('#') + 1)));
    }
};

}  // namespace xel
