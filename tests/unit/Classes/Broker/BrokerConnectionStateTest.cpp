#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

class BrokerConnectionStateTest : public RoomsTest {
protected:
    BrokerConnectionState& room() { return rooms_->state; }
};

TEST_F(BrokerConnectionStateTest, ReportsEveryAssignmentOfTheState) {
    addDelegate();
    room().assign(PushClientServerDisconnectedState);
    room().assign(PushClientServerDisconnectedState);
    EXPECT_EQ(takeHeard().size(), 2U);
}

TEST_F(BrokerConnectionStateTest, IsThereBeforeItsReport) {
    bool wasConnected = false;
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { wasConnected = room().isConnected(); };
    room().assign(PushClientServerConnectedState);
    EXPECT_TRUE(wasConnected);
    EXPECT_EQ(room().value(), PushClientServerConnectedState);
}

TEST_F(BrokerConnectionStateTest, GoesOnAfterTheReportAlsoWhenTheHostThrows) {
    std::vector<std::string> steps;
    const auto rest = [&] { steps.emplace_back("rest"); };
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { steps.emplace_back("report"); };
    room().assignThen(PushClientServerConnectingState, rest);
    rooms_->fanout.blocks.serverConnectionStateHandler = [] { throw std::runtime_error("host"); };
    EXPECT_THROW(room().assignThen(PushClientServerConnectedState, rest), std::runtime_error);
    EXPECT_THAT(steps, testing::ElementsAre("report", "rest", "rest"));
    EXPECT_TRUE(room().isConnected());
}

}  // namespace
}  // namespace xel
