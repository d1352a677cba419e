#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTEngine.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/Outbox.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/MQTTSDK/Octets.h"
#include "tests/unit/MQTTSDK/UnreadableMemory.h"

namespace xel {
namespace {

constexpr std::string_view kOwner = "shop/alice/d1";

class OutboxTest : public testing::Test {
protected:
    std::unique_ptr<Outbox> makeOutbox() {
        ids_ = std::make_shared<PacketIds>();
        return std::make_unique<Outbox>(memory_, std::string(kOwner), ids_, options_);
    }

    std::vector<std::uint16_t> storedIds() {
        std::vector<std::uint16_t> ids;
        const auto entries = memory_.loadOutbox(kOwner).value();
        for (const OutboxEntry& entry : entries) {
            ids.push_back(entry.packetId);
        }
        return ids;
    }

    static std::vector<std::uint16_t> waitingIds(Outbox& outbox) {
        std::vector<std::uint16_t> ids;
        for (const auto& publication : outbox.publications()) {
            ids.push_back(publication.packetId);
        }
        return ids;
    }

    std::string written(Outbox& outbox, Outbox::Publication& publication) {
        MQTTEngine engine({}, options_, ids_, {});
        outbox.write(publication, engine);
        outbox.connectionDidEnd();
        return hexFromOctets(engine.output());
    }

    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    InMemorySessionMemory memory_{disk_};
    MQTTSessionOptions options_;
    std::shared_ptr<PacketIds> ids_;
};

using Ids = std::vector<std::uint16_t>;

TEST_F(OutboxTest, StoresAPublicationBeforeItIsThere) {
    const auto outbox = makeOutbox();
    const auto* publication = outbox->add("a/b", "data", true).value();
    ASSERT_NE(publication, nullptr);
    const std::vector<OutboxEntry> expected{{1, "a/b", "data", true}};
    EXPECT_EQ(memory_.loadOutbox(kOwner).value(), expected);
}

TEST_F(OutboxTest, WritesThePacketPlainAndThenAsADuplicate) {
    const auto outbox = makeOutbox();
    auto* publication = outbox->add("a", "x", true).value();
    ASSERT_NE(publication, nullptr);
    EXPECT_EQ(written(*outbox, *publication),
              "33060001610001"
              "78");
    EXPECT_EQ(written(*outbox, *publication),
              "3b060001610001"
              "78");
}

TEST_F(OutboxTest, KeepsTheOrderOfMakingWhateverIsAcknowledgedFirst) {
    const auto outbox = makeOutbox();
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(outbox->add("a", "x", false));
    }
    EXPECT_TRUE(outbox->settle(4));
    EXPECT_TRUE(outbox->settle(1));
    EXPECT_EQ(waitingIds(*outbox), (Ids{2, 3, 5}));
}

TEST_F(OutboxTest, TellsTheMemoryOnceForAllThatWasSettled) {
    const auto outbox = makeOutbox();
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(outbox->add("a", "x", false));
    }
    const auto commits = disk_->commitCount();
    EXPECT_TRUE(outbox->settle(1));
    EXPECT_TRUE(outbox->settle(3));
    EXPECT_EQ(storedIds(), (Ids{1, 2, 3}));
    outbox->commitSettled();
    EXPECT_EQ(storedIds(), (Ids{2}));
    EXPECT_EQ(disk_->commitCount(), commits + 1);
    outbox->commitSettled();
    EXPECT_EQ(disk_->commitCount(), commits + 1) << "nothing new to tell";
}

TEST_F(OutboxTest, FreesAnIdentifierOnlyWhenTheMemoryHasForgottenIt) {
    const auto outbox = makeOutbox();
    ASSERT_TRUE(outbox->add("a", "x", false));
    EXPECT_TRUE(outbox->settle(1));
    EXPECT_FALSE(ids_->reserve(1));
    outbox->commitSettled();
    EXPECT_TRUE(ids_->reserve(1));
}

TEST_F(OutboxTest, SettlesOnlyWhatItHolds) {
    const auto outbox = makeOutbox();
    ASSERT_TRUE(outbox->add("a", "x", false));
    EXPECT_FALSE(outbox->settle(2));
    EXPECT_TRUE(outbox->settle(1));
    EXPECT_FALSE(outbox->settle(1));
}

TEST_F(OutboxTest, LoadsWhatAnEarlierLifeLeftAndMarksItAsDuplicate) {
    {
        const auto outbox = makeOutbox();
        ASSERT_TRUE(outbox->add("a", "x", false));
        ASSERT_TRUE(outbox->add("b", "y", false));
    }
    const auto outbox = makeOutbox();
    EXPECT_EQ(waitingIds(*outbox), (Ids{1, 2}));
    EXPECT_EQ(written(*outbox, outbox->at(1)),
              "3a060001610001"
              "78");
    ASSERT_TRUE(outbox->add("c", "z", false));
    EXPECT_EQ(waitingIds(*outbox), (Ids{1, 2, 3})) << "no identifier is used twice";
}

TEST_F(OutboxTest, LeavesOutWhatADamagedStoreHolds) {
    const std::vector<OutboxEntry> damaged{{0, "a", "x", false},
                                           {5, "a/#", "x", false},
                                           {6, "\xFF", "x", false},
                                           {7, "good", "x", false},
                                           {7, "twice", "x", false}};
    for (const auto& entry : damaged) {
        ASSERT_TRUE(memory_.appendToOutbox(kOwner, entry).isOk());
    }
    const auto outbox = makeOutbox();
    EXPECT_EQ(waitingIds(*outbox), (Ids{7}));
    EXPECT_EQ(storedIds().size(), damaged.size()) << "nothing leaves the memory untold";
    std::vector<std::string> told;
    while (const auto unusable = outbox->takeUnusable()) {
        told.push_back(unusable->entry.topic + ": " + unusable->error.localizedDescription());
    }
    ASSERT_EQ(told.size(), 4U);
    EXPECT_THAT(told, testing::Each(testing::HasSubstr("the ")));
    EXPECT_EQ(storedIds(), (Ids{7, 7})) << "a sound publication is not removed with its double";
}

TEST_F(OutboxTest, TakesNothingBeforeItIsKnownWhatIsStored) {
    ASSERT_TRUE(makeOutbox()->add("a", "x", false));
    UnreadableMemory unreadable(memory_);
    ids_ = std::make_shared<PacketIds>();
    Outbox outbox(unreadable, std::string(kOwner), ids_, options_);
    const auto refused = outbox.add("b", "y", false);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(isMQTTError(refused.error(), MQTTErrorCode::PublicationNotStored));
    EXPECT_THAT(refused.error().localizedDescription(), testing::HasSubstr("a bad sector"));
    EXPECT_EQ(ids_->countInUse(), 0U);
    unreadable.isReadable = true;
    outbox.load();
    EXPECT_TRUE(outbox.add("b", "y", false));
    outbox.load();
    EXPECT_EQ(waitingIds(outbox), (Ids{1, 2}));
    EXPECT_EQ(storedIds(), (Ids{1, 2})) << "the new one has not taken the place of the stored one";
}

TEST_F(OutboxTest, IsNotLoadedWhileARequestHasAnIdentifierOfWhatIsStored) {
    ASSERT_TRUE(makeOutbox()->add("a", "x", false));
    UnreadableMemory unreadable(memory_);
    ids_ = std::make_shared<PacketIds>();
    Outbox outbox(unreadable, std::string(kOwner), ids_, options_);
    const std::uint16_t request = ids_->take();
    unreadable.isReadable = true;
    outbox.load();
    EXPECT_FALSE(outbox.isLoaded());
    EXPECT_FALSE(outbox.add("b", "y", false));
    ids_->release(request);
    outbox.load();
    EXPECT_EQ(waitingIds(outbox), (Ids{1}));
    EXPECT_FALSE(outbox.hasUnusable());
}

TEST_F(OutboxTest, TakesASmallPublicationBehindAGreatOne) {
    const auto outbox = makeOutbox();
    const std::string great(100'000, 'g');
    ASSERT_TRUE(outbox->add("a", great, false));
    ASSERT_TRUE(outbox->add("b", "small", true));
    const std::vector<OutboxEntry> expected{{1, "a", great, false}, {2, "b", "small", true}};
    EXPECT_EQ(memory_.loadOutbox(kOwner).value(), expected);
    EXPECT_EQ(Outbox::contentOf(lastOf(outbox->publications())).second, "small");
}

TEST_F(OutboxTest, RefusesBeyondTheNumberOfPublications) {
    options_.maxOutboxPublications = 2;
    const auto outbox = makeOutbox();
    ASSERT_TRUE(outbox->add("a", "x", false));
    ASSERT_TRUE(outbox->add("a", "x", false));
    EXPECT_FALSE(outbox->add("a", "x", false));
    EXPECT_EQ(storedIds(), (Ids{1, 2}));
    EXPECT_TRUE(outbox->settle(1));
    EXPECT_TRUE(outbox->add("a", "x", false)) << "there is room again";
}

TEST_F(OutboxTest, RefusesBeyondTheNumberOfOctets) {
    options_.maxOutboxOctets = 8 + 8;  // a packet of one letter of topic and one of data has eight
    const auto outbox = makeOutbox();
    ASSERT_TRUE(outbox->add("a", "x", false));
    EXPECT_FALSE(outbox->add("a", "xy", false));
    ASSERT_TRUE(outbox->add("a", "x", false));
    EXPECT_FALSE(outbox->add("a", "", false));
    EXPECT_TRUE(outbox->settle(2));
    EXPECT_TRUE(outbox->add("a", "x", false));
}

TEST_F(OutboxTest, RefusesAPacketOverTheSizeLimit) {
    options_.maxPacketSize = 100;
    const auto outbox = makeOutbox();
    EXPECT_TRUE(outbox->add("a", std::string(93, 'x'), false));
    EXPECT_FALSE(outbox->add("a", std::string(94, 'x'), false));
}

TEST_F(OutboxTest, RefusesWhatCannotBeStored) {
    const auto outbox = makeOutbox();
    disk_->setFailingCommits(true);
    EXPECT_FALSE(outbox->add("a", "x", false));
    EXPECT_EQ(ids_->countInUse(), 0U);
    disk_->setFailingCommits(false);
    EXPECT_TRUE(outbox->add("a", "x", false));
    EXPECT_EQ(storedIds().size(), 1U);
}

TEST_F(OutboxTest, ComesByWhatIsPassedOverOnceInAConnection) {
    const auto outbox = makeOutbox();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(outbox->add("a", "x", false));
    }
    int steps = 0;
    const auto passOver = [&steps](const Outbox::Publication&) { return ++steps > 0; };
    for (std::uint16_t id = 1; id <= 50; ++id) {
        EXPECT_EQ(outbox->firstUnwritten(passOver), nullptr);
        EXPECT_TRUE(outbox->settle(id));
    }
    EXPECT_EQ(steps, 100) << "and not again with each acknowledgement";
    outbox->connectionDidEnd();
    EXPECT_EQ(outbox->firstUnwritten(passOver), nullptr);
    EXPECT_EQ(steps, 150);
}

TEST_F(OutboxTest, FindsTheFirstThatIsNotWritten) {
    const auto outbox = makeOutbox();
    const auto none = [](const Outbox::Publication&) { return false; };
    const auto firstId = [&] {
        const auto* first = outbox->firstUnwritten(none);
        return first != nullptr ? int{first->packetId} : 0;
    };
    MQTTEngine engine({}, options_, ids_, {});
    EXPECT_EQ(firstId(), 0);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(outbox->add("a", "x", false));
    }
    EXPECT_EQ(firstId(), 1);
    EXPECT_TRUE(outbox->settle(1));
    EXPECT_EQ(firstId(), 2);
    outbox->write(outbox->at(2), engine);
    outbox->write(outbox->at(3), engine);
    EXPECT_EQ(firstId(), 0);
    ASSERT_TRUE(outbox->add("a", "x", false));
    EXPECT_EQ(firstId(), 4) << "the end was reached, and is not the end any more";
    outbox->connectionDidEnd();
    EXPECT_EQ(firstId(), 2);
}

TEST_F(OutboxTest, HoldsFiftyThousandPublications) {
    class Nowhere final : public SessionMemory {
    public:
        Result<std::vector<OutboxEntry>> loadOutbox(std::string_view) override {
            return std::vector<OutboxEntry>();
        }
        Result<void> appendToOutbox(std::string_view, const OutboxEntry&) override { return {}; }
        void removeFromOutbox(std::string_view, std::span<const std::uint16_t>) override {}
        Result<TopicTable> loadGrantedTopics(std::string_view) override { return TopicTable(); }
        Result<void> storeGrantedTopics(std::string_view, const TopicTable&) override { return {}; }
        std::vector<std::string> clientIds() override { return {}; }
        void erase(std::string_view) override {}
    };
    Nowhere nowhere;
    Outbox outbox(nowhere, "c", std::make_shared<PacketIds>(), options_);
    for (int i = 0; i < 50'000; ++i) {
        ASSERT_TRUE(outbox.add("a", "x", false)) << i;
    }
    EXPECT_FALSE(outbox.add("a", "x", false));
}

}  // namespace
}  // namespace xel
