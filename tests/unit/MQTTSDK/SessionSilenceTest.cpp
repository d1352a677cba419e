#include "tests/FirstAndLast.h"
#include "tests/unit/MQTTSDK/SessionTest.h"

// A broker that says nothing while it owes an answer, and short keep-alives.

namespace xel {
namespace {

using namespace std::chrono_literals;

class SessionSilence : public SessionTest {
protected:
    void publish() { EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false)); }

    const Lines ping{"PINGREQ", "|"};
};

TEST_F(SessionSilence, IsAskedAboutThirtySecondsAfterTheLastOctet) {
    connectQuietly();
    loop->advanceBy(100s);
    publish();
    session->subscribeToTopic("a", 1);
    run();
    static_cast<void>(takeWritten());
    loop->advanceBy(20s);
    feed(encodePubAck(1));
    loop->advanceBy(30s - 1ms);
    EXPECT_EQ(takeWritten(), Lines{}) << "it was heard 30 s ago, not yet";
    loop->advanceBy(1ms);
    EXPECT_EQ(takeWritten(), ping);
    loop->advanceBy(20s);
    EXPECT_EQ(delegate.lines, Lines{"ConnectionError"});
    EXPECT_THAT(lastOf(delegate.errors).localizedDescription(), testing::HasSubstr("ping"));
}

TEST_F(SessionSilence, CountsFromWhatIsOwedWhenTheBrokerHadNothingToSay) {
    connectQuietly();
    loop->advanceBy(100s);
    publish();
    loop->advanceBy(29s);
    EXPECT_THAT(takeWritten(), testing::Not(testing::Contains("PINGREQ")));
    loop->advanceBy(1s);
    EXPECT_EQ(takeWritten(), ping);
}

TEST_F(SessionSilence, IsAskedAboutAgainWhileTheAnswerIsMissing) {
    connectQuietly();
    publish();
    run();
    static_cast<void>(takeWritten());
    for (int i = 0; i < 3; ++i) {
        loop->advanceBy(30s);
        EXPECT_EQ(takeWritten(), ping) << i;
        feed(encodePingResp());
    }
    EXPECT_EQ(delegate.lines, Lines{});
}

TEST_F(SessionSilence, IsNobodysBusinessOnceEverythingWasAnswered) {
    connectQuietly();
    publish();
    run();
    feed(encodePubAck(1));
    static_cast<void>(takeWritten());
    loop->advanceBy(179s);
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionSilence, IsNoticedWithinAShortKeepAliveToo) {
    parameters.keepAlive = 5s;
    makeSession();
    connectQuietly();
    for (int i = 0; i < 3; ++i) {
        loop->advanceBy(5s);
        EXPECT_EQ(takeWritten(), ping) << i;
        loop->advanceBy(1s);
        feed(encodePingResp());
        loop->advanceBy(4s - 1ms);
        EXPECT_EQ(takeWritten(), Lines{}) << "5 s after the last packet, not 20";
        loop->advanceBy(1ms);
        EXPECT_EQ(takeWritten(), ping) << i;
        feed(encodePingResp());
    }
    loop->advanceBy(5s);
    static_cast<void>(takeWritten());
    loop->advanceBy(5s);
    EXPECT_EQ(delegate.lines, Lines{"ConnectionError"}) << "a deadline that is no longer than the keep-alive";
    EXPECT_EQ(delegate.errors.at(0).localizedDescription(), "the broker did not answer a ping within 5 s");
}

}  // namespace
}  // namespace xel
