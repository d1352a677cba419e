#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/SessionMemory.h"

namespace xel::contract {

/// What every session memory owes. A subject is default constructible, stands for one place on a disk that
/// holds nothing at first, and has
/// - `std::shared_ptr<SessionMemory> open()`: opens the memory there, once what was opened before is dropped;
/// - `void setFailingCommits(bool isFailing)`: while set, nothing can be stored there.
template <class Subject>
class SessionMemoryContract : public ::testing::Test {
protected:
    void SetUp() override {
        memory_ = subject_.open();
        ASSERT_NE(memory_, nullptr);
    }

    void reopen() {
        memory_.reset();
        memory_ = subject_.open();
        ASSERT_NE(memory_, nullptr);
    }

    static OutboxEntry entry(std::uint16_t packetId, std::string topic, std::string payload,
                             bool retain = false) {
        return {packetId, std::move(topic), std::move(payload), retain};
    }

    void append(std::string_view clientId, const OutboxEntry& entry) {
        EXPECT_TRUE(memory_->appendToOutbox(clientId, entry).isOk());
    }

    void remove(std::string_view clientId, std::vector<std::uint16_t> packetIds) {
        memory_->removeFromOutbox(clientId, packetIds);
    }

    using Outbox = std::vector<OutboxEntry>;
    static constexpr std::string_view kClient = "shop/alice01/D1";
    static constexpr std::string_view kOther = "shop/alice01/D2";

    Subject subject_;
    std::shared_ptr<SessionMemory> memory_;
};

TYPED_TEST_SUITE_P(SessionMemoryContract);

TYPED_TEST_P(SessionMemoryContract, RemembersNothingAtFirst) {
    EXPECT_TRUE(this->memory_->loadOutbox(this->kClient).value().empty());
    EXPECT_TRUE(this->memory_->loadGrantedTopics(this->kClient).value().empty());
}

TYPED_TEST_P(SessionMemoryContract, FindsTheOutboxInTheOrderOfAppendingAfterReopening) {
    const auto third = this->entry(3, "a/b", std::string("\0\xFF octets", 9), true);
    const auto first = this->entry(1, "gr\xC3\xBC\xC3\x9F", "");
    const auto last = this->entry(65535, "a/b", "{}");
    this->append(this->kClient, third);
    this->append(this->kClient, first);
    this->append(this->kClient, last);
    this->reopen();
    EXPECT_EQ(this->memory_->loadOutbox(this->kClient).value(),
              (typename TestFixture::Outbox{third, first, last}));
}

TYPED_TEST_P(SessionMemoryContract, ForgetsWhatWasAcknowledged) {
    for (std::uint16_t id = 1; id <= 5; ++id) {
        this->append(this->kClient, this->entry(id, "t", std::to_string(id)));
    }
    this->remove(this->kClient, {2, 4, 99});
    this->remove(this->kClient, {});
    const auto left = this->memory_->loadOutbox(this->kClient).value();
    EXPECT_EQ(left, (typename TestFixture::Outbox{this->entry(1, "t", "1"), this->entry(3, "t", "3"),
                                                  this->entry(5, "t", "5")}));
}

TYPED_TEST_P(SessionMemoryContract, KeepsANewEntryUnderAnIdThatWasFreed) {
    this->append(this->kClient, this->entry(1, "t", "old"));
    this->append(this->kClient, this->entry(2, "t", "between"));
    this->remove(this->kClient, {1});
    this->append(this->kClient, this->entry(1, "t", "new"));
    this->reopen();
    EXPECT_EQ(this->memory_->loadOutbox(this->kClient).value(),
              (typename TestFixture::Outbox{this->entry(2, "t", "between"), this->entry(1, "t", "new")}));
}

TYPED_TEST_P(SessionMemoryContract, StoresALateRemovalWithTheNextAppendAtTheLatest) {
    this->append(this->kClient, this->entry(1, "t", "acknowledged"));
    this->remove(this->kClient, {1});
    this->append(this->kClient, this->entry(2, "t", "pending"));
    const auto outbox = this->memory_->loadOutbox(this->kClient).value();
    EXPECT_EQ(outbox, (typename TestFixture::Outbox{this->entry(2, "t", "pending")}));
}

TYPED_TEST_P(SessionMemoryContract, FindsTheGrantedTopicsInTheirOrderAfterReopening) {
    const TopicTable first{{"z/1", 1}, {"a/2", 0}, {"m/3", 1}};
    EXPECT_TRUE(this->memory_->storeGrantedTopics(this->kClient, first).isOk());
    this->reopen();
    EXPECT_EQ(this->memory_->loadGrantedTopics(this->kClient).value(), first);
    const TopicTable second{{"m/3", 0}};
    EXPECT_TRUE(this->memory_->storeGrantedTopics(this->kClient, second).isOk());
    this->reopen();
    EXPECT_EQ(this->memory_->loadGrantedTopics(this->kClient).value(), second);
    EXPECT_TRUE(this->memory_->storeGrantedTopics(this->kClient, TopicTable{}).isOk());
    this->reopen();
    EXPECT_TRUE(this->memory_->loadGrantedTopics(this->kClient).value().empty());
}

TYPED_TEST_P(SessionMemoryContract, KeepsClientIdsApart) {
    this->append(this->kClient, this->entry(1, "t", "mine"));
    this->append(this->kOther, this->entry(1, "t", "yours"));
    EXPECT_TRUE(this->memory_->storeGrantedTopics(this->kOther, {{"t", 1}}).isOk());
    this->remove(this->kClient, {1});
    EXPECT_TRUE(this->memory_->loadOutbox(this->kClient).value().empty());
    EXPECT_TRUE(this->memory_->loadGrantedTopics(this->kClient).value().empty());
    this->memory_->erase(this->kClient);
    this->reopen();
    EXPECT_EQ(this->memory_->loadOutbox(this->kOther).value(),
              (typename TestFixture::Outbox{this->entry(1, "t", "yours")}));
    EXPECT_EQ(this->memory_->loadGrantedTopics(this->kOther).value(), (TopicTable{{"t", 1}}));
}

TYPED_TEST_P(SessionMemoryContract, NamesEveryClientIdThatItRemembers) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(this->memory_->clientIds(), Names{});
    this->append(this->kClient, this->entry(1, "t", "x"));
    EXPECT_TRUE(this->memory_->storeGrantedTopics(this->kOther, {{"t", 1}}).isOk());
    this->reopen();
    auto names = this->memory_->clientIds();
    std::sort(names.begin(), names.end());
    Names expected{std::string(this->kClient), std::string(this->kOther)};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names, expected);
    this->memory_->erase(this->kClient);
    EXPECT_EQ(this->memory_->clientIds(), Names{std::string(this->kOther)});
}

TYPED_TEST_P(SessionMemoryContract, ErasesEverythingOfAClientId) {
    this->append(this->kClient, this->entry(1, "t", "payload"));
    this->remove(this->kClient, {1});
    this->append(this->kClient, this->entry(7, "t", "payload"));
    EXPECT_TRUE(this->memory_->storeGrantedTopics(this->kClient, {{"t", 1}}).isOk());
    this->memory_->erase(this->kClient);
    EXPECT_TRUE(this->memory_->loadOutbox(this->kClient).value().empty());
    this->reopen();
    EXPECT_TRUE(this->memory_->loadOutbox(this->kClient).value().empty());
    EXPECT_TRUE(this->memory_->loadGrantedTopics(this->kClient).value().empty());
    this->append(this->kClient, this->entry(1, "t", "a new life"));
    EXPECT_EQ(this->memory_->loadOutbox(this->kClient).value().size(), 1U);
}

TYPED_TEST_P(SessionMemoryContract, KeepsPublicationsOfEverySize) {
    typename TestFixture::Outbox expected;
    std::uint16_t packetId = 0;
    for (const std::size_t kibibytes : {60U, 127U, 128U, 129U, 200U, 256U, 257U, 1024U, 4096U}) {
        expected.push_back(this->entry(++packetId, "t", std::string(kibibytes * 1024, 'p')));
        ASSERT_TRUE(this->memory_->appendToOutbox(this->kClient, expected.back()).isOk()) << kibibytes;
    }
    this->reopen();
    EXPECT_TRUE(this->memory_->loadOutbox(this->kClient).value() == expected);
}

TYPED_TEST_P(SessionMemoryContract, AnswersAnErrorForWhatCouldNotBeStored) {
    this->append(this->kClient, this->entry(1, "t", "kept"));
    this->subject_.setFailingCommits(true);
    EXPECT_FALSE(this->memory_->appendToOutbox(this->kClient, this->entry(2, "t", "lost")).isOk());
    EXPECT_FALSE(this->memory_->storeGrantedTopics(this->kClient, {{"t", 1}}).isOk());
    this->subject_.setFailingCommits(false);
    this->reopen();
    EXPECT_EQ(this->memory_->loadOutbox(this->kClient).value(),
              (typename TestFixture::Outbox{this->entry(1, "t", "kept")}));
    EXPECT_TRUE(this->memory_->loadGrantedTopics(this->kClient).value().empty());
}

REGISTER_TYPED_TEST_SUITE_P(SessionMemoryContract, RemembersNothingAtFirst,
                            FindsTheOutboxInTheOrderOfAppendingAfterReopening, ForgetsWhatWasAcknowledged,
                            KeepsANewEntryUnderAnIdThatWasFreed,
                            StoresALateRemovalWithTheNextAppendAtTheLatest,
                            FindsTheGrantedTopicsInTheirOrderAfterReopening, KeepsClientIdsApart,
                            NamesEveryClientIdThatItRemembers, ErasesEverythingOfAClientId,
                            KeepsPublicationsOfEverySize, AnswersAnErrorForWhatCouldNotBeStored);

}  // namespace xel::contract
