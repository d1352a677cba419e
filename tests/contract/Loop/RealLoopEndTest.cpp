// A host that destroys its client, and drops everything that this stood on but for the loop, inside a
// callback of the real platform: real sockets, a real store, real threads.

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/contract/Process/LocalBroker.h"
#include "tests/contract/Process/LoopbackClient.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

class Host final : public PushClientManagerDelegate, public std::enable_shared_from_this<Host> {
public:
    /// `fatal`: the number of the call inside which everything goes; none: nothing does.
    explicit Host(std::optional<std::size_t> fatal) : fatal_(fatal) {}

    void live() {
        LocalBroker broker(loop_->ioContext());
        broker.publishWhenSubscribed(messages());
        makeClient(broker.port());
        client_->enqueueWhenSessionIsConnected([this] { hear("block: connected"); });
        client_->connectToServer();
        runUntil("delegate: message m2");
        step([this] { client_->unsubscribe("news"); }, "delegate: unsubscribed");
        step([this] { application_->willResignActive(); }, "notification");
        step([this] { application_->enterBackground(20ms); }, "block: state");
        step([this] { application_->becomeActive(); }, "delegate: state");
        // What is left, such as the end of the connection, has time to come.
        runFor(30ms);
    }

    void pushClientManagerDidChangedServerConnectionState() override { hear("delegate: state"); }
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        hear("delegate: message " + message.id.value_or(""));
    }
    void pushClientManagerDidSubscribed(const std::string& /*channel*/) override {
        hear("delegate: subscribed");
    }
    void pushClientManagerDidUnsubscribed(const std::string& /*channel*/) override {
        hear("delegate: unsubscribed");
    }

    std::vector<std::string> heard;
    std::vector<std::string> heardAfterEnd;

    [[nodiscard]] bool hasEnded() const { return client_ == nullptr; }
    [[nodiscard]] bool isHomeFree() {
        LinuxOptions options = options_;
        const Machine machine = makeLinuxMachine(options);
        return openLinuxHome(options, machine).isOk();
    }

private:
    static std::string messages() {
        std::string octets;
        for (std::uint16_t number = 1; number <= 3; ++number) {
            const std::string id = std::to_string(number);
            octets +=
                encodePublish("app/a1b2c3/user/alice01/D3V1CE",
                              R"({"id":"m)" + id + R"(","messageBody":"text"})", 1, false, false, number);
        }
        return octets;
    }

    void makeClient(std::uint16_t port) {
        options_ = optionsOnLoopback(loop_, folder_.path(), "localhost", port);
        Machine machine = makeLinuxMachine(options_);
        Home home = openLinuxHome(options_, machine).value();
        application_ = &linuxApplicationOf(machine);
        for (const auto name :
             {PushClientDidChangeServerConnectionStateNotification, PushClientDidReceivedMessageNotification,
              UIApplicationWillResignActiveNotification, UIApplicationDidEnterBackgroundNotification}) {
            home.notificationCenter->addObserver(
                std::string(name), nullptr,
                [this](const NSNotification& notification) { hear("notification " + notification.name); });
        }
        client_ = std::make_unique<PushClientManager>(std::move(machine), std::move(home));
        identify(*client_);
        client_->addDelegate(shared_from_this());
        client_->setServerConnectionStateHandler([this] { hear("block: state"); });
        client_->setMessageHandler([this](const auto&) { hear("block: message"); });
        client_->subscribe("news");
    }

    void hear(std::string what) {
        if (hasEnded() && !what.starts_with("notification UIApplication")) {
            heardAfterEnd.push_back(what);
        }
        heard.push_back(std::move(what));
        if (fatal_ && heard.size() == *fatal_ + 1) {
            client_.reset();  // and with it the last reference to machine and home
            application_ = nullptr;
        }
    }

    void step(const std::function<void()>& work, std::string_view until) {
        if (!hasEnded()) {
            const auto since = heard.size();
            work();
            runUntil(until, since);
        }
    }
    void runUntil(std::string_view what, std::size_t since = 0) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        const auto hasCome = [&] {
            return std::any_of(heard.begin() + static_cast<std::ptrdiff_t>(since), heard.end(),
                               [&](const auto& line) { return line.starts_with(what); });
        };
        while (!hasEnded() && !hasCome() && std::chrono::steady_clock::now() < deadline) {
            runFor(2ms);
        }
    }
    void runFor(std::chrono::milliseconds time) {
        loop_->scheduleTimer(time, [this] { loop_->stop(); });
        loop_->run();
    }

    std::optional<std::size_t> fatal_;
    TemporaryFolder folder_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    LinuxOptions options_;
    LinuxApplication* application_ = nullptr;
    std::unique_ptr<PushClientManager> client_;
};

class RealLoopEndTest : public testing::Test {
protected:
    RealLoopEndTest() { PushClientManager::setDevelopment(true); }
    ~RealLoopEndTest() override { PushClientManager::setDevelopment(false); }
};

TEST_F(RealLoopEndTest, ReportsNothingMoreWhereverEverythingIsDestroyed) {
    const auto whole = std::make_shared<Host>(std::nullopt);
    whole->live();
    ASSERT_GT(whole->heard.size(), 20U) << testing::PrintToString(whole->heard);
    for (std::size_t fatal = 0; fatal < whole->heard.size(); ++fatal) {
        const auto host = std::make_shared<Host>(fatal);
        host->live();
        SCOPED_TRACE("destroyed inside call " + std::to_string(fatal) + " of " +
                     testing::PrintToString(host->heard));
        EXPECT_THAT(host->heardAfterEnd, IsEmpty());
        if (host->hasEnded()) {
            EXPECT_TRUE(host->isHomeFree()) << "the store is closed with the client";
        }
    }
}

}  // namespace
}  // namespace xel::contract
