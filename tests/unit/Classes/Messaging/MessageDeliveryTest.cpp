#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

class MessageDeliveryTest : public RoomsTest {
protected:
    void deliver(std::string body) {
        auto message = std::make_shared<PushClientMessage>();
        message->messageBody = std::move(body);
        rooms_->delivery.deliver(message);
    }
};

TEST_F(MessageDeliveryTest, ShowsANotificationUnlessTheHostDoes) {
    registerApplication();
    const auto shown = [&] { return machine_.application->presentedNotifications().size(); };
    deliver("hi");
    EXPECT_EQ(shown(), 1U);
    rooms_->fanout.blocks.messageUILocalNotificationHandler = [](const auto&) {};
    deliver("hi");
    EXPECT_EQ(shown(), 1U);
}

TEST_F(MessageDeliveryTest, ShowsNothingOfASessionThatTheHostEnded) {
    connect();
    rooms_->fanout.blocks.messageHandler = [&](const auto&) { rooms_->coordinator.reset(); };
    sessions_->latest().publish(R"({"messageBody":"hi"})", "app/a1b2c3/user/public/news");
    EXPECT_TRUE(machine_.application->presentedNotifications().empty());
}

}  // namespace
}  // namespace xel
