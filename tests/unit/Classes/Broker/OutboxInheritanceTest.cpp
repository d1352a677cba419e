#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/Broker/OutboxInheritance.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/unit/MQTTSDK/UnreadableMemory.h"

namespace xel {
namespace {

constexpr std::string_view kFormer = "shop/alice/d1";
constexpr std::string_view kHeir = "shop/alice/d2";
using Entries = std::vector<OutboxEntry>;

class OutboxInheritance : public testing::Test {
protected:
    void append(std::string_view clientId, const OutboxEntry& entry) {
        ASSERT_TRUE(memory_.appendToOutbox(clientId, entry));
    }
    Entries outbox(std::string_view clientId) { return memory_.loadOutbox(clientId).value(); }

    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    InMemorySessionMemory memory_{disk_};
};

TEST_F(OutboxInheritance, ComesBehindWhatIsThereUnderIdentifiersThatAreFree) {
    append(kFormer, {2, "t", "a", false});
    append(kFormer, {1, "t", "b", true});
    append(kFormer, {7, "t", "c", false});
    append(kHeir, {2, "t", "mine", false});
    ASSERT_TRUE(memory_.storeGrantedTopics(kFormer, {{"t", 1}}));
    EXPECT_TRUE(inheritOutbox(memory_, kFormer, kHeir));
    EXPECT_EQ(
        outbox(kHeir),
        (Entries{{2, "t", "mine", false}, {1, "t", "a", false}, {3, "t", "b", true}, {7, "t", "c", false}}));
    EXPECT_TRUE(outbox(kFormer).empty());
    EXPECT_EQ(memory_.clientIds(), std::vector<std::string>{std::string(kHeir)}) << "nothing is left of it";
}

TEST_F(OutboxInheritance, StaysWhereItIsWhileItCannotBeRead) {
    append(kFormer, {1, "t", "a", false});
    UnreadableMemory unreadable(memory_);
    EXPECT_FALSE(inheritOutbox(unreadable, kFormer, kHeir));
    EXPECT_EQ(outbox(kFormer).size(), 1U);
    unreadable.isReadable = true;
    EXPECT_TRUE(inheritOutbox(unreadable, kFormer, kHeir));
    EXPECT_EQ(outbox(kHeir).size(), 1U);
}

TEST_F(OutboxInheritance, StaysWhereItIsWhileItCannotBeStored) {
    append(kFormer, {1, "t", "a", false});
    disk_->setFailingCommits(true);
    EXPECT_FALSE(inheritOutbox(memory_, kFormer, kHeir));
    disk_->setFailingCommits(false);
    EXPECT_EQ(outbox(kFormer).size(), 1U);
    EXPECT_TRUE(outbox(kHeir).empty());
}

TEST_F(OutboxInheritance, StaysWhereItIsWhileEveryIdentifierIsTaken) {
    append(kFormer, {5, "t", "a", false});
    Entries all;
    for (std::uint32_t id = 1; id <= 65'535; ++id) {
        all.push_back({static_cast<std::uint16_t>(id), "t", "", false});
    }
    class Full final : public ForwardingSessionMemory {
    public:
        Full(SessionMemory& memory, Entries entries)
            : ForwardingSessionMemory({std::shared_ptr<void>(), &memory}), entries_(std::move(entries)) {}
        Result<Entries> loadOutbox(std::string_view clientId) override {
            return clientId == kHeir ? Result<Entries>(entries_)
                                     : ForwardingSessionMemory::loadOutbox(clientId);
        }

    private:
        Entries entries_;
    };
    Full full(memory_, std::move(all));
    EXPECT_TRUE(inheritOutbox(full, kFormer, kHeir));
    EXPECT_EQ(outbox(kFormer).size(), 1U);
}

TEST_F(OutboxInheritance, IsPartOfWhatTheHeirsSessionLoads) {
    InheritingSessionMemory seen({std::shared_ptr<void>(), &memory_});
    append(kFormer, {1, "t", "a", false});
    append("shop/alice/d0", {4, "t", "b", false});
    append("shop/bob/d1", {1, "t", "not mine", false});
    disk_->setFailingCommits(true);
    EXPECT_FALSE(seen.loadOutbox(kHeir)) << "what comes later would take its place";
    disk_->setFailingCommits(false);
    EXPECT_EQ(seen.loadOutbox(kHeir).value(), (Entries{{4, "t", "b", false}, {1, "t", "a", false}}));
    EXPECT_EQ(outbox("shop/bob/d1").size(), 1U);
}

}  // namespace
}  // namespace xel
