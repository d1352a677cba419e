#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/SessionMemory.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// The topics that the broker granted to a session, with the quality of service of each, kept in its memory
/// so that a broker that lost the session can be given them again; and the topics that it is still to be told
/// to forget, so that an UNSUBSCRIBE that was lost is sent again.
///
/// The memory holds one table. While the answer to a restoration is awaited a mark stands in it: a connection
/// or a process that ends in between leaves a broker with a session that lacks the topics, and the mark is
/// what tells the next connection. A topic to be unsubscribed stands behind the same mark. When the memory
/// cannot be written, the change is kept and tried again with the next one. When it cannot be read, nothing
/// is written either until it could: what stands in it would be lost. Owner: the session's outgoing traffic.
/// Thread: the session's run loop.
class GrantedTopics {
public:
    /// The mark: an entry that cannot be mistaken for a topic, as nothing that begins so is a topic filter.
    static constexpr std::string_view kMark = "#/";

    /// Loads the topics. What is no topic filter is left out. The memory outlives this.
    GrantedTopics(SessionMemory& memory, std::string clientId);

    /// Reads the memory if that could not be done so far. What has changed since stands above what is read,
    /// and the topics among it count as to be given again: no connection so far knew them.
    void load();

    [[nodiscard]] const TopicTable& topics() const { return topics_; }

    /// Topics that were granted once, and that no broker is sent any more, because it may end the connection
    /// on them. They have left the table.
    [[nodiscard]] const std::vector<std::string>& unsendable() const { return unsendable_; }
    [[nodiscard]] bool wasGranted(std::string_view topic) const;

    /// Whether the topics were to be given again on an earlier connection, and no answer came.
    [[nodiscard]] bool isRestorationAwaited() const { return isRestorationAwaited_; }

    /// The topics that the broker has not confirmed to have forgotten, in no particular order.
    [[nodiscard]] const std::set<std::string, std::less<>>& unconfirmedRemovals() const { return removals_; }

    // Changes, which `store` makes durable.

    /// Takes the code with which a SUBACK answers for the topic. Rights change, and brokers get other rules:
    /// a topic that was granted before may be refused now.
    enum class Answer { Granted, Refused, TakesGrantBack };
    Answer takeAnswer(std::string_view topic, std::uint8_t code);
    void forget(std::string_view topic);
    void setRestorationAwaited(bool isAwaited);
    /// The topic is forgotten, and the broker is to be told.
    void beginRemoval(std::string_view topic);
    /// The broker was told, or need not be.
    void endRemoval(std::string_view topic);
    void endAllRemovals();

    /// Writes the memory when something has changed since it was written.
    void store();

private:
    void grant(std::string_view topic, int qos);
    void read();
    void take(std::string_view entry, int qos);
    void noteChange(std::string_view topic);

    SessionMemory& memory_;
    std::string clientId_;
    TopicTable topics_;
    std::vector<std::string> unsendable_;
    std::set<std::string, std::less<>> removals_;
    std::set<std::string, std::less<>> changedUnread_;  // topics, while the memory was not read
    bool isRestorationAwaited_ = false;
    bool isLoaded_ = false;
    bool isStored_ = true;
};

}  // namespace xel
