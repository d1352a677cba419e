// Changes in their stored form, and what many of them come to: against a store that makes them one by one.

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/StoreFold.h"

namespace xel {
namespace {

using Texts = std::vector<std::string>;

/// A store whose values are texts, or lists of them.
struct PlainHome {
    struct Client {
        std::string topics;
        std::vector<std::pair<std::uint16_t, std::string>> outbox;

        friend bool operator==(const Client&, const Client&) = default;
    };
    std::map<std::string, std::string> texts;
    std::map<std::string, Texts> lists;
    std::map<std::string, Client> clients;

    friend bool operator==(const PlainHome&, const PlainHome&) = default;
};
using PlainStore = std::map<std::string, PlainHome>;

void appendTo(Texts& list, const Texts& texts, std::size_t mostKept) {
    list.insert(list.end(), texts.begin(), texts.end());
    const std::size_t kept = std::min(list.size(), mostKept);
    list.erase(list.begin(), list.end() - static_cast<std::ptrdiff_t>(kept));
}

/// Makes each change when it hears of it.
class Maker final : public StoreChangeReader {
public:
    explicit Maker(PlainStore& store) : store_(store) {}

    void changesOf(std::string_view home) override { home_ = &store_[std::string(home)]; }
    void settingWasSet(std::string_view key, std::string_view value) override {
        home_->lists.erase(std::string(key));
        home_->texts[std::string(key)] = value;
    }
    void settingWasAppendedTo(std::string_view key, std::span<const std::string_view> texts,
                              std::size_t mostKept) override {
        home_->texts.erase(std::string(key));
        appendTo(home_->lists[std::string(key)], Texts(texts.begin(), texts.end()), mostKept);
    }
    void settingWasRemoved(std::string_view key) override {
        home_->texts.erase(std::string(key));
        home_->lists.erase(std::string(key));
    }
    void publicationWasAppended(std::string_view clientId, const StoredPublication& publication) override {
        auto& outbox = home_->clients[std::string(clientId)].outbox;
        std::erase_if(outbox, [&](const auto& entry) { return entry.first == publication.packetId; });
        outbox.emplace_back(publication.packetId, std::string(publication.topic) + " " +
                                                      std::string(publication.payload) +
                                                      (publication.retain ? " retained" : ""));
    }
    void publicationsWereRemoved(std::string_view clientId,
                                 std::span<const std::uint16_t> packetIds) override {
        std::erase_if(home_->clients[std::string(clientId)].outbox, [&](const auto& entry) {
            return std::find(packetIds.begin(), packetIds.end(), entry.first) != packetIds.end();
        });
    }
    void topicsWereSet(std::string_view clientId, std::string_view topics) override {
        home_->clients[std::string(clientId)].topics = topics;
    }
    void clientWasErased(std::string_view clientId) override { home_->clients.erase(std::string(clientId)); }

private:
    PlainStore& store_;
    PlainHome* home_ = nullptr;
};

void bringIn(const StoreFold::Setting& setting, std::string_view key, PlainHome& home) {
    if (setting.isRemovedFirst || setting.value) {
        home.texts.erase(std::string(key));
        home.lists.erase(std::string(key));
    }
    if (setting.value) {
        home.texts[std::string(key)] = *setting.value;
    }
    if (setting.isAppendedTo()) {
        home.texts.erase(std::string(key));
        appendTo(home.lists[std::string(key)], Texts(setting.texts.begin(), setting.texts.end()),
                 setting.mostKept);
    }
}

void bringIn(const StoreFold::Client& changes, PlainHome::Client& client) {
    std::erase_if(client.outbox, [&](const auto& entry) { return changes.removed.contains(entry.first); });
    for (const auto& [place, publication] : changes.appended) {
        client.outbox.emplace_back(publication.packetId, std::string(publication.topic) + " " +
                                                             std::string(publication.payload) +
                                                             (publication.retain ? " retained" : ""));
    }
    if (changes.topics) {
        client.topics = *changes.topics;
    }
}

void bringIn(const StoreFold& fold, PlainStore& store) {
    for (const auto& [name, changes] : fold.homes()) {
        PlainHome& home = store[std::string(name)];
        for (const auto& [key, setting] : changes.settings) {
            bringIn(setting, key, home);
        }
        for (const auto& [clientId, client] : changes.clients) {
            if (client.isErasedFirst) {
                home.clients.erase(std::string(clientId));
            }
            if (!client.isErasedFirst || client.topics || !client.appended.empty()) {
                bringIn(client, home.clients[std::string(clientId)]);
            }
        }
    }
}

/// Clients of which nothing is left are as good as none.
PlainStore withoutEmptyClients(PlainStore store) {
    for (auto& [name, home] : store) {
        std::erase_if(home.clients, [](const auto& each) { return each.second == PlainHome::Client(); });
    }
    return store;
}

class StoreFoldTest : public testing::Test {
protected:
    [[nodiscard]] std::string some(const char* what, unsigned of) {
        return what + std::to_string(random_() % of);
    }

    void writeChange(StoreChangeWriter& writer) {
        const std::string text = some("a text ", 1000);
        const std::string client = some("client", 2);
        const auto packetId = static_cast<std::uint16_t>(1 + random_() % 6);
        switch (random_() % 10) {
            case 0: writer.setSetting(some("key", 3), text); return;
            case 1: writer.removeSetting(some("key", 3)); return;
            case 2:
            case 3: {
                const std::vector<std::string_view> texts(random_() % 4, text);
                writer.appendToSetting(some("key", 3), texts, 1 + random_() % 4);
                return;
            }
            case 4: writer.setTopics(client, text); return;
            case 5:
                if (random_() % 4 == 0) {
                    writer.eraseClient(client);
                }
                return;
            case 6: {
                const std::uint16_t removed[] = {packetId, static_cast<std::uint16_t>(packetId + 1)};
                writer.removePublications(client, removed);
                return;
            }
            default:
                writer.appendPublication(client, {.packetId = packetId,
                                                  .topic = some("topic", 3),
                                                  .payload = text,
                                                  .retain = random_() % 2 == 0});
                return;
        }
    }

    [[nodiscard]] std::string makeRecord() {
        std::string record;
        StoreChangeWriter writer(record);
        for (auto homes = 1 + random_() % 2; homes > 0; --homes) {
            writer.changesOf(some("home", 2));
            for (auto changes = random_() % 5; changes > 0; --changes) {
                writeChange(writer);
            }
        }
        return record;
    }

    std::mt19937 random_{1};
};

TEST_F(StoreFoldTest, ComesToWhatItsChangesComeToOneByOne) {
    for (int round = 0; round < 2'000; ++round) {
        PlainStore oneByOne;
        PlainStore together;
        Maker maker(oneByOne);
        // Several folds in a row: what the first left is what the next finds.
        for (int fold = 0; fold < 3; ++fold) {
            std::vector<std::string> records(random_() % 30);
            StoreFold folded;
            for (auto& record : records) {
                record = makeRecord();
                ASSERT_TRUE(readStoreChanges(record, maker));
                ASSERT_TRUE(readStoreChanges(record, folded));
            }
            bringIn(folded, together);
        }
        ASSERT_EQ(withoutEmptyClients(together), withoutEmptyClients(oneByOne)) << "round " << round;
    }
}

TEST_F(StoreFoldTest, KeepsNoMoreOfAListThanIsLeftOfIt) {
    std::string record;
    StoreChangeWriter writer(record);
    writer.changesOf("home");
    for (int i = 0; i < 1'000; ++i) {
        const std::string_view text = "id";
        writer.appendToSetting("messageIds", {&text, 1}, 25);
    }
    StoreFold fold;
    ASSERT_TRUE(readStoreChanges(record, fold));
    EXPECT_LE(fold.homes().at("home").settings.at("messageIds").texts.size(), 51U);
}

TEST_F(StoreFoldTest, TakesNoRecordThatIsCutShort) {
    for (int round = 0; round < 200; ++round) {
        const std::string record = makeRecord();
        std::set<std::size_t> ends;  // where a change ends, and so a shorter record would
        for (std::size_t length = 0; length <= record.size(); ++length) {
            StoreFold fold;
            if (readStoreChanges(std::string_view(record).substr(0, length), fold)) {
                ends.insert(length);
            }
        }
        EXPECT_TRUE(ends.contains(record.size()));
        EXPECT_LE(ends.size(), 1 + 2 * 6U) << "a record has no more changes than this";
    }
}

TEST_F(StoreFoldTest, TakesNoChangeOfNoHome) {
    std::string record;
    StoreChangeWriter(record).removeSetting("key");
    StoreFold fold;
    EXPECT_FALSE(readStoreChanges(record, fold));
}

TEST_F(StoreFoldTest, TakesNothingElse) {
    for (const std::string_view record :
         {std::string_view("\x09\x01x", 3), std::string_view("\x00\x01x", 3), std::string_view("\x01", 1),
          std::string_view("\x01\x01h\x05\x01"
                           "c\x00\x00\x01t\x01p",
                           11),  // packet identifier 0
          std::string_view("\x01\x01h\x05\x01"
                           "c\x01\x02\x01t\x01p",
                           11),  // neither retained nor not
          std::string_view("\x01\x01h\x06\x01"
                           "c\xFF\x7F",
                           8)}) {  // more than there are
        StoreFold fold;
        EXPECT_FALSE(readStoreChanges(record, fold)) << testing::PrintToString(record);
    }
}

}  // namespace
}  // namespace xel
