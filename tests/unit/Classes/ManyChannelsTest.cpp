#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Testing/Simulation/SimulatedService.h"

namespace xel {
namespace {

using testing::SizeIs;

/// A client and its service, through a list of channels and another process.
class ManyChannels {
public:
    explicit ManyChannels(int count) {
        for (int i = 0; i < count; ++i) {
            channels_.push_back("channel-" + std::to_string(i));
        }
        launch();
    }
    ~ManyChannels() { kill(); }
    ManyChannels(const ManyChannels&) = delete;
    ManyChannels& operator=(const ManyChannels&) = delete;

    void subscribe() {
        client_->subscribeList(channels_);
        settle();
    }
    void unsubscribeFromEverything() {
        client_->unregisterUser();
        settle();
    }
    /// The broker has forgotten everything meanwhile.
    void launchAgain() {
        kill();
        fakes_.broker->forgetSessions();
        launch();
    }

    /// Since the last time.
    std::size_t takeCommitCount() {
        const std::size_t count = fakes_.disk->commitCount();
        return count - std::exchange(commitsTaken_, count);
    }
    std::vector<FakeBrokerPacket> takePackets(FakeBrokerPacketType type) {
        auto packets = fakes_.broker->packetsOfType(type);
        fakes_.clearRecords();
        return packets;
    }
    [[nodiscard]] std::size_t granted() const {
        return fakes_.broker->subscriptionsOf(*client_->brokerClientId()).size();
    }

private:
    void launch() {
        home_ = fakes_.makeHome();
        client_ = std::make_unique<PushClientManager>(fakes_.machine(), *home_);
        client_->registerApplication("shop", "key", "user", "password");
        client_->registerUser("alice01");
        settle();
    }
    void kill() {
        fakes_.kill([this] {
            client_.reset();
            home_.reset();
        });
    }
    void settle() { fakes_.advanceBy(std::chrono::seconds(1)); }

    FakeMachine fakes_;
    SimulatedService service_{fakes_};
    std::vector<std::string> channels_;
    std::optional<Home> home_;
    std::unique_ptr<PushClientManager> client_;
    std::size_t commitsTaken_ = 0;
};

constexpr int kFew = 2;
constexpr int kMany = 2000;
constexpr std::size_t kOwnTopics = 2;  // the device's and the user's default one

TEST(ManyChannelsTest, AreStoredAndSentAsOftenAsFew) {
    ManyChannels few(kFew);
    ManyChannels many(kMany);
    EXPECT_EQ(many.takeCommitCount(), few.takeCommitCount());
    (void)many.takePackets(FakeBrokerPacketType::Subscribe);
    few.subscribe();
    many.subscribe();
    EXPECT_EQ(many.takeCommitCount(), few.takeCommitCount());
    const auto subscribes = many.takePackets(FakeBrokerPacketType::Subscribe);
    ASSERT_THAT(subscribes, SizeIs(1));
    EXPECT_THAT(subscribes[0].topics, SizeIs(kMany));
    EXPECT_EQ(many.granted(), kMany + kOwnTopics);

    few.launchAgain();
    many.launchAgain();
    EXPECT_EQ(many.takeCommitCount(), few.takeCommitCount());
    EXPECT_THAT(many.takePackets(FakeBrokerPacketType::Subscribe), SizeIs(1));
    EXPECT_EQ(many.granted(), kMany + kOwnTopics);
}

TEST(ManyChannelsTest, AreLeftTogether) {
    ManyChannels few(kFew);
    ManyChannels many(kMany);
    few.subscribe();
    many.subscribe();
    (void)few.takeCommitCount();
    (void)many.takeCommitCount();
    few.unsubscribeFromEverything();
    many.unsubscribeFromEverything();
    EXPECT_EQ(many.takeCommitCount(), few.takeCommitCount());
    const auto unsubscribes = many.takePackets(FakeBrokerPacketType::Unsubscribe);
    ASSERT_THAT(unsubscribes, SizeIs(1));
    EXPECT_THAT(unsubscribes[0].topicNames, SizeIs(kMany + kOwnTopics));
}

}  // namespace
}  // namespace xel
