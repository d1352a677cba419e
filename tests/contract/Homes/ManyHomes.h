#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/FileContents.h"

namespace xel::contract {

/// A store of many homes, each with settings, an outbox and topics of its own, which is damaged and compared
/// with what was stored.
class ManyHomes {
public:
    struct Home {
        std::map<std::string, Value> settings;
        std::vector<OutboxEntry> outbox;
        TopicTable topics;
    };
    static constexpr std::size_t kPage = 4096;
    static constexpr std::string_view kClient = "client";

    HomeStoreOptions options() { return disk_.options(); }
    [[nodiscard]] std::string path() { return disk_.databasePath(); }
    [[nodiscard]] const std::vector<NSError>& problems() const { return disk_.problems(); }
    [[nodiscard]] HomeOnDisk& disk() { return disk_; }
    std::map<std::string, Home>& homes() { return homes_; }

    /// Stores so many homes. "home<n>" has a text that no other has, "mark<n>.".
    void fill(int count) {
        const auto store = HomeStore::open(options()).value();
        for (int i = 0; i < count; ++i) {
            const std::string number = std::to_string(i);
            Home& home = homes_["home" + number];
            home.settings["userId"] = "user" + number;
            home.settings["marker"] = "mark" + number + "." + std::string(700, 'm');
            home.settings["AppLaunchCount"] = i;
            home.settings["messageIds"] = Array{Value("a" + number), Value("b" + number)};
            for (int id = 1; id <= i % 5; ++id) {
                home.outbox.push_back({static_cast<std::uint16_t>(id * 7), "t/" + number,
                                       "payload " + number + std::string(200, 'p'), id % 2 == 0});
            }
            home.topics = {{"topic/" + number, 1}, {"news", 2}};
            write(store, "home" + number);
        }
    }

    void write(const std::shared_ptr<HomeStore>& store, const std::string& name) {
        const auto opened = openStoredHome(store, name).value();
        const Home& home = homes_.at(name);
        for (const auto& [key, value] : home.settings) {
            opened.defaults->setObject(key, value);
        }
        EXPECT_TRUE(opened.defaults->synchronize());
        for (const OutboxEntry& entry : home.outbox) {
            EXPECT_TRUE(opened.memory->appendToOutbox(kClient, entry));
        }
        EXPECT_TRUE(opened.memory->storeGrantedTopics(kClient, home.topics));
    }

    [[nodiscard]] std::string octets() { return contentsOf(path()).value_or(""); }
    void put(const std::string& octets) { replaceContents(path(), octets); }

    /// The page that the text is on.
    static std::size_t pageOf(const std::string& octets, std::string_view text) {
        const std::size_t at = octets.find(text);
        EXPECT_NE(at, std::string::npos) << text;
        return at / kPage;
    }
    static void spoil(std::string& octets, std::size_t page) {
        std::fill_n(octets.begin() + static_cast<std::ptrdiff_t>(page * kPage), kPage, '\x5A');
    }

    [[nodiscard]] std::vector<std::string> filesSetAside() { return disk_.filesSetAside(); }

    /// Whether a report since the opening names the home, or says that there are some that it does not name.
    [[nodiscard]] bool isTold(const std::string& name) const {
        return std::any_of(problems().begin(), problems().end(), [&](const NSError& problem) {
            const std::string text = problem.localizedDescription();
            return text.find("\"" + name + "\"") != std::string::npos ||
                   text.find("are damaged and left out") != std::string::npos ||
                   text.find("more homes") != std::string::npos ||
                   text.find("names cannot be read") != std::string::npos ||
                   text.find("none of it can be read") != std::string::npos;
        });
    }

    struct Outcome {
        std::vector<std::string> whole;
        std::vector<std::string> lost;
        std::vector<std::string> partial;
    };
    /// Compares each home with what was stored. What is there is as it was; what is not was told. A setting
    /// alone may be missing where the file was not set aside.
    Outcome compare(const std::shared_ptr<HomeStore>& store) {
        Outcome outcome;
        for (const auto& [name, home] : homes_) {
            const auto opened = openStoredHome(store, name).value();
            std::size_t settings = 0;
            for (const auto& [key, value] : home.settings) {
                const auto stored = opened.defaults->objectForKey(key);
                settings += stored ? 1 : 0;
                EXPECT_TRUE(!stored || *stored == value) << name << ": " << key;
            }
            const auto outbox = opened.memory->loadOutbox(kClient);
            const auto topics = opened.memory->loadGrantedTopics(kClient);
            const std::size_t publications = outbox ? outbox.value().size() : 0;
            if (outbox) {
                expectPartOf(home.outbox, outbox.value(), name);
            }
            EXPECT_TRUE(!topics || topics.value().empty() || topics.value() == home.topics) << name;
            const bool hasAllSettings = settings == home.settings.size();
            const bool isWhole = hasAllSettings && publications == home.outbox.size() && topics &&
                                 topics.value() == home.topics;
            EXPECT_TRUE(isWhole || isTold(name))
                << name << " has " << settings << " settings, " << publications << " publications";
            if (store->damageReport()) {
                EXPECT_TRUE(hasAllSettings || settings == 0) << name << " has come back half";
                EXPECT_TRUE(hasAllSettings || publications == 0) << name << " has lost its settings only";
            }
            (isWhole ? outcome.whole : settings == 0 ? outcome.lost : outcome.partial).push_back(name);
        }
        return outcome;
    }

private:
    static void expectPartOf(const std::vector<OutboxEntry>& all, const std::vector<OutboxEntry>& part,
                             const std::string& name) {
        auto next = all.begin();
        for (const OutboxEntry& entry : part) {
            next = std::find(next, all.end(), entry);
            ASSERT_NE(next, all.end()) << name << " has a publication that it never had, or in another order";
            ++next;
        }
    }

    HomeOnDisk disk_;
    std::map<std::string, Home> homes_;
};

}  // namespace xel::contract
