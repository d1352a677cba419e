#include "tests/simulation/wire/HomeTap.h"

#include <map>
#include <memory>
#include <span>
#include <utility>
#include <variant>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Platform/Diagnostics.h"
#include "tests/simulation/wire/PacketFacts.h"

namespace xel::simulation {
namespace {

using Tell = std::function<void(Fact fact)>;

constexpr std::string_view kMessageIds = "messageIds";

class TappedMemory final : public SessionMemory {
public:
    TappedMemory(std::shared_ptr<SessionMemory> memory, Tell tell)
        : memory_(std::move(memory)), tell_(std::move(tell)) {}

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override {
        return memory_->loadOutbox(clientId);
    }

    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override {
        auto stored = memory_->appendToOutbox(clientId, entry);
        Fact fact = factAbout(FactKind::OutboxAppended, clientId);
        fact.packet = factOf(entry);
        fact.ok = stored.isOk();
        tell_(std::move(fact));
        return stored;
    }

    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override {
        for (const auto packetId : packetIds) {
            Fact fact = factAbout(FactKind::OutboxRemoved, clientId);
            fact.packet.packetId = packetId;
            tell_(std::move(fact));
        }
        memory_->removeFromOutbox(clientId, packetIds);
    }

    [[nodiscard]] Result<TopicTable> loadGrantedTopics(std::string_view clientId) override {
        return memory_->loadGrantedTopics(clientId);
    }

    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override {
        auto stored = memory_->storeGrantedTopics(clientId, topics);
        Fact fact = factAbout(FactKind::TopicsRemembered, clientId);
        fact.topics = topics;
        fact.ok = stored.isOk();
        tell_(std::move(fact));
        return stored;
    }

    [[nodiscard]] std::vector<std::string> clientIds() override { return memory_->clientIds(); }

    void erase(std::string_view clientId) override {
        // Also when the process dies at that write, which may have been made.
        doThenAlways([&] { memory_->erase(clientId); },
                     [&] {
                         Fact fact = factAbout(FactKind::MemoryErased, clientId);
                         fact.ok = memory_->loadOutbox(clientId).value().empty() &&
                                   memory_->loadGrantedTopics(clientId).value().empty();
                         tell_(std::move(fact));
                     });
    }

private:
    static Fact factAbout(FactKind kind, std::string_view clientId) {
        return {.kind = kind, .clientId = std::string(clientId)};
    }

    std::shared_ptr<SessionMemory> memory_;
    Tell tell_;
};

class TappedDefaults final : public NSUserDefaults {
public:
    TappedDefaults(std::shared_ptr<NSUserDefaults> defaults, Tell tell)
        : defaults_(std::move(defaults)), tell_(std::move(tell)) {}

    [[nodiscard]] std::optional<Value> objectForKey(std::string_view key) const override {
        return defaults_->objectForKey(key);
    }
    void setObject(std::string_view key, Value value) override {
        defaults_->setObject(key, std::move(value));
    }
    void removeObject(std::string_view key) override { defaults_->removeObject(key); }

    [[nodiscard]] bool synchronize() override {
        const bool isStored = defaults_->synchronize();
        tellIds(tell_, textsOf(defaults_->objectForKey(kMessageIds)), isStored);
        return isStored;
    }

    void synchronizeTurn(std::function<void(bool)> done) override {
        // Now, because the answer may come when there are newer ones.
        auto ids = textsOf(defaults_->objectForKey(kMessageIds));
        defaults_->synchronizeTurn(
            [tell = tell_, ids = std::move(ids), done = std::move(done)](bool isStored) {
                tellIds(tell, ids, isStored);
                done(isStored);
            });
    }

private:
    static void tellIds(const Tell& tell, std::vector<std::string> ids, bool areStored) {
        tell({.kind = FactKind::IdsStored, .list = std::move(ids), .ok = areStored});
    }

    std::shared_ptr<NSUserDefaults> defaults_;
    Tell tell_;
};

class TellingDiagnostics final : public Diagnostics {
public:
    explicit TellingDiagnostics(Tell tell) : tell_(std::move(tell)) {}

    void record(const DiagnosticRecord& record) override {
        const auto* const dropped = std::get_if<PublicationDropped>(&record);
        if (dropped == nullptr || dropped->direction != PublicationDirection::Inbound) {
            return;
        }
        static const std::map<PublicationDropReason, std::string> reasons{
            {PublicationDropReason::Duplicate, "duplicate"},
            {PublicationDropReason::Expired, "expired"},
            {PublicationDropReason::Reserved, "reserved"},
            {PublicationDropReason::Unreadable, "unreadable"},
        };
        const auto reason = reasons.find(dropped->reason);
        Fact fact{.kind = FactKind::Dropped};
        fact.name = reason == reasons.end() ? "another reason" : reason->second;
        fact.mark = markIn(dropped->id.value_or(""));
        fact.packet.type = "PUBLISH";
        fact.packet.topic = dropped->topic;
        tell_(std::move(fact));
    }

private:
    Tell tell_;
};

}  // namespace

void tapHome(Home& home, const Tell& tell) {
    home.sessionMemory = std::make_shared<TappedMemory>(home.sessionMemory, tell);
    home.defaults = std::make_shared<TappedDefaults>(home.defaults, tell);
    home.diagnostics = std::make_shared<TellingDiagnostics>(tell);
}

std::vector<std::string> textsOf(const std::optional<Value>& list) {
    std::vector<std::string> texts;
    const Array* const values = list ? list->asArray() : nullptr;
    for (const auto& value : values == nullptr ? Array() : *values) {
        if (const auto* text = value.asString()) {
            texts.push_back(*text);
        }
    }
    return texts;
}

}  // namespace xel::simulation
