#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include "XelPushClient/Linux/Stream/TLSEngine.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/TestCertificates.h"

namespace xel::contract {
namespace {

/// A server without a network, whose tickets are good for itself alone.
class MemoryServer {
public:
    MemoryServer(const TestCertificate& certificate, int version)
        : context_(SSL_CTX_new(TLS_server_method())) {
        SSL_CTX_set_max_proto_version(context_.get(), version);
        BIO* const text = BIO_new_mem_buf(certificate.certificate.data(), -1);
        X509* const x509 = PEM_read_bio_X509(text, nullptr, nullptr, nullptr);
        BIO* const keyText = BIO_new_mem_buf(certificate.key.data(), -1);
        EVP_PKEY* const key = PEM_read_bio_PrivateKey(keyText, nullptr, nullptr, nullptr);
        EXPECT_EQ(SSL_CTX_use_certificate(context_.get(), x509), 1);
        EXPECT_EQ(SSL_CTX_use_PrivateKey(context_.get(), key), 1);
        BIO_free(text);
        BIO_free(keyText);
        X509_free(x509);
        EVP_PKEY_free(key);
    }

    struct Free {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
        void operator()(SSL* connection) const { SSL_free(connection); }
    };

    std::unique_ptr<SSL, Free> accept() {
        std::unique_ptr<SSL, Free> connection(SSL_new(context_.get()));
        SSL_set_bio(connection.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
        SSL_set_accept_state(connection.get());
        return connection;
    }

private:
    std::unique_ptr<SSL_CTX, Free> context_;
};

enum class Outcome { Full, Resumed, Failed };

/// One connection; both sides say how it began.
class Connection {
public:
    Connection(const std::shared_ptr<TLSContext>& context, MemoryServer& server, const std::string& host,
               std::uint16_t port = 8883)
        : engine_(context, host, port), server_(server.accept()) {}

    /// The handshake, and then what the server sends behind it: its tickets and a word.
    Outcome shakeHands(std::size_t flippedOctet = std::string::npos) {
        std::string toServer;
        std::string toClient;
        auto progress = TLSEngine::Progress::NeedsMore;
        for (int step = 0; step < 10 && progress == TLSEngine::Progress::NeedsMore; ++step) {
            progress = engine_.shakeHands(toClient, toServer);
            toClient = serverAnswers(toServer);
            if (step == 0 && flippedOctet < toClient.size()) {
                toClient[flippedOctet] = static_cast<char>(toClient[flippedOctet] ^ 1);
            }
            toServer.clear();
        }
        if (progress != TLSEngine::Progress::Done) {
            return Outcome::Failed;
        }
        EXPECT_GT(SSL_write(server_.get(), "word", 4), 0);
        engine_.take(toClient + serverAnswers({}));
        std::array<char, 64> buffer{};
        std::size_t count = 0;
        EXPECT_EQ(engine_.decrypt(buffer, count, toServer), TLSEngine::Progress::Done) << engine_.failure();
        EXPECT_EQ(std::string(buffer.data(), count), "word");
        return SSL_session_reused(server_.get()) == 1 ? Outcome::Resumed : Outcome::Full;
    }

    [[nodiscard]] bool isCertificateRefused() const { return engine_.isCertificateRefused(); }

private:
    std::string serverAnswers(const std::string& received) {
        if (!received.empty()) {
            BIO_write(SSL_get_rbio(server_.get()), received.data(), static_cast<int>(received.size()));
        }
        (void)SSL_do_handshake(server_.get());
        std::string answer(100'000, '\0');
        const int count =
            BIO_read(SSL_get_wbio(server_.get()), answer.data(), static_cast<int>(answer.size()));
        answer.resize(static_cast<std::size_t>(std::max(count, 0)));
        return answer;
    }

    TLSEngine engine_;
    std::unique_ptr<SSL, MemoryServer::Free> server_;
};

class TLSResumption : public ::testing::TestWithParam<int> {
protected:
    TLSResumption() { std::ofstream(caFile()) << authority_.certificate(); }

    [[nodiscard]] std::string caFile() const { return folder_.path() + "/ca.pem"; }
    [[nodiscard]] std::shared_ptr<TLSContext> makeContext() const {
        return std::make_shared<TLSContext>(LinuxTLSOptions{.caFile = caFile()});
    }

    Outcome connect(const std::string& host = "a.example", std::uint16_t port = 8883) {
        return Connection(context_, server_, host, port).shakeHands();
    }

    TemporaryFolder folder_;
    TestAuthority authority_;
    MemoryServer server_{authority_.issue({.alternativeNames = "DNS:a.example,DNS:b.example"}), GetParam()};
    std::shared_ptr<TLSContext> context_ = makeContext();
};

TEST_P(TLSResumption, GoesOnWithTheSessionOfAConnectionBefore) {
    EXPECT_EQ(connect(), Outcome::Full);
    // Each connection before was dropped without a farewell, as a lost one is.
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(connect(), Outcome::Resumed) << i;
    }
    EXPECT_EQ(connect("a.example."), Outcome::Resumed) << "the same name";
}

TEST_P(TLSResumption, OffersASessionToNoOtherNamePortOrTrust) {
    EXPECT_EQ(connect(), Outcome::Full);
    EXPECT_EQ(connect("b.example"), Outcome::Full);
    EXPECT_EQ(connect("a.example", 8884), Outcome::Full);
    EXPECT_EQ(Connection(makeContext(), server_, "a.example").shakeHands(), Outcome::Full);
    EXPECT_EQ(connect(), Outcome::Resumed);
}

TEST_P(TLSResumption, VerifiesANameThatTheServerIsNot) {
    EXPECT_EQ(connect(), Outcome::Full);
    for (int i = 0; i < 2; ++i) {
        Connection other(context_, server_, "c.example");
        EXPECT_EQ(other.shakeHands(), Outcome::Failed);
        EXPECT_TRUE(other.isCertificateRefused());
    }
}

TEST_P(TLSResumption, BeginsAnewWithAServerThatForgotAndVerifiesIt) {
    EXPECT_EQ(connect(), Outcome::Full);
    MemoryServer restarted(authority_.issue({.hostName = "a.example"}), GetParam());
    EXPECT_EQ(Connection(context_, restarted, "a.example").shakeHands(), Outcome::Full);
    EXPECT_EQ(Connection(context_, restarted, "a.example").shakeHands(), Outcome::Resumed);

    MemoryServer stranger(selfSignedCertificate({.hostName = "a.example"}), GetParam());
    Connection toStranger(context_, stranger, "a.example");
    EXPECT_EQ(toStranger.shakeHands(), Outcome::Failed);
    EXPECT_TRUE(toStranger.isCertificateRefused());
}

TEST_P(TLSResumption, IsNotInTheWayOfTheNextAttemptWhenItFails) {
    // What the server gave is used up by attempts of which each fails.
    EXPECT_EQ(connect(), Outcome::Full);
    int failures = 0;
    Outcome outcome = Outcome::Resumed;
    while (outcome != Outcome::Full && failures < 5) {
        outcome = Connection(context_, server_, "a.example").shakeHands(60);
        failures += outcome == Outcome::Failed ? 1 : 0;
        if (outcome == Outcome::Failed && context_->sessions().take("a.example:8883") == nullptr) {
            break;
        }
    }
    EXPECT_GT(failures, 0);
    EXPECT_EQ(connect(), Outcome::Full);
}

TEST_P(TLSResumption, GivesEachSessionOutOnce) {
    EXPECT_EQ(connect(), Outcome::Full);
    const std::string peer = "a.example:8883";
    std::size_t taken = 0;
    while (context_->sessions().take(peer) != nullptr) {
        ++taken;
    }
    EXPECT_GE(taken, 1U);
    EXPECT_EQ(connect(), Outcome::Full);
    for (std::size_t i = 0; i < 2 * TLSSessions::kMostOfPeer; ++i) {
        EXPECT_EQ(connect(), Outcome::Resumed);
    }
    for (taken = 0; context_->sessions().take(peer) != nullptr; ++taken) {}
    EXPECT_LE(taken, TLSSessions::kMostOfPeer);
}

INSTANTIATE_TEST_SUITE_P(Versions, TLSResumption, ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         [](const auto& tested) {
                             return std::string(tested.param == TLS1_2_VERSION ? "TLS12" : "TLS13");
                         });

}  // namespace
}  // namespace xel::contract
