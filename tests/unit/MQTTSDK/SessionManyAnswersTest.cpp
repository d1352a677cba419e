#include "tests/unit/MQTTSDK/SessionTest.h"

namespace xel {
namespace {

/// What one read brings of the answers to many requests.
class SessionManyAnswers : public SessionTest {
protected:
    /// Topics "1" to "n", each with a SUBSCRIBE of its own of that identifier.
    void subscribeEach(int count) {
        connectQuietly();
        for (int i = 1; i <= count; ++i) {
            ASSERT_EQ(idOf(session->subscribeToTopic(std::to_string(i), 1)), i);
        }
        run();
    }
    static std::string subacks(int first, int last) {
        std::string octets;
        for (int i = first; i <= last; ++i) {
            octets += suback(static_cast<std::uint16_t>(i), {1});
        }
        return octets;
    }
    static Lines heard(int first, int last) {
        Lines lines;
        for (int i = first; i <= last; ++i) {
            lines.push_back("suback #" + std::to_string(i) + " 1");
        }
        return lines;
    }
    /// Does it when the first SUBACK is told.
    void whenTheFirstIsTold(std::function<void()> work) {
        delegate.onSubAck = [this, work = std::move(work)](MQTTSession&) {
            delegate.onSubAck = nullptr;
            work();
        };
    }
};

TEST_F(SessionManyAnswers, AreStoredOnceBeforeTheOwnerHearsOfTheFirst) {
    subscribeEach(100);
    const std::size_t before = disk->commitCount();
    whenTheFirstIsTold([this] { EXPECT_EQ(granted().size(), 100U); });
    feed(subacks(1, 100));
    EXPECT_EQ(delegate.lines, heard(1, 100));
    EXPECT_EQ(disk->commitCount(), before + 1);
}

TEST_F(SessionManyAnswers, AreToldBeforeWhatComesBehindThem) {
    subscribeEach(3);
    feed(subacks(1, 2) + publication(1, 0) + subacks(3, 3));
    EXPECT_EQ(delegate.lines, joined(heard(1, 2), Lines{"will", "t m1 q0 #0"}, heard(3, 3), Lines{"did"}));
}

TEST_F(SessionManyAnswers, AreToldBeforeTheEndOfTheConnectionThatFollowsThem) {
    subscribeEach(2);
    feed(subacks(1, 2) + suback(77, {1}));
    EXPECT_EQ(delegate.lines, joined(heard(1, 2), Lines{"ProtocolError"}));
    EXPECT_EQ(granted().size(), 2U);
}

TEST_F(SessionManyAnswers, AreTakenAsFarAsTheyHaveCome) {
    subscribeEach(3);
    const std::string octets = subacks(1, 3);
    feed(octets.substr(0, octets.size() - 1));
    EXPECT_EQ(delegate.lines, heard(1, 2));
    EXPECT_EQ(granted().size(), 2U);
    feed(octets.substr(octets.size() - 1));
    EXPECT_EQ(delegate.lines, heard(1, 3));
}

TEST_F(SessionManyAnswers, AreToldInALaterPassWhereTheOwnerThrows) {
    subscribeEach(3);
    whenTheFirstIsTold([] { throw std::runtime_error("the owner's"); });
    connection().feed(subacks(1, 3) + publication(1, 0));
    EXPECT_THROW(run(), std::runtime_error);
    EXPECT_EQ(delegate.lines, heard(1, 1));
    run();
    EXPECT_EQ(delegate.lines, joined(heard(1, 3), Lines{"will", "t m1 q0 #0", "did"}));
}

TEST_F(SessionManyAnswers, AreNotToldOnceTheOwnerHasClosed) {
    subscribeEach(3);
    whenTheFirstIsTold([this] { session->close(); });
    feed(subacks(1, 3));
    EXPECT_EQ(delegate.lines, joined(heard(1, 1), Lines{"ConnectionClosed"}));
}

TEST_F(SessionManyAnswers, AreNotToldOnceTheSessionIsGone) {
    subscribeEach(3);
    whenTheFirstIsTold([this] { session.reset(); });
    feed(subacks(1, 3));
    EXPECT_EQ(delegate.lines, joined(heard(1, 1), Lines{"ConnectionClosed"}));
}

TEST_F(SessionManyAnswers, ToUnsubscribingAreStoredOnce) {
    subscribeEach(50);
    feed(subacks(1, 50));
    std::string unsubacks;
    for (int i = 1; i <= 50; ++i) {
        unsubacks += encodeUnsubAck(idOf(session->unsubscribeTopic(std::to_string(i))));
    }
    run();
    EXPECT_EQ(removals().size(), 50U);
    delegate.lines.clear();
    const std::size_t before = disk->commitCount();
    feed(unsubacks);
    EXPECT_EQ(delegate.lines.size(), 50U);
    EXPECT_TRUE(removals().empty());
    EXPECT_EQ(disk->commitCount(), before + 1);
}

TEST_F(SessionManyAnswers, ToUnsubscribingAreStoredAlsoWhereTheConnectionEndsWithThem) {
    subscribeEach(1);
    feed(subacks(1, 1));
    const std::uint16_t packetId = idOf(session->unsubscribeTopic("1"));
    run();
    feed(encodeUnsubAck(packetId) + suback(77, {1}));
    EXPECT_TRUE(removals().empty());
}

}  // namespace
}  // namespace xel
