#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"
#include "tests/contract/Stream/TestCertificates.h"

namespace xel::contract {
namespace {

constexpr auto kRefused = ByteStreamErrorCode::CertificateRefused;
constexpr auto kTLSFailed = ByteStreamErrorCode::TLSFailed;

class AsioByteStreamTLSTest : public ::testing::Test {
protected:
    AsioByteStreamTLSTest() { std::ofstream(caFile()) << authority_.certificate(); }

    [[nodiscard]] std::string caFile() const { return folder_.path() + "/ca.pem"; }

    /// Opens a stream to a peer with that certificate and waits for what comes of it.
    void open(PolledPeer::TLS tls, const std::string& host = "localhost", LinuxTLSOptions options = {}) {
        loopback_ = std::make_unique<StreamOnLoopback>(std::move(tls));
        openTo(host, std::move(options));
    }

    void openTo(const std::string& host, LinuxTLSOptions options, AsioByteStreamTimes times = {}) {
        if (!options.caFile) {
            options.caFile = caFile();
        }
        factory_ = std::make_unique<AsioByteStreamFactory>(std::move(options), times);
        stream_ = factory_->makeStream(loopback_->loop(), observer_);
        stream_->open(host, loopback_->peer().port(), true);
        EXPECT_TRUE(loopback_->runUntil([this] { return observer_.callbackCount() > 0; }));
    }

    void expectFailure(ByteStreamErrorCode code, std::string_view words) {
        EXPECT_EQ(observer_.opened, 0);
        ASSERT_EQ(observer_.failed, 1);
        EXPECT_EQ(observer_.failure->code, static_cast<std::int64_t>(code));
        const auto text = observer_.failure->localizedDescription();
        EXPECT_NE(text.find(words), std::string::npos) << text;
        EXPECT_NE(text.find(":" + std::to_string(loopback_->peer().port())), std::string::npos) << text;
        EXPECT_EQ(loopback_->peer().received(), "") << "nothing may leave before the host is verified";
    }

    TemporaryFolder folder_;
    TestAuthority authority_;
    RecordingStreamObserver observer_;
    std::unique_ptr<StreamOnLoopback> loopback_;
    std::unique_ptr<AsioByteStreamFactory> factory_;
    std::unique_ptr<ByteStream> stream_;
};

TEST_F(AsioByteStreamTLSTest, SpeaksWithAHostThatItCanVerify) {
    for (const int newest : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        observer_ = {};
        open({.certificate = authority_.issue(), .newestVersion = newest});
        ASSERT_EQ(observer_.opened, 1) << observer_.failure->localizedDescription();
        EXPECT_EQ(loopback_->peer().serverName(), "localhost");
        stream_->write("hello ");
        stream_->write("there");
        EXPECT_TRUE(loopback_->runUntil([this] { return loopback_->peer().received() == "hello there"; }));
        const std::string much(300'000, 'm');
        loopback_->peer().send(much);
        loopback_->peer().end();
        int asked = 0;
        EXPECT_TRUE(loopback_->runUntil([&] {
            if (asked == observer_.receivedTimes) {
                ++asked;
                stream_->receive();
            }
            return observer_.ended + observer_.failed > 0;
        }));
        EXPECT_EQ(observer_.received, much);
        EXPECT_EQ(observer_.ended, 1);
        stream_.reset();
    }
}

TEST_F(AsioByteStreamTLSTest, VerifiesAnAddressAsOneAndAsksForNoName) {
    open({.certificate = authority_.issue()}, "127.0.0.1");
    EXPECT_EQ(observer_.opened, 1);
    EXPECT_EQ(loopback_->peer().serverName(), "");
    stream_.reset();
}

TEST_F(AsioByteStreamTLSTest, RefusesCertificatesThatDoNotHold) {
    const TestAuthority unknown;
    const struct {
        const char* what;
        TestCertificate certificate;
        std::string host;
        const char* words;
    } cases[] = {
        {"expired", authority_.issue({.validFromDays = -9, .validToDays = -2}), "localhost", "has expired"},
        {"not valid yet", authority_.issue({.validFromDays = 2, .validToDays = 9}), "localhost",
         "not valid yet"},
        {"self-signed", selfSignedCertificate(), "localhost", "self-signed"},
        {"another host's", authority_.issue({.hostName = "push.xelpush.example"}), "localhost",
         "another host"},
        {"another address's", authority_.issue({.hostName = "push.xelpush.example"}), "127.0.0.1",
         "another host"},
        {"with its host in the subject alone", authority_.issue({.alternativeNames = ""}), "localhost",
         "subjectAltName"},
        {"with an address beside the host in its subject",
         authority_.issue({.alternativeNames = "IP:127.0.0.1"}), "localhost", "subjectAltName"},
        {"of an unknown authority", unknown.issue(), "localhost", "unknown authority"},
    };
    for (const auto& [what, certificate, host, words] : cases) {
        SCOPED_TRACE(what);
        observer_ = {};
        open({.certificate = certificate}, host);
        expectFailure(kRefused, words);
        stream_.reset();
    }
}

TEST_F(AsioByteStreamTLSTest, TrustsTheSystemsStoreUnlessToldOtherwise) {
    // The test's authority is in no system's store.
    loopback_ = std::make_unique<StreamOnLoopback>(PolledPeer::TLS{.certificate = authority_.issue()});
    factory_ = std::make_unique<AsioByteStreamFactory>();
    stream_ = factory_->makeStream(loopback_->loop(), observer_);
    stream_->open("localhost", loopback_->peer().port(), true);
    EXPECT_TRUE(loopback_->runUntil([this] { return observer_.callbackCount() > 0; }));
    expectFailure(kRefused, "unknown authority");
}

TEST_F(AsioByteStreamTLSTest, RefusesVersionsBefore12) {
    open({.certificate = authority_.issue(), .newestVersion = TLS1_1_VERSION});
    expectFailure(kTLSFailed, "TLS 1.2");
}

TEST_F(AsioByteStreamTLSTest, SaysThatAHostDoesNotSpeakTLS) {
    loopback_ = std::make_unique<StreamOnLoopback>();
    factory_ = std::make_unique<AsioByteStreamFactory>(LinuxTLSOptions{.caFile = caFile()});
    stream_ = factory_->makeStream(loopback_->loop(), observer_);
    stream_->open("localhost", loopback_->peer().port(), true);
    ASSERT_TRUE(loopback_->runUntil([this] { return loopback_->peer().isConnected(); }));
    loopback_->peer().send("220 mail.example ready\r\n");
    EXPECT_TRUE(loopback_->runUntil([this] { return observer_.callbackCount() > 0; }));
    ASSERT_EQ(observer_.failed, 1);
    EXPECT_EQ(observer_.failure->code, static_cast<std::int64_t>(kTLSFailed));
    EXPECT_NE(observer_.failure->localizedDescription().find("does not speak TLS"), std::string::npos);
}

TEST_F(AsioByteStreamTLSTest, GivesUpOnAHostThatIsSilent) {
    loopback_ = std::make_unique<StreamOnLoopback>();
    openTo("localhost", {}, {.handshake = std::chrono::milliseconds(40)});
    ASSERT_EQ(observer_.failed, 1);
    EXPECT_NE(observer_.failure->localizedDescription().find("in time"), std::string::npos);
}

TEST_F(AsioByteStreamTLSTest, SaysThatAHostEndsTheHandshake) {
    loopback_ = std::make_unique<StreamOnLoopback>();
    factory_ = std::make_unique<AsioByteStreamFactory>(LinuxTLSOptions{.caFile = caFile()});
    stream_ = factory_->makeStream(loopback_->loop(), observer_);
    stream_->open("localhost", loopback_->peer().port(), true);
    ASSERT_TRUE(loopback_->runUntil([this] { return loopback_->peer().isConnected(); }));
    loopback_->peer().end();
    EXPECT_TRUE(loopback_->runUntil([this] { return observer_.failed > 0; }));
    EXPECT_EQ(observer_.failure->code, static_cast<std::int64_t>(kTLSFailed));
}

TEST_F(AsioByteStreamTLSTest, NamesATrustFileThatCannotBeRead) {
    const std::string missing = folder_.path() + "/missing.pem";
    open({.certificate = authority_.issue()}, "localhost", {.caFile = missing});
    expectFailure(kTLSFailed, missing);
}

TEST_F(AsioByteStreamTLSTest, TakesAnEndWithoutFarewellForALoss) {
    open({.certificate = authority_.issue()});
    stream_->receive();
    loopback_->peer().endWithoutFarewell();
    EXPECT_TRUE(loopback_->runUntil([this] { return observer_.failed + observer_.ended > 0; }));
    ASSERT_EQ(observer_.failed, 1);
    EXPECT_EQ(observer_.failure->code, static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionReset));
}

TEST_F(AsioByteStreamTLSTest, LetsWhatWasWrittenLeaveAfterClosing) {
    open({.certificate = authority_.issue()});
    const std::string last(2'000'000, 'y');
    stream_->write(last);
    bool isOver = false;
    stream_->closeAfterWriting([&](bool everythingWasSent) { isOver = everythingWasSent; });
    stream_.reset();
    EXPECT_TRUE(loopback_->runUntil([&] { return isOver && loopback_->peer().sawEnd(); }));
    EXPECT_EQ(loopback_->peer().received().size(), last.size());
}

TEST_F(AsioByteStreamTLSTest, MayBeDroppedWithItsFactoryDuringTheHandshake) {
    loopback_ = std::make_unique<StreamOnLoopback>(PolledPeer::TLS{.certificate = authority_.issue()});
    factory_ = std::make_unique<AsioByteStreamFactory>(LinuxTLSOptions{.caFile = caFile()});
    for (int i = 0; i < 5; ++i) {
        stream_ = factory_->makeStream(loopback_->loop(), observer_);
        stream_->open("localhost", loopback_->peer().port(), true);
        loopback_->runFor(std::chrono::milliseconds(i));
        stream_.reset();
    }
    factory_.reset();
    loopback_->runForAWhile();
    EXPECT_EQ(observer_.failed, 0);
}

}  // namespace
}  // namespace xel::contract
