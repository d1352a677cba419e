#include <functional>
#include <memory>
#include <string>

#include <boost/asio/ip/address.hpp>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Stream/AsioStreamWriter.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

struct WriterObserver final : AsioStreamWriterObserver {
    void writingDidFail() override {
        ++failures;
        if (whenFailed) {
            whenFailed();
        }
    }

    int failures = 0;
    std::function<void()> whenFailed;
};

class AsioStreamWriterTest : public ::testing::Test {
protected:
    AsioStreamWriterTest() {
        socket_->connect({boost::asio::ip::make_address("127.0.0.1"), loopback_.peer().port()});
        socket_->non_blocking(true);
        writer_->setObserver(observer_);
    }

    bool runUntilReceived(const std::string& expected) {
        return loopback_.runUntil([&] { return loopback_.peer().received().size() >= expected.size(); }) &&
               loopback_.peer().received() == expected;
    }

    StreamOnLoopback loopback_;
    std::shared_ptr<AsioSocket> socket_ = std::make_shared<AsioSocket>(loopback_.loop().ioContext());
    std::shared_ptr<WriterObserver> observer_ = std::make_shared<WriterObserver>();
    std::shared_ptr<AsioStreamWriter> writer_ = std::make_shared<AsioStreamWriter>(
        loopback_.loop().core(), socket_, StreamPeer{"broker.example", loopback_.peer().port()});
};

TEST_F(AsioStreamWriterTest, SendsWhatOnePassWritesAtItsEnd) {
    loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
    std::string receivedMeanwhile;
    loopback_.loop().post([&] {
        writer_->write("one ");
        loopback_.peer().poll();
        receivedMeanwhile = loopback_.peer().received();
        loopback_.loop().post([this] { writer_->write("two"); });
    });
    EXPECT_TRUE(runUntilReceived("one two"));
    EXPECT_EQ(receivedMeanwhile, "");
}

TEST_F(AsioStreamWriterTest, SendsMuchAtOnce) {
    loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
    const std::string much(64 * 1024, 'm');
    writer_->write(much);
    loopback_.peer().poll();
    EXPECT_NE(loopback_.peer().received(), "") << "without a pass of the loop";
    EXPECT_TRUE(runUntilReceived(much));
}

TEST_F(AsioStreamWriterTest, HoldsBackWhatTheSocketDoesNotTakeAndKeepsTheOrder) {
    loopback_.peer().setReading(false);
    std::string expected;
    for (char c = 'a'; c <= 'z'; ++c) {
        const std::string piece(1'000'000, c);
        writer_->write(piece);
        expected += piece;
    }
    loopback_.runForAWhile();
    writer_->writeRecords("the end");
    expected += "the end";
    loopback_.peer().setReading(true);
    EXPECT_TRUE(runUntilReceived(expected));
    EXPECT_EQ(observer_->failures, 0);
}

TEST_F(AsioStreamWriterTest, HoldsItsObserverWhileItWaits) {
    loopback_.peer().setReading(false);
    const std::string much(20'000'000, 'z');
    writer_->write(much);
    const std::weak_ptr<WriterObserver> observer = observer_;
    observer_.reset();
    writer_->endAfterWriting();
    writer_.reset();
    loopback_.runForAWhile();
    EXPECT_FALSE(observer.expired());
    loopback_.peer().setReading(true);
    EXPECT_TRUE(loopback_.runUntil([this] { return loopback_.peer().sawEnd(); }));
    EXPECT_EQ(loopback_.peer().received().size(), much.size());
    EXPECT_TRUE(observer.expired());
}

TEST_F(AsioStreamWriterTest, EndsTheSendingSideOnceAllHasLeft) {
    writer_->write("last words");
    writer_->endAfterWriting();
    EXPECT_TRUE(loopback_.runUntil([this] { return loopback_.peer().sawEnd(); }));
    EXPECT_EQ(loopback_.peer().received(), "last words");
}

TEST_F(AsioStreamWriterTest, TellsOnceWhyNothingCanBeWrittenAnyMore) {
    loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
    bool hasCauseWhenTold = false;
    observer_->whenFailed = [&] { hasCauseWhenTold = writer_->failure().has_value(); };
    loopback_.peer().reset();
    loopback_.runForAWhile();
    writer_->writeRecordsNow("into the void");
    EXPECT_EQ(observer_->failures, 1);
    EXPECT_TRUE(hasCauseWhenTold);
    ASSERT_TRUE(writer_->failure().has_value());
    EXPECT_EQ(writer_->failure()->code, static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionReset));
    EXPECT_NE(writer_->failure()->localizedDescription().find("broker.example:"), std::string::npos);
    writer_->write("more");
    loopback_.runForAWhile();
    EXPECT_EQ(observer_->failures, 1);
}

TEST_F(AsioStreamWriterTest, SendsAndTellsNothingOnceItIsStopped) {
    loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
    writer_->write("never");
    writer_->stop();
    loopback_.runForAWhile();
    EXPECT_EQ(loopback_.peer().received(), "");
    EXPECT_EQ(observer_->failures, 0);
}

}  // namespace
}  // namespace xel::contract
