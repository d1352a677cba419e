#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// The batches that were written and not yet answered, by packet identifier, and what has become of their
/// topics meanwhile: batches may overlap, and each topic of theirs is to be reported and stored once.
///
/// Owner: `SubscriptionRequests`. Thread: the manager's run loop. Sends, stores and reports nothing itself.
class SubscribeBatches {
public:
    /// The moment at which a batch was asked for. As long as one is held, by a batch or by work that waits to
    /// write one, what becomes of topics is remembered.
    class Ticket {
    private:
        friend class SubscribeBatches;
        std::uint64_t number = 0;
        std::shared_ptr<const bool> memoryHold;
    };

    struct Batch {
        /// In the order of the SUBSCRIBE, and so of the answer.
        std::vector<std::string> filters;
        Ticket askedAt;
    };

    [[nodiscard]] Ticket takeTicket();

    void wasWritten(std::uint16_t packetId, Batch batch);
    [[nodiscard]] std::size_t countUnanswered() const { return unanswered_.size(); }
    [[nodiscard]] bool contains(std::uint16_t packetId) const { return unanswered_.contains(packetId); }
    /// The batch of that identifier, which waits no longer.
    std::optional<Batch> take(std::uint16_t packetId);
    /// No answer will come any more: the connection has ended.
    void forgetUnanswered() { unanswered_.clear(); }
    /// Another session begins: what this one was asked for says nothing any more.
    void forgetSession();

    /// What happens to a topic.
    void wasAnswered(const std::string& topic, const Ticket& askedAt, bool isStored);
    void wasUnsubscribed(const std::string& topic);
    void wasGivenUp(const std::string& topic);

    /// Whether an overlapping batch has had the topic reported, or stored, since the ticket was taken.
    [[nodiscard]] bool isReportedSince(const Ticket& ticket, const std::string& topic) const;
    [[nodiscard]] bool isStoredSince(const Ticket& ticket, const std::string& topic) const;
    /// Whether the topic was unsubscribed since the ticket was taken: the answer finds it wanted no more.
    [[nodiscard]] bool isUnsubscribedSince(const Ticket& ticket, const std::string& topic) const;
    /// The table, or, when topics of it were given up since the ticket was taken, a copy without those.
    [[nodiscard]] std::shared_ptr<const TopicTable> stillWanted(
        const std::shared_ptr<const TopicTable>& topics, const Ticket& ticket) const;

private:
    /// When an answer came, and when what it answers was asked for; 0 for never.
    struct Answer {
        std::uint64_t at = 0;
        std::uint64_t askedAt = 0;
    };
    struct Fate {
        Answer reported;
        Answer stored;
        std::uint64_t unsubscribedAt = 0;
        std::uint64_t givenUpAt = 0;
    };

    [[nodiscard]] bool isAnybodyWaiting() const { return memoryHold_.use_count() > 1; }
    /// Whether there is a ticket beside this one.
    [[nodiscard]] bool isAnybodyBeside(const Ticket& ticket) const {
        return memoryHold_.use_count() > (ticket.memoryHold ? 2 : 1);
    }
    [[nodiscard]] const Fate* fateOf(const std::string& topic) const;
    /// An answer to what was asked before the topic was unsubscribed says nothing to who asked afterwards.
    [[nodiscard]] static bool countsFor(const Ticket& ticket, const Answer& answer,
                                        std::uint64_t unsubscribedAt);

    std::map<std::uint16_t, Batch> unanswered_;
    std::map<std::string, Fate> fates_;
    std::uint64_t now_ = 0;
    std::shared_ptr<const bool> memoryHold_ = std::make_shared<const bool>(true);
};

}  // namespace xel
