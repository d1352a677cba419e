// The real distributor on a bus of the test's own: registering, messages by HTTP, and applications that the
// bus starts.

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/push/PushToken.h"
#include "tests/integration/desktop/support/DistributorCommand.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestConnector.h"

namespace xel::test {
namespace {

namespace asio = boost::asio;
namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kShop = "org.example.Shop";

// The whole answer to a request, as it came.
std::string ask(const std::string& url, const std::string& method, const std::string& body,
                const std::string& headers = {}) {
    const auto endpoint = sandbox::parseLoopbackEndpoint(url);
    if (!endpoint) {
        return "no endpoint: " + url;
    }
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    boost::system::error_code error;
    socket.connect({asio::ip::make_address(endpoint->host), endpoint->port}, error);
    if (error) {
        return error.message();
    }
    asio::write(socket,
                asio::buffer(method + " " + endpoint->target + " HTTP/1.1\r\nHost: localhost\r\n" + headers +
                             "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body),
                error);
    std::string answer;
    asio::read(socket, asio::dynamic_buffer(answer), error);
    return answer;
}

class DistributorCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        bus_ = std::make_unique<PrivateBus>();
        distributor_ = std::make_unique<DistributorCommand>(bus_->address());
        shop_ = std::make_unique<TestConnector>(bus_->address(), kShop);
    }
    // The endpoint of the registration, or an empty text.
    std::string endpointOf(TestConnector& connector, const std::string& token) {
        EXPECT_EQ(connector.registerWith(DistributorCommand::kName, token).success, "REGISTRATION_SUCCEEDED");
        const std::string prefix = "endpoint " + token + " ";
        std::string url;
        EXPECT_TRUE(eventually([&] {
            for (const auto& call : connector.calls()) {
                url = call.starts_with(prefix) ? call.substr(prefix.size()) : url;
            }
            return !url.empty();
        }));
        return url;
    }
    static bool gets(const TestConnector& connector, const std::string& call) {
        return eventually([&] {
            const auto calls = connector.calls();
            return std::find(calls.begin(), calls.end(), call) != calls.end();
        });
    }

    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<DistributorCommand> distributor_;
    std::unique_ptr<TestConnector> shop_;
};

TEST_F(DistributorCommandTest, HandsWhatIsPostedToTheApplication) {
    const std::string url = endpointOf(*shop_, "t1");
    const std::string octets("\0\xFF\r\n", 4);
    const std::string answer = ask(url, "POST", octets, "TTL: 60\r\nContent-Encoding: aes128gcm\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 201 Created\r\n"));
    EXPECT_THAT(answer, HasSubstr("TTL: 60\r\n"));
    EXPECT_TRUE(gets(*shop_, "message t1 " + octets));
    EXPECT_EQ(endpointOf(*shop_, "t1"), url);
    EXPECT_NE(endpointOf(*shop_, "t2"), url);
}

TEST_F(DistributorCommandTest, AnswersAsAPushServerDoes) {
    const std::string url = endpointOf(*shop_, "t1");
    EXPECT_THAT(ask(url, "GET", ""), HasSubstr(R"({"unifiedpush":{"version":1}})"));
    EXPECT_THAT(ask(url, "POST", std::string(4096, 'x')), StartsWith("HTTP/1.1 201 "));
    EXPECT_THAT(ask(url, "POST", std::string(4097, 'x')), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(ask(url, "POST", std::string(500'000, 'x')), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(ask(url, "POST", ""), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ask(url + "x", "POST", "m"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(ask(url, "no method at all\r\n", "m"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ask(url, "DELETE", ""), HasSubstr("Allow: GET, POST\r\n"));
}

TEST_F(DistributorCommandTest, RefusesAndForgets) {
    const auto refused = shop_->registerWith(DistributorCommand::kName, std::string(101, 'x'));
    EXPECT_EQ(refused.success, "REGISTRATION_FAILED");
    EXPECT_EQ(refused.reason, "INTERNAL_ERROR");
    const std::string url = endpointOf(*shop_, "t1");
    shop_->unregisterFrom(DistributorCommand::kName, "t1");
    EXPECT_TRUE(gets(*shop_, "unregistered t1"));
    EXPECT_THAT(ask(url, "POST", "m"), StartsWith("HTTP/1.1 404 "));
}

TEST_F(DistributorCommandTest, KeepsEndpointsAndMessagesOverARestart) {
    const std::string url = endpointOf(*shop_, "t1");
    shop_.reset();
    EXPECT_THAT(ask(url, "POST", "kept", "TTL: 600\r\n"), StartsWith("HTTP/1.1 201 "));
    ASSERT_TRUE(distributor_->logs("its message waits"));
    distributor_->stop();
    EXPECT_FALSE(distributor_->isRunning());
    EXPECT_THAT(distributor_->output(), HasSubstr("stopped"));
    for (const auto& entry : fs::directory_iterator(distributor_->stateFolder())) {
        EXPECT_EQ(entry.status().permissions() & fs::perms::all,
                  fs::perms::owner_read | fs::perms::owner_write)
            << entry.path();
    }
    distributor_->start();
    const TestConnector again(bus_->address(), kShop);
    EXPECT_TRUE(gets(again, "message t1 kept"));
    EXPECT_THAT(ask(url, "POST", "fresh"), StartsWith("HTTP/1.1 201 "));
    EXPECT_TRUE(gets(again, "message t1 fresh"));
}

TEST_F(DistributorCommandTest, HasTheBusStartAnApplicationThatDoesNotRun) {
    const contract::TemporaryFolder folder;
    const std::string started = folder.path() + "/started";
    distributor_->stop();
    shop_.reset();
    bus_->stop();
    // The program that is started; the test takes the name in its stead.
    bus_->addService(kShop, "/bin/sh -c \"touch " + started + "; exec sleep 20\"");
    bus_->start();
    distributor_->start();
    shop_ = std::make_unique<TestConnector>(bus_->address(), kShop);
    const std::string url = endpointOf(*shop_, "t1");
    ASSERT_FALSE(fs::exists(started));
    shop_.reset();

    EXPECT_THAT(ask(url, "POST", "wake up"), StartsWith("HTTP/1.1 201 "));
    ASSERT_TRUE(eventually([&] { return fs::exists(started); }));
    const TestConnector awake(bus_->address(), kShop);
    EXPECT_TRUE(gets(awake, "message t1 wake up"));
}

TEST_F(DistributorCommandTest, EndsWithTheBusOrWithoutItsName) {
    const contract::TemporaryFolder folder;
    TestProgram second({XELPUSH_COMMAND_PATH, "distributor", "--state-folder", folder.path() + "/state"},
                       folder.path() + "/log", {{"DBUS_SESSION_BUS_ADDRESS", bus_->address()}});
    EXPECT_TRUE(eventually([&] { return !second.isRunning(); }));
    EXPECT_THAT(second.output(), HasSubstr("is another distributor running?"));
    shop_.reset();
    bus_->stop();
    EXPECT_TRUE(eventually([&] { return !distributor_->isRunning(); }));
    EXPECT_THAT(distributor_->output(), HasSubstr("the session bus has gone"));
}

}  // namespace
}  // namespace xel::test
