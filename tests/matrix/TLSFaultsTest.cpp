// What can be wrong with TLS on the road to a real broker, until it is put right.

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/contract/Stream/TestCertificates.h"
#include "tests/matrix/support/Correspondent.h"
#include "tests/matrix/support/CuttingProxy.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/RealBroker.h"
#include "tests/unit/MQTTSDK/Octets.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;
using contract::TestCertificate;
using contract::TestCertificateWish;

class TLSRoad : public testing::Test {
protected:
    TLSRoad() { std::ofstream(caFile_) << authority_.certificate(); }

    void start(RealBroker::Options options, bool clientUsesTLS = true, MQTTSessionOptions session = {}) {
        broker_ = std::make_unique<RealBroker>(std::move(options));
        proxy_ = std::make_unique<CuttingProxy>(broker_->port());
        MatrixClientOptions client;
        client.port = proxy_->port();
        client.host = "localhost";
        client.usingTLS = clientUsesTLS;
        client.caFile = caFile_;
        client.session = session;
        client_ = std::make_unique<MatrixClient>(client);
    }

    void expectRefusal(std::string_view words) {
        client_->connect();
        ASSERT_TRUE(client_->runUntilError());
        EXPECT_NE(client_->failureText().find(words), std::string::npos) << client_->failureText();
        // Without a session the client takes nothing; after an attempt it has one.
        EXPECT_TRUE(client_->push().publish("news", "kept"));
    }

    void restartWith(std::vector<std::string> lines, const TestCertificate* certificate) {
        broker_->end();
        broker_->setLines(std::move(lines));
        if (certificate != nullptr) {
            broker_->setCertificate(*certificate);
        }
        broker_->start();
    }

    void expectHealing(bool usingTLS = true) {
        Correspondent correspondent(broker_->port(), usingTLS ? caFile_ : "");
        EXPECT_TRUE(client_->healUntil([&] { return client_->isConnected() && correspondent.has("kept"); }))
            << client_->failureText();
    }

    contract::TestAuthority authority_;
    contract::TemporaryFolder folder_;
    std::string caFile_ = folder_.path() + "/ca.pem";
    std::unique_ptr<RealBroker> broker_;
    std::unique_ptr<CuttingProxy> proxy_;
    std::unique_ptr<MatrixClient> client_;
};

struct CertificateRow {
    const char* name;
    TestCertificateWish wish;
    enum class Issuer { Ours, Itself, Stranger } issuer;
    const char* words;
};

class BadCertificate : public TLSRoad, public testing::WithParamInterface<CertificateRow> {};

TEST_P(BadCertificate, IsRefusedUntilAGoodOneIsShown) {
    const CertificateRow& row = GetParam();
    const contract::TestAuthority stranger;
    const TestCertificate bad = row.issuer == CertificateRow::Issuer::Itself ? selfSignedCertificate(row.wish)
                                : row.issuer == CertificateRow::Issuer::Ours ? authority_.issue(row.wish)
                                                                             : stranger.issue(row.wish);
    start({.certificate = {bad}});
    expectRefusal(row.words);
    const TestCertificate good = authority_.issue();
    restartWith({}, &good);
    expectHealing();
}

INSTANTIATE_TEST_SUITE_P(
    OfARealBroker, BadCertificate,
    testing::Values(
        CertificateRow{"Expired", {"localhost", -9, -2}, CertificateRow::Issuer::Ours, "has expired"},
        CertificateRow{"NotYetValid", {"localhost", 2, 9}, CertificateRow::Issuer::Ours, "not valid yet"},
        CertificateRow{
            "OfAnotherHost", {"push.example", -1, 2}, CertificateRow::Issuer::Ours, "another host"},
        CertificateRow{"SelfSigned", {}, CertificateRow::Issuer::Itself, "self-signed"},
        CertificateRow{"OfAnUnknownAuthority", {}, CertificateRow::Issuer::Stranger, "unknown authority"},
        CertificateRow{"HostInTheSubjectAlone",
                       {.alternativeNames = ""},
                       CertificateRow::Issuer::Ours,
                       "subjectAltName"}),
    [](const auto& row) { return std::string(row.param.name); });

struct HandshakeRow {
    const char* name;
    std::string_view hex;
    CutBy andThen;
    const char* words;
};

class BrokenHandshake : public TLSRoad, public testing::WithParamInterface<HandshakeRow> {};

TEST_P(BrokenHandshake, EndsTheAttemptWithAWordAndHeals) {
    const HandshakeRow& row = GetParam();
    start({.certificate = {authority_.issue()}}, true, {.connectDeadline = 500ms});
    proxy_->answerNext(octetsFromHex(row.hex), row.andThen);
    expectRefusal(row.words);
    expectHealing();
}

constexpr HandshakeRow kHandshakes[] = {
    {"Nothing", "", CutBy::Fin, "by TLS: the host ended the connection during the handshake"},
    {"AReset", "", CutBy::Reset, "cannot connect to localhost"},
    {"Silence", "", CutBy::Silence, "no connection to the broker within"},
    {"Zeros", "00 00 00 00 00 00 00 00", CutBy::Silence, "does not speak TLS on this port"},
    {"HTTP", "48 54 54 50 2f 31 2e 31 20 34 30 30", CutBy::Silence, "does not speak TLS on this port"},
    {"ConnAck", "20 02 00 00", CutBy::Fin, "by TLS: "},
    {"AlertOfAFailedHandshake", "15 03 03 00 02 02 28", CutBy::Fin, "handshake failure"},
    {"AlertOfAnUnknownName", "15 03 03 00 02 02 70", CutBy::Fin, "unrecognized name"},
    {"AlertOfAnEnd", "15 03 03 00 02 01 00", CutBy::Fin, "by TLS: "},
    {"AlertOfAnOldVersion", "15 03 01 00 02 02 46", CutBy::Fin, "does not speak TLS 1.2 or later"},
    {"HalfAnAlert", "15 03 03 00 02 02", CutBy::Fin, "during the handshake"},
    {"HalfAServerHello", "16 03 03 00 7a 02 00 00 76 03 03 aa bb", CutBy::Fin, "during the handshake"},
    {"HalfAServerHelloAndSilence", "16 03 03 00 7a 02 00 00 76", CutBy::Silence,
     "no connection to the broker within"},
    {"RecordOverTheLimit", "16 03 03 ff ff 02 00 00", CutBy::Silence, "by TLS: "},
    {"EmptyRecord", "16 03 03 00 00", CutBy::Fin, "by TLS: "},
    {"ApplicationDataFirst", "17 03 03 00 04 01 02 03 04", CutBy::Fin, "by TLS: "},
    {"ChangeCipherSpecFirst", "14 03 03 00 01 01", CutBy::Fin, "by TLS: "},
    {"ServerHelloThatIsGarbage", "16 03 03 00 08 02 00 00 04 ff ff ff ff", CutBy::Fin, "by TLS: "},
    {"FinishedFirst", "16 03 03 00 08 14 00 00 04 00 00 00 00", CutBy::Fin, "by TLS: "},
};
INSTANTIATE_TEST_SUITE_P(OfAServer, BrokenHandshake, testing::ValuesIn(kHandshakes),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TLSRoad, LeadsToAPlainPortUntilThatSpeaksTLS) {
    start({}, true, {.connectDeadline = 500ms});
    expectRefusal("during the handshake");
    const TestCertificate good = authority_.issue();
    restartWith({}, &good);
    expectHealing();
}

TEST_F(TLSRoad, IsLeftOutTowardsAPortThatSpeaksNothingElse) {
    start({.certificate = {authority_.issue()}}, false, {.connectDeadline = 500ms});
    client_->connect();
    ASSERT_TRUE(client_->runUntilError());
    EXPECT_NE(client_->failureText(), "");
    EXPECT_TRUE(client_->push().publish("news", "kept"));
    client_->push().setUsingSSLConnection(true);
    client_->push().disconnectFromServer();
    client_->push().connectToServer();
    expectHealing();
}

TEST_F(TLSRoad, EndsAtABrokerThatWantsACertificateOfTheClient) {
    start({.lines = {"cafile " + caFile_, "require_certificate true"}, .certificate = {authority_.issue()}});
    expectRefusal("certificate");
    restartWith({}, nullptr);
    expectHealing();
}

TEST_F(TLSRoad, EndsWhenTheTrustFileIsTakenAwayUntilItIsBack) {
    start({.certificate = {authority_.issue()}});
    std::remove(caFile_.c_str());
    expectRefusal(caFile_);
    std::ofstream(caFile_) << authority_.certificate();
    expectHealing();
}

TEST_F(TLSRoad, EndsAtATrustFileThatIsGarbageUntilItIsPutRight) {
    start({.certificate = {authority_.issue()}});
    std::ofstream(caFile_, std::ios::trunc) << "-----BEGIN CERTIFICATE-----\nnothing\n";
    expectRefusal(caFile_);
    std::ofstream(caFile_, std::ios::trunc) << authority_.certificate();
    expectHealing();
}

}  // namespace
}  // namespace xel::matrix
