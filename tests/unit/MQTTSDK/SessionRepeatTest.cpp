#include "tests/unit/MQTTSDK/SessionTest.h"

// Publications that the broker sends again because their acknowledgements were lost.

namespace xel {
namespace {

class SessionRepeat : public SessionTest {
protected:
    static std::string again(int number, std::string_view payload = {}) {
        const std::string own = "m" + std::to_string(number);
        return encodePublish("t", payload.empty() ? own : std::string(payload), 1, false, true,
                             static_cast<std::uint16_t>(number));
    }

    void reconnect(bool sessionPresent = true) {
        connection().fail(ByteStreamErrorCode::ConnectionReset, "reset");
        run();
        connectQuietly(sessionPresent);
    }

    /// What the session says of publications that arrive now.
    Lines arrivals(const std::string& octets) {
        delegate.lines.clear();
        feed(octets);
        Lines lines = delegate.takeLines();
        std::erase(lines, "will");
        std::erase(lines, "did");
        return lines;
    }
};

TEST_F(SessionRepeat, IsMarkedAndDeliveredAndAcknowledgedAsEver) {
    connectQuietly();
    feed(publications(1, 30));
    reconnect();
    EXPECT_EQ(arrivals(again(1) + again(30)), (Lines{"t m1 q1 #1 again", "t m30 q1 #30 again"}));
    EXPECT_EQ(takeWritten(), (Lines{"PUBACK #1", "PUBACK #30", "|"}));
}

TEST_F(SessionRepeat, IsMarkedAgainWhenItsAcknowledgementIsLostAgain) {
    connectQuietly();
    feed(publication(1));
    reconnect();
    feed(again(1));
    reconnect();
    EXPECT_EQ(arrivals(again(1)), (Lines{"t m1 q1 #1 again"}));
}

TEST_F(SessionRepeat, IsNotMarkedWithOtherContentOrAnotherIdentifierOrWithoutTheFlag) {
    connectQuietly();
    feed(publications(1, 3));
    reconnect();
    EXPECT_EQ(arrivals(again(1, "other")), (Lines{"t other q1 #1"}));
    EXPECT_EQ(arrivals(again(4, "m1")), (Lines{"t m1 q1 #4"}));
    EXPECT_EQ(arrivals(publication(2)), (Lines{"t m2 q1 #2"}));
    EXPECT_EQ(arrivals(again(3)), (Lines{"t m3 q1 #3"})) << "a new publication ends what is sent again";
}

TEST_F(SessionRepeat, IsNotMarkedWhenTheBrokerKeptNoSession) {
    connectQuietly();
    feed(publication(1));
    reconnect(false);
    EXPECT_EQ(arrivals(again(1)), (Lines{"t m1 q1 #1"}));
}

TEST_F(SessionRepeat, IsNotMarkedOnceTheBrokerHasAnsweredWhatFollowedTheAcknowledgement) {
    connectQuietly();
    feed(publication(1));
    session->subscribeToTopic("s", 1);
    run();
    feed(suback(1, {1}));
    reconnect();
    EXPECT_EQ(arrivals(again(1)), (Lines{"t m1 q1 #1"}));
}

TEST_F(SessionRepeat, IsMarkedWhenTheAnswerWasToSomethingWrittenBefore) {
    connectQuietly();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "p", false));
    run();
    feed(publication(1));
    feed(encodePubAck(1));
    reconnect();
    EXPECT_EQ(arrivals(again(1)), (Lines{"t m1 q1 #1 again"}));
}

TEST_F(SessionRepeat, IsMarkedWhenTheConnectionWentBeforeTheTurnWasClosed) {
    delegate.acknowledgesAtOnce = false;
    connectQuietly();
    feed(publication(1));
    connection().fail(ByteStreamErrorCode::ConnectionReset, "reset");
    run();
    ASSERT_EQ(delegate.acknowledges.size(), 1U);
    delegate.acknowledges[0]();
    delegate.acknowledgesAtOnce = true;
    connectQuietly();
    EXPECT_EQ(arrivals(again(1)), (Lines{"t m1 q1 #1 again"}));
}

TEST_F(SessionRepeat, IsUnknownToANewStart) {
    connectQuietly();
    feed(publication(1));
    makeSession();
    connectQuietly();
    EXPECT_EQ(arrivals(again(1)), (Lines{"t m1 q1 #1"}));
}

}  // namespace
}  // namespace xel
