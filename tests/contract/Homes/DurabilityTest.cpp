// What each choice of durability survives, as a kill and a power cut leave the files.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Store/StoreJournal.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Homes/SyncedFiles.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Store/FileContents.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

using Ids = std::vector<std::uint16_t>;

class DurabilityTest : public testing::Test {
protected:
    void open(Durability durability) {
        stored_ = {};
        auto options = home_.options();
        options.durability = durability;
        options.runLoop = loop_;
        stored_ = HomeOnDisk::open(options);
    }

    void append(std::uint16_t id) {
        ASSERT_TRUE(stored_.memory->appendToOutbox("client", {id, "t", "p", false}));
    }

    /// Ends a turn and waits for its answer.
    bool endTurn(const std::string& id) {
        const std::string_view ids[] = {id};
        stored_.defaults->appendToArray("messageIds", ids, 25);
        std::optional<bool> answer;
        stored_.defaults->synchronizeTurn([&](bool isStored) { answer = isStored; });
        EXPECT_TRUE(driveUntil(
            *loop_, [&] { return answer.has_value(); }, 20s));
        return answer.value_or(false);
    }

    /// A store that finds these files.
    static StoredHome openImage(HomeOnDisk& place, const std::map<std::string, std::string>& files) {
        fs::create_directories(place.options().folder);
        fs::permissions(place.options().folder, fs::perms::owner_all);
        for (const auto& [name, contents] : files) {
            std::ofstream(place.options().folder + "/" + name, std::ios::binary) << contents;
        }
        return place.open();
    }

    std::map<std::string, std::string> filesAfterAKill() {
        std::map<std::string, std::string> files;
        for (const char* const file : {"home.db", "home.journal", "home.journal-2"}) {
            files[file] = contentsOf(home_.options().folder + "/" + file).value_or("");
        }
        return files;
    }

    static std::vector<std::uint16_t> idsIn(const StoredHome& home) {
        std::vector<std::uint16_t> ids;
        const auto outbox = home.memory->loadOutbox("client").value();
        for (const OutboxEntry& entry : outbox) {
            ids.push_back(entry.packetId);
        }
        return ids;
    }

    HomeOnDisk home_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    StoredHome stored_;
};

TEST_F(DurabilityTest, OfMemoryWritesSettingsAndNoTraffic) {
    open(Durability::Memory);
    stored_.defaults->setObject("userId", "alice");
    ASSERT_TRUE(stored_.defaults->synchronize());
    append(1);
    EXPECT_TRUE(endTurn("m1"));
    HomeOnDisk copy;
    const auto found = openImage(copy, filesAfterAKill());
    EXPECT_EQ(found.defaults->stringForKey("userId"), "alice");
    EXPECT_EQ(found.defaults->arrayForKey("messageIds"), std::nullopt);
    EXPECT_TRUE(idsIn(found).empty());
}

TEST_F(DurabilityTest, OfMemoryKeepsTheOutboxBehindItsSession) {
    open(Durability::Memory);
    for (const std::uint16_t id : Ids{7, 3, 9}) {
        append(id);
    }
    stored_.memory->removeFromOutbox("client", Ids{3});
    EXPECT_EQ(idsIn(stored_), (Ids{7, 9}));
    EXPECT_EQ(stored_.memory->clientIds(), std::vector<std::string>{"client"});
    append(7);
    EXPECT_EQ(idsIn(stored_), (Ids{9, 7})) << "in place of the one that had the number, behind the others";
    stored_.memory->erase("client");
    EXPECT_TRUE(idsIn(stored_).empty());
    EXPECT_TRUE(stored_.memory->clientIds().empty());
}

TEST_F(DurabilityTest, OfMemorySendsFirstWhatAnotherChoiceHasLeft) {
    open(Durability::ProcessKill);
    append(5);
    append(6);
    open(Durability::Memory);
    append(1);
    EXPECT_EQ(idsIn(stored_), (Ids{5, 6, 1}));
    stored_.memory->removeFromOutbox("client", Ids{5, 1});
    EXPECT_EQ(idsIn(stored_), Ids{6});
    open(Durability::ProcessKill);
    EXPECT_EQ(idsIn(stored_), Ids{6});
}

TEST_F(DurabilityTest, OfAProcessSyncsNothing) {
    open(Durability::ProcessKill);
    const SyncedFiles synced;
    append(1);
    EXPECT_TRUE(endTurn("m1"));
    EXPECT_EQ(synced.count(), 0);
    HomeOnDisk copy;
    const auto found = openImage(copy, filesAfterAKill());
    EXPECT_EQ(idsIn(found), Ids{1});
    EXPECT_TRUE(found.defaults->arrayForKey("messageIds").has_value());
}

TEST_F(DurabilityTest, AgainstAPowerCutSyncsPublicationsInTheCallAndTurnsBeforeTheirAnswer) {
    SyncedFiles synced;
    open(Durability::PowerCut);
    append(1);
    {
        HomeOnDisk copy;
        EXPECT_EQ(idsIn(openImage(copy, synced.below(home_.options().folder))), Ids{1});
    }
    ASSERT_TRUE(endTurn("m1"));
    HomeOnDisk copy;
    const auto found = openImage(copy, synced.below(home_.options().folder));
    EXPECT_EQ(found.defaults->arrayForKey("messageIds").value().size(), 1U);
}

TEST_F(DurabilityTest, AgainstAPowerCutSyncsASettingBehindTheCall) {
    SyncedFiles synced;
    open(Durability::PowerCut);
    const int before = synced.count();
    stored_.defaults->setObject("userId", "alice");
    ASSERT_TRUE(stored_.defaults->synchronize());
    EXPECT_TRUE(driveUntil(
        *loop_, [&] { return synced.count() > before; }, 20s));
    HomeOnDisk copy;
    const auto found = openImage(copy, synced.below(home_.options().folder));
    EXPECT_EQ(found.defaults->stringForKey("userId"), "alice");
}

TEST_F(DurabilityTest, AgainstAPowerCutKeepsNothingOfAPublicationThatCouldNotBeSynced) {
    SyncedFiles synced;
    open(Durability::PowerCut);
    synced.setFailing(".journal");
    EXPECT_FALSE(stored_.memory->appendToOutbox("client", {1, "t", "p", false}));
    EXPECT_TRUE(idsIn(stored_).empty());
    EXPECT_FALSE(home_.problems().empty());
    synced.setFailing("");
    append(2);
    stored_ = {};
    EXPECT_EQ(idsIn(home_.open()), Ids{2});
}

// The system tells of a failed sync once, and forgets what it could not write.
TEST_F(DurabilityTest, AgainstAPowerCutBelievesNoFileWhoseSyncHasFailed) {
    SyncedFiles synced;
    open(Durability::PowerCut);
    ASSERT_TRUE(endTurn("m1"));
    synced.setFailing(".journal");
    EXPECT_FALSE(endTurn("m2"));
    synced.setFailing("");
    std::string id = "m3";
    ASSERT_TRUE(driveUntil(
        *loop_, [&] { return endTurn(id += "+"); }, 20s))
        << "it goes on in the other file";
    HomeOnDisk copy;
    const auto image = synced.below(home_.options().folder);
    const auto found = openImage(copy, image);
    const auto ids = found.defaults->arrayForKey("messageIds").value();
    EXPECT_EQ(ids.front(), Value("m1"));
    EXPECT_EQ(ids.at(1), Value("m2")) << "what was stored and not synced is written once more";
    EXPECT_EQ(ids.back(), Value(id));
}

// Of what was not synced nothing reaches the disk, and the journal is carried over several times.
TEST_F(DurabilityTest, AgainstAPowerCutLosesNothingThatWasAnswered) {
    SyncedFiles synced;
    open(Durability::PowerCut);
    const std::string large(StoreJournal::kRunLength / 8, 'x');
    for (int turn = 1; turn <= 30; ++turn) {
        stored_.defaults->setObject("large", large + std::to_string(turn));
        append(static_cast<std::uint16_t>(turn));
        ASSERT_TRUE(endTurn("m" + std::to_string(turn)));
        HomeOnDisk copy;
        const auto found = openImage(copy, synced.below(home_.options().folder));
        ASSERT_NE(found.defaults, nullptr) << turn;
        EXPECT_EQ(found.defaults->arrayForKey("messageIds").value().back(),
                  Value("m" + std::to_string(turn)));
        EXPECT_EQ(idsIn(found).size(), static_cast<std::size_t>(turn));
    }
}

}  // namespace
}  // namespace xel::contract
