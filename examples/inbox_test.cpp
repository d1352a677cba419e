// How a host tests itself: a class of the host's own on the real client, the client on a machine of fakes,
// and a service that fails as the test says. Time is the test's too: an hour takes a millisecond.
//
// Needs XelPushClient::Testing and GoogleTest. docs/testing.md tells the rest.

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/Simulation/SimulatedService.h"
#include "XelPushClient/XelPushClient.h"

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

/// The host's own: shows its user what comes, sends what the user writes, and registers until that succeeds.
class Inbox {
public:
    Inbox(const xel::Machine& machine, xel::Home home)
        : runLoop_(machine.runLoop), push_(machine, std::move(home)) {
        push_.setMessageHandler([this](const xel::PushClientMessage& message) {
            shown_.push_back(message.messageBody.value_or(""));
        });
        push_.setRegistrationHandler([this](bool registered, const auto&, const auto&) {
            if (!registered) {
                retry_ = runLoop_->scheduleTimer(1min, [this] { open(); });
            }
        });
        push_.registerApplication("shop", "key", "user", "password");
        open();
    }
    ~Inbox() {
        if (retry_) {
            retry_->invalidate();
        }
    }
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;

    bool write(const std::string& text) { return push_.publish("news", text); }
    [[nodiscard]] const Texts& shown() const { return shown_; }
    [[nodiscard]] std::string state() const { return std::string(push_.connectionStateString()); }

private:
    void open() { push_.registerUser("alice01"); }

    std::shared_ptr<xel::NSRunLoop> runLoop_;
    std::shared_ptr<xel::NSTimer> retry_;
    Texts shown_;
    xel::PushClientManager push_;
};

class InboxTest : public testing::Test {
protected:
    void start() {
        inbox_ = std::make_unique<Inbox>(machine_.machine(), machine_.makeHome());
        machine_.advanceBy(1s);
    }

    /// A message to the user, from somebody else.
    void send(const std::string& id, const std::string& text) {
        machine_.broker->publish(
            {"app/shop/user/alice01/default", R"({"id":")" + id + R"(","messageBody":")" + text + R"("})"});
        machine_.runUntilIdle();
    }

    xel::FakeMachine machine_;
    xel::SimulatedService service_{machine_};
    std::unique_ptr<Inbox> inbox_;
};

TEST_F(InboxTest, ShowsWhatCameWhileTheBrokerWasDownOnceItIsBack) {
    start();
    service_.inject("broker stops listening for 10 s");
    service_.inject("broker resets connections");
    machine_.advanceBy(1s);
    EXPECT_EQ(inbox_->state(), "Error");
    send("m1", "hello");
    EXPECT_EQ(inbox_->shown(), Texts());
    machine_.advanceBy(15s);
    EXPECT_EQ(inbox_->shown(), Texts{"hello"});
}

TEST_F(InboxTest, ShowsAMessageOnceThoughItComesTwice) {
    start();
    service_.inject("broker repeats publications");
    send("m1", "hello");
    EXPECT_EQ(inbox_->shown(), Texts{"hello"});
}

TEST_F(InboxTest, SendsWhatWasWrittenOfflineAlsoAfterACrash) {
    start();
    service_.inject("network is unreachable");
    EXPECT_TRUE(inbox_->write("written in a tunnel"));
    machine_.kill([this] { inbox_.reset(); });
    service_.heal();
    start();
    machine_.advanceBy(10s);
    const auto sent = machine_.broker->packetsOfType(xel::FakeBrokerPacketType::Publish);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].topic, "app/shop/publish/public/news");
}

TEST_F(InboxTest, ShowsAMessageAgainThatItsProcessDiedOver) {
    start();
    service_.inject("disk kills before write 1");
    EXPECT_THROW(send("m1", "hello"), xel::ProcessKilled);
    EXPECT_EQ(inbox_->shown(), Texts{"hello"});
    machine_.kill([this] { inbox_.reset(); });
    start();
    EXPECT_EQ(inbox_->shown(), Texts{"hello"}) << "nobody had stored that it was shown";
}

TEST_F(InboxTest, KnowsThatAFullDiskKeepsNothing) {
    start();
    service_.inject("disk is full");
    EXPECT_FALSE(inbox_->write("not kept"));
}

TEST_F(InboxTest, RegistersOnceTheBackendIsWellAgain) {
    service_.inject("backend answers 503 for 90 s");
    start();
    EXPECT_EQ(inbox_->state(), "Disconnected");
    machine_.advanceBy(2min);
    EXPECT_EQ(inbox_->state(), "Connected");
}

}  // namespace
