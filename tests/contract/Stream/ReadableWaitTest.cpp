#include <array>
#include <memory>
#include <string>

#include <boost/asio/error.hpp>
#include <boost/asio/ip/address.hpp>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Stream/AsioSocket.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

struct CountingReader final : ReadableObserver {
    void mayBeReadable() override { ++times; }
    int times = 0;
};

void connect(AsioSocket& socket, StreamOnLoopback& loopback) {
    const boost::asio::ip::tcp::endpoint peer(boost::asio::ip::make_address("127.0.0.1"),
                                              loopback.peer().port());
    EXPECT_FALSE(socket.openFor(peer));
    socket.connect(peer);
}

class ReadableWaitTest : public ::testing::Test {
protected:
    ReadableWaitTest() {
        connect(*socket_, loopback_);
        loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
        // A socket that is new may be readable: its first wait does not know better.
        await();
        loopback_.runUntil([this] { return reader_->times == 1; });
        EXPECT_EQ(read(), "");
        reader_->times = 0;
    }

    void await() { socket_->awaitReadable(reader_); }

    std::string read() {
        std::array<char, 64> buffer{};
        last_ = socket_->readSome(buffer);
        return {buffer.data(), last_.count};
    }

    /// How often the reader was told, a while later.
    int timesTold() {
        loopback_.runForAWhile();
        return reader_->times;
    }

    StreamOnLoopback loopback_;
    std::shared_ptr<AsioSocket> socket_ = std::make_shared<AsioSocket>(loopback_.loop().ioContext());
    std::shared_ptr<CountingReader> reader_ = std::make_shared<CountingReader>();
    SocketRead last_;
};

TEST_F(ReadableWaitTest, TellsNothingUntilSomethingArrives) {
    await();
    EXPECT_EQ(timesTold(), 0);
    loopback_.peer().send("one");
    EXPECT_EQ(timesTold(), 1);
    EXPECT_EQ(read(), "one");
    EXPECT_FALSE(last_.isMoreLeft);
    await();
    EXPECT_EQ(timesTold(), 1) << "what was read is not told of again";
}

TEST_F(ReadableWaitTest, TellsOfWhatArrivedBeforeItBegan) {
    loopback_.peer().send("one");
    loopback_.runForAWhile();
    EXPECT_EQ(reader_->times, 0);
    await();
    EXPECT_EQ(timesTold(), 1);
    EXPECT_EQ(read(), "one");
}

TEST_F(ReadableWaitTest, IsOneHoweverOftenItIsAskedFor) {
    await();
    await();
    loopback_.peer().send("one");
    EXPECT_EQ(timesTold(), 1);
}

TEST_F(ReadableWaitTest, TellsOfAnEndAndOfABreak) {
    await();
    loopback_.peer().end();
    EXPECT_EQ(timesTold(), 1);
    read();
    EXPECT_EQ(last_.error, boost::asio::error::eof);
    await();
    loopback_.peer().reset();
    EXPECT_EQ(timesTold(), 2);
}

TEST_F(ReadableWaitTest, LetsGoOfItsReaderWhenTheSocketIsClosed) {
    await();
    EXPECT_EQ(reader_.use_count(), 2);
    socket_->end();
    EXPECT_EQ(timesTold(), 0);
    EXPECT_EQ(reader_.use_count(), 1);
}

TEST_F(ReadableWaitTest, MayOutliveItsSocket) {
    await();
    socket_.reset();
    EXPECT_EQ(timesTold(), 0);
    EXPECT_EQ(reader_.use_count(), 1);
}

TEST(ReadableWait, LetsGoOfItsReaderWithTheLoop) {
    const auto reader = std::make_shared<CountingReader>();
    {
        StreamOnLoopback loopback;
        AsioSocket socket(loopback.loop().ioContext());
        connect(socket, loopback);
        socket.awaitReadable(reader);
    }
    EXPECT_EQ(reader.use_count(), 1);
    EXPECT_EQ(reader->times, 0);
}

/// What a read says about what it leaves.
TEST_F(ReadableWaitTest, SaysWhetherAReadLeavesSomething) {
    loopback_.peer().send(std::string(100, 'x'));
    loopback_.runForAWhile();
    EXPECT_EQ(read().size(), 64U);
    EXPECT_TRUE(last_.isMoreLeft);
    EXPECT_EQ(read().size(), 36U);
    EXPECT_FALSE(last_.isMoreLeft);
    EXPECT_EQ(read(), "");
    EXPECT_FALSE(last_.error);
    loopback_.peer().send("last");
    loopback_.peer().end();
    loopback_.runForAWhile();
    EXPECT_TRUE(socket_->isReadable());
    EXPECT_EQ(read(), "last");
    EXPECT_TRUE(last_.isMoreLeft) << "the end";
    read();
    EXPECT_EQ(last_.error, boost::asio::error::eof);
}

}  // namespace
}  // namespace xel::contract
