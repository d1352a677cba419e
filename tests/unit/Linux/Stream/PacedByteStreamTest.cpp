#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Stream/PacedByteStream.h"
#include "tests/unit/MQTTSDK/SessionTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

/// Streams of a fake network behind a pace, on virtual time. Which of them opens is told by its port.
class PacedByteStreamTest : public SessionTest {
protected:
    class Ignored final : public ByteStreamObserver {
    public:
        void streamDidGetItsTurn() override { ++turns; }
        void streamDidOpen() override {}
        void streamDidReceive(std::string_view) override {}
        void streamDidEndByPeer() override {}
        void streamDidFail(const NSError&) override {}

        int turns = 0;
    };

    PacedByteStreamTest() {
        network->setConnectionHandler([this](const std::shared_ptr<FakeConnection>& connection) {
            opened_.push_back(connection->port());
            if (accepts_) {
                connection->accept();
            }
        });
    }

    void setPace(std::uint32_t perSecond, std::uint32_t atOnce) {
        factory_ = std::make_shared<PacedByteStreamFactory>(
            network, clock, LinuxConnectionPace{.perSecond = perSecond, .atOnce = atOnce},
            [this] { return random_; });
    }

    void openStreams(int count) {
        for (int number = 0; number < count; ++number) {
            streams_.push_back(factory_->makeStream(*loop, observer_));
            streams_.back()->open("broker.example", static_cast<std::uint16_t>(streams_.size()), false);
        }
    }

    /// The ports of those that have begun to open since the last time.
    std::vector<int> takeOpened() {
        run();
        return std::exchange(opened_, {});
    }

    std::size_t openedWithin(FakeRunLoop::Duration time) {
        loop->advanceBy(time);
        return takeOpened().size();
    }

    double random_ = 0.5;
    bool accepts_ = true;
    Ignored observer_;
    std::shared_ptr<PacedByteStreamFactory> factory_;
    std::vector<std::unique_ptr<ByteStream>> streams_;
    std::vector<int> opened_;
};

TEST_F(PacedByteStreamTest, OneOpensAtOnceHoweverSlowThePaceIs) {
    setPace(1, 0);
    openStreams(1);
    EXPECT_FALSE(streams_[0]->isAwaitingTurn());
    EXPECT_EQ(takeOpened(), std::vector{1});
    EXPECT_EQ(loop->scheduledTimerCount(), 0U);
    EXPECT_EQ(observer_.turns, 0);
}

TEST_F(PacedByteStreamTest, ThoseTooManyComeInOrderAndAtThePace) {
    setPace(10, 3);
    openStreams(23);
    EXPECT_EQ(takeOpened(), (std::vector{1, 2, 3}));
    loop->advanceBy(500ms);
    EXPECT_EQ(takeOpened(), (std::vector{4, 5, 6, 7, 8}));
    EXPECT_EQ(observer_.turns, 5);
    EXPECT_TRUE(streams_[8]->isAwaitingTurn());
    EXPECT_NE(streams_[8]->describeProgress(), "");
    EXPECT_EQ(openedWithin(1500ms), 15U);
    EXPECT_EQ(loop->scheduledTimerCount(), 0U);
}

TEST_F(PacedByteStreamTest, AFastPaceNeedsNoTimerForEachOfThem) {
    setPace(500, 100);
    openStreams(10'000);
    EXPECT_EQ(takeOpened().size(), 100U);
    EXPECT_EQ(openedWithin(1s), 500U);
    EXPECT_EQ(openedWithin(19s), 9400U);
}

TEST_F(PacedByteStreamTest, TheTimeBetweenTurnsIsLeftToChance) {
    setPace(10, 1);
    random_ = 0;
    openStreams(2);
    EXPECT_EQ(takeOpened(), std::vector{1});
    EXPECT_EQ(*loop->nextTimerDeadline(), 50ms);
    streams_.clear();
    random_ = 0.99;
    openStreams(2);
    loop->advanceBy(50ms);
    EXPECT_EQ(*loop->nextTimerDeadline(), 149ms);
}

TEST_F(PacedByteStreamTest, OneThatIsDroppedOrClosedLeavesItsTurnToTheNext) {
    setPace(10, 1);
    openStreams(5);
    streams_[1].reset();
    bool hasEnded = false;
    streams_[2]->closeAfterWriting([&](bool) { hasEnded = true; });
    EXPECT_EQ(takeOpened(), std::vector{1});
    EXPECT_TRUE(hasEnded);
    loop->advanceBy(100ms);
    EXPECT_EQ(takeOpened(), std::vector{4});
    loop->advanceBy(100ms);
    EXPECT_EQ(takeOpened(), std::vector{5});
}

TEST_F(PacedByteStreamTest, AfterARestAsManyAreFreeAgain) {
    setPace(10, 3);
    openStreams(3);
    EXPECT_EQ(takeOpened().size(), 3U);
    loop->advanceBy(1h);
    openStreams(4);
    EXPECT_EQ(takeOpened().size(), 3U);
}

TEST_F(PacedByteStreamTest, WithoutAPaceNobodyWaits) {
    setPace(0, 1);
    openStreams(1000);
    EXPECT_EQ(takeOpened().size(), 1000U);
}

TEST_F(PacedByteStreamTest, NothingIsLeftBehindWhenAllAreGone) {
    setPace(1, 1);
    openStreams(3);
    EXPECT_EQ(takeOpened(), std::vector{1});
    streams_.clear();
    factory_.reset();
    loop->advanceBy(10s);
    EXPECT_TRUE(takeOpened().empty());
    EXPECT_EQ(loop->scheduledTimerCount(), 0U);
}

TEST_F(PacedByteStreamTest, TheTimeToConnectCountsFromTheTurn) {
    accepts_ = false;
    setPace(1, 1);
    openStreams(100);
    MQTTClientSessionFactory sessions(factory_, clock, nullptr, options);
    session = sessions.makeSession(parameters, *loop, memory);
    session->setDelegate(&delegate);
    session->connectToHost("broker.example", 1880, false);
    loop->advanceBy(99s);
    EXPECT_EQ(delegate.lines, Lines{});
    loop->advanceBy(2s);  // about now its turn has come
    loop->advanceBy(27s);
    EXPECT_EQ(delegate.lines, Lines{});
    loop->advanceBy(3s);
    EXPECT_EQ(delegate.lines, Lines{"ConnectionError"});
    EXPECT_EQ(delegate.errors.at(0).code, static_cast<std::int64_t>(MQTTErrorCode::ConnectTimedOut));
}

}  // namespace
}  // namespace xel
