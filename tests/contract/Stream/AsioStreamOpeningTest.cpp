#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Stream/AsioStreamOpening.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/StreamOnLoopback.h"
#include "tests/contract/Stream/TestCertificates.h"

namespace xel::contract {
namespace {

class AsioStreamOpeningTest : public ::testing::Test {
protected:
    AsioStreamOpeningTest() { std::ofstream(caFile()) << authority_.certificate(); }

    [[nodiscard]] std::string caFile() const { return folder_.path() + "/ca.pem"; }

    void start(std::uint16_t port, bool usingTLS, const AsioByteStreamTimes& times = {}) {
        opening_ = std::make_shared<AsioStreamOpening>(loopback_->loop().core(),
                                                       loopback_->loop().ioContext(), tls_, times);
        opening_->start({"localhost", port}, usingTLS, [this](Result<OpenedStream> outcome) {
            ++answers_;
            outcome_ = std::move(outcome);
        });
    }
    void start(bool usingTLS) { start(loopback_->peer().port(), usingTLS); }

    bool runUntilAnswered() {
        return loopback_->runUntil([this] { return answers_ > 0; });
    }

    void expectFailure(ByteStreamErrorCode code, std::string_view words) {
        ASSERT_TRUE(runUntilAnswered());
        ASSERT_FALSE(*outcome_);
        EXPECT_EQ(outcome_->error().code, static_cast<std::int64_t>(code));
        const auto text = outcome_->error().localizedDescription();
        EXPECT_NE(text.find(words), std::string::npos) << text;
    }

    TemporaryFolder folder_;
    TestAuthority authority_;
    std::unique_ptr<StreamOnLoopback> loopback_ = std::make_unique<StreamOnLoopback>();
    std::shared_ptr<AsioStreamTLS> tls_ = std::make_shared<AsioStreamTLS>(LinuxTLSOptions{caFile()});
    std::shared_ptr<AsioStreamOpening> opening_;
    int answers_ = 0;
    std::optional<Result<OpenedStream>> outcome_;
};

TEST_F(AsioStreamOpeningTest, AnswersWithASocketAndAWriter) {
    start(false);
    EXPECT_EQ(answers_, 0) << "never inside the call";
    ASSERT_TRUE(runUntilAnswered());
    ASSERT_TRUE(*outcome_);
    const OpenedStream& stream = outcome_->value();
    EXPECT_EQ(stream.engine, nullptr);
    EXPECT_TRUE(stream.socket->non_blocking());
    stream.writer->write("hello");
    EXPECT_TRUE(loopback_->runUntil([this] { return loopback_->peer().received() == "hello"; }));
    EXPECT_EQ(answers_, 1);
}

TEST_F(AsioStreamOpeningTest, AnswersByTLSWithAWriterThatEncrypts) {
    loopback_ = std::make_unique<StreamOnLoopback>(PolledPeer::TLS{authority_.issue()});
    start(true);
    ASSERT_TRUE(runUntilAnswered());
    ASSERT_TRUE(*outcome_) << outcome_->error().localizedDescription();
    ASSERT_NE(outcome_->value().engine, nullptr);
    outcome_->value().writer->write("hello");
    EXPECT_TRUE(loopback_->runUntil([this] { return loopback_->peer().received() == "hello"; }));
}

TEST_F(AsioStreamOpeningTest, SaysWhyThereIsNoConnection) {
    start(closedLoopbackPort(), false);
    expectFailure(ByteStreamErrorCode::ConnectFailed, "cannot connect to localhost:");
}

TEST_F(AsioStreamOpeningTest, SaysWhyACertificateIsRefused) {
    loopback_ = std::make_unique<StreamOnLoopback>(PolledPeer::TLS{selfSignedCertificate()});
    start(true);
    expectFailure(ByteStreamErrorCode::CertificateRefused, "self-signed");
}

TEST_F(AsioStreamOpeningTest, FailsWhenTheHostEndsTheHandshake) {
    start(true);
    ASSERT_TRUE(loopback_->runUntil([this] { return loopback_->peer().isConnected(); }));
    EXPECT_NE(opening_->describeProgress(), "");
    loopback_->peer().end();
    expectFailure(ByteStreamErrorCode::TLSFailed,
                  "by TLS: the host ended the connection during the handshake");
}

TEST_F(AsioStreamOpeningTest, FailsWhenTheHostDoesNotAnswerTheHandshakeInTime) {
    start(loopback_->peer().port(), true, {.handshake = std::chrono::milliseconds(20)});
    expectFailure(ByteStreamErrorCode::TLSFailed, "in time");
}

TEST_F(AsioStreamOpeningTest, AnswersNothingOnceItIsCancelled) {
    start(true);
    ASSERT_TRUE(loopback_->runUntil([this] { return loopback_->peer().isConnected(); }));
    opening_->cancel();
    EXPECT_TRUE(loopback_->runUntil([this] { return loopback_->peer().sawEnd(); }));
    EXPECT_EQ(answers_, 0);
}

}  // namespace
}  // namespace xel::contract
