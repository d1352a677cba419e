#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/ByteStream.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel::contract {

/// Keeps what a stream told.
class RecordingStreamObserver final : public ByteStreamObserver {
public:
    void streamDidOpen() override { ++opened; }
    void streamDidReceive(std::string_view octets) override {
        ++receivedTimes;
        EXPECT_FALSE(octets.empty());
        received += octets;
    }
    void streamDidEndByPeer() override { ++ended; }
    void streamDidFail(const NSError& error) override {
        ++failed;
        failure = error;
    }

    [[nodiscard]] int callbackCount() const { return opened + receivedTimes + ended + failed; }

    int opened = 0;
    int receivedTimes = 0;
    int ended = 0;
    int failed = 0;
    std::string received;
    std::optional<NSError> failure;
};

/// What every byte stream owes over plain TCP. A subject is default constructible, listens with a peer that
/// takes one connection, and has
/// - `ByteStreamFactory& factory()`, `NSRunLoop& loop()`;
/// - `bool runUntil(std::function<bool()> done)`: drives the loop and the peer until done; false: it
///   never was;
/// - `void runForAWhile()`: drives both for as long as a stray callback could take to come;
/// - `std::string host()`, `std::uint16_t port()`: where the peer listens;
/// - `std::uint16_t closedPort()`: where nobody listens;
/// - `std::string unknownHost()`: a name that cannot be found;
/// - `void peerSend(std::string octets)`;
/// - `void peerEnd()`: ends the connection in order, after all it was told to send;
/// - `void peerReset()`: loses the connection;
/// - `std::string peerReceived()`: everything that has arrived;
/// - `bool peerSawEnd()`: whether the client's end has arrived.
template <class Subject>
class ByteStreamContract : public ::testing::Test {
protected:
    void SetUp() override { stream_ = subject_.factory().makeStream(subject_.loop(), observer_); }

    void openToPeer() {
        stream_->open(subject_.host(), subject_.port(), false);
        ASSERT_TRUE(subject_.runUntil([this] { return observer_.opened > 0; }));
    }

    Subject subject_;
    RecordingStreamObserver observer_;
    std::unique_ptr<ByteStream> stream_;
};

TYPED_TEST_SUITE_P(ByteStreamContract);

TYPED_TEST_P(ByteStreamContract, OpensLaterAndOnce) {
    this->stream_->open(this->subject_.host(), this->subject_.port(), false);
    EXPECT_EQ(this->observer_.callbackCount(), 0);
    EXPECT_TRUE(this->subject_.runUntil([this] { return this->observer_.opened > 0; }));
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.opened, 1);
    EXPECT_EQ(this->observer_.callbackCount(), 1);
}

TYPED_TEST_P(ByteStreamContract, FailsWhereNobodyListens) {
    const auto port = this->subject_.closedPort();
    this->stream_->open(this->subject_.host(), port, false);
    EXPECT_EQ(this->observer_.callbackCount(), 0);
    ASSERT_TRUE(this->subject_.runUntil([this] { return this->observer_.failed > 0; }));
    ASSERT_TRUE(this->observer_.failure.has_value());
    EXPECT_EQ(this->observer_.failure->domain, kByteStreamErrorDomain);
    EXPECT_EQ(this->observer_.failure->code, static_cast<std::int64_t>(ByteStreamErrorCode::ConnectFailed));
    const auto text = this->observer_.failure->localizedDescription();
    EXPECT_NE(text.find(this->subject_.host()), std::string::npos) << text;
    EXPECT_NE(text.find(std::to_string(port)), std::string::npos) << text;
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.callbackCount(), 1);
}

TYPED_TEST_P(ByteStreamContract, FailsForANameThatCannotBeFound) {
    this->stream_->open(this->subject_.unknownHost(), this->subject_.port(), false);
    ASSERT_TRUE(this->subject_.runUntil([this] { return this->observer_.failed > 0; }));
    EXPECT_EQ(this->observer_.failure->code, static_cast<std::int64_t>(ByteStreamErrorCode::NameNotFound));
    EXPECT_EQ(this->observer_.callbackCount(), 1);
}

TYPED_TEST_P(ByteStreamContract, WritesInOrder) {
    this->openToPeer();
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        const std::string piece = "piece " + std::to_string(i) + ";";
        this->stream_->write(piece);
        expected += piece;
    }
    EXPECT_TRUE(
        this->subject_.runUntil([&] { return this->subject_.peerReceived().size() >= expected.size(); }));
    EXPECT_EQ(this->subject_.peerReceived(), expected);
}

TYPED_TEST_P(ByteStreamContract, ReceivesOnceForEachCallOfReceive) {
    this->openToPeer();
    this->subject_.peerSend("unasked");
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.receivedTimes, 0);
    this->stream_->receive();
    this->stream_->receive();
    EXPECT_EQ(this->observer_.receivedTimes, 0) << "inside the call";
    ASSERT_TRUE(this->subject_.runUntil([this] { return this->observer_.receivedTimes > 0; }));
    EXPECT_EQ(this->observer_.received, "unasked");
    this->subject_.peerSend("more");
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.receivedTimes, 1) << "the second call came before the first was answered";
    this->stream_->receive();
    ASSERT_TRUE(this->subject_.runUntil([this] { return this->observer_.receivedTimes > 1; }));
    EXPECT_EQ(this->observer_.received, "unaskedmore");
}

TYPED_TEST_P(ByteStreamContract, ReceivesEverythingBeforeThePeersEnd) {
    this->openToPeer();
    const std::string sent(200'000, 'x');
    this->subject_.peerSend(sent);
    this->subject_.peerEnd();
    int asked = 0;
    EXPECT_TRUE(this->subject_.runUntil([&] {
        if (asked == this->observer_.receivedTimes && this->observer_.ended == 0) {
            ++asked;
            this->stream_->receive();
        }
        return this->observer_.ended > 0;
    }));
    EXPECT_EQ(this->observer_.received.size(), sent.size());
    EXPECT_EQ(this->observer_.ended, 1);
    EXPECT_EQ(this->observer_.failed, 0);
}

TYPED_TEST_P(ByteStreamContract, FailsOnceWhenThePeerBreaksTheConnectionOff) {
    this->openToPeer();
    this->stream_->receive();
    this->subject_.peerReset();
    ASSERT_TRUE(this->subject_.runUntil([this] { return this->observer_.failed > 0; }));
    EXPECT_EQ(this->observer_.failure->code, static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionReset));
    this->stream_->write("into the void");
    this->stream_->receive();
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.failed, 1);
    EXPECT_EQ(this->observer_.ended, 0);
}

TYPED_TEST_P(ByteStreamContract, LetsWhatWasWrittenLeaveAfterClosing) {
    this->openToPeer();
    this->stream_->receive();
    const std::string last(100'000, 'y');
    this->stream_->write(last);
    std::vector<bool> ends;
    this->stream_->closeAfterWriting([&](bool everythingWasSent) {
        EXPECT_TRUE(this->subject_.loop().isCurrent());
        ends.push_back(everythingWasSent);
    });
    EXPECT_TRUE(ends.empty()) << "never inside the call";
    this->subject_.peerSend("too late");
    EXPECT_TRUE(this->subject_.runUntil([this] { return this->subject_.peerSawEnd(); }));
    EXPECT_TRUE(this->subject_.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(this->subject_.peerReceived().size(), last.size());
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.callbackCount(), 1) << "only that it was open";
    EXPECT_EQ(ends, std::vector<bool>{true});
}

TYPED_TEST_P(ByteStreamContract, LetsWhatWasWrittenLeaveThoughTheStreamIsDroppedAfterClosing) {
    this->openToPeer();
    this->stream_->write("farewell");
    bool isOver = false;
    this->stream_->closeAfterWriting([&](bool everythingWasSent) { isOver = everythingWasSent; });
    this->stream_.reset();
    EXPECT_TRUE(this->subject_.runUntil([&] { return isOver && this->subject_.peerSawEnd(); }));
    EXPECT_EQ(this->subject_.peerReceived(), "farewell");
}

TYPED_TEST_P(ByteStreamContract, IsSilentAfterItWasDropped) {
    this->openToPeer();
    this->stream_->receive();
    this->subject_.peerSend("never heard");
    this->stream_.reset();
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.callbackCount(), 1);
    EXPECT_TRUE(this->subject_.runUntil([this] { return this->subject_.peerSawEnd(); }));
}

TYPED_TEST_P(ByteStreamContract, IsSilentWhenDroppedOrClosedWhileOpening) {
    this->stream_->open(this->subject_.host(), this->subject_.port(), false);
    this->stream_.reset();
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.callbackCount(), 0);
    const auto second = this->subject_.factory().makeStream(this->subject_.loop(), this->observer_);
    second->open(this->subject_.host(), this->subject_.closedPort(), false);
    bool isOver = false;
    second->closeAfterWriting([&](bool) { isOver = true; });
    EXPECT_TRUE(this->subject_.runUntil([&] { return isOver; })) << "there was nothing to write";
    this->subject_.runForAWhile();
    EXPECT_EQ(this->observer_.callbackCount(), 0);
}

REGISTER_TYPED_TEST_SUITE_P(ByteStreamContract, OpensLaterAndOnce, FailsWhereNobodyListens,
                            FailsForANameThatCannotBeFound, WritesInOrder, ReceivesOnceForEachCallOfReceive,
                            ReceivesEverythingBeforeThePeersEnd, FailsOnceWhenThePeerBreaksTheConnectionOff,
                            LetsWhatWasWrittenLeaveAfterClosing,
                            LetsWhatWasWrittenLeaveThoughTheStreamIsDroppedAfterClosing,
                            IsSilentAfterItWasDropped, IsSilentWhenDroppedOrClosedWhileOpening);

}  // namespace xel::contract
