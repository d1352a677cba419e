#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;

/// What an event in one room means for the others.
class ClientCoordinatorTest : public RoomsTest {
protected:
    ClientCoordinator& room() { return rooms_->coordinator; }

    void failRegistration(NSURLErrorCode code) {
        rooms_->registrationState.handleRegistrationFailWithError(
            makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), "failed"));
    }
};

TEST_F(ClientCoordinatorTest, ResumesAPendingRegistrationInsteadOfConnecting) {
    identify();
    rooms_->token.deviceToken = Data{1};
    failRegistration(NSURLErrorCode::TimedOut);
    room().pendingConnectToServer();
    machine_.runUntilIdle();
    EXPECT_EQ(machine_.http->requests().size(), 1U);
    EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedState);
}

TEST_F(ClientCoordinatorTest, ConnectsWhenNoRegistrationIsPending) {
    identify();
    rooms_->token.deviceToken = Data{1};
    failRegistration(NSURLErrorCode::BadServerResponse);
    room().pendingConnectToServer();
    machine_.runUntilIdle();
    EXPECT_TRUE(machine_.http->requests().empty());
    EXPECT_EQ(rooms_->state.value(), PushClientServerConnectingState);
}

TEST_F(ClientCoordinatorTest, TearsTheSessionDownWhenTheInstallationIdChanges) {
    connect();
    room().observeInstallationId();
    ASSERT_TRUE(rooms_->subscriptionRequests.goingToTopics());
    const auto session = lastOf(sessions_->made);
    session->calls.clear();
    room().installationIdWillChange();
    EXPECT_THAT(session->calls, ElementsAre("close"));
    EXPECT_EQ(session->delegate, nullptr);
    EXPECT_FALSE(rooms_->session.current());
    EXPECT_FALSE(rooms_->channels.topics);
    EXPECT_FALSE(rooms_->subscriptionRequests.goingToTopics());
    EXPECT_TRUE(home_.defaults->objectForKey("userChannels")) << "the stored table stays";
}

TEST_F(ClientCoordinatorTest, KeepsTheSessionOnceDetachedFromTheNotificationCentre) {
    connect();
    room().observeInstallationId();
    room().stopObservingInstallationId();
    room().installationIdWillChange();
    EXPECT_TRUE(rooms_->session.current());
    EXPECT_TRUE(rooms_->state.isConnected());
}

}  // namespace
}  // namespace xel
