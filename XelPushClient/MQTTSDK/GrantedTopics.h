#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Platform/SessionMemory.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// The topics that the broker granted to a session, with the quality of service of each, kept in its memory
/// so that a broker that lost the session can be given them again.
///
/// While the answer to that is awaited, the memory holds a mark beside the topics. A connection or a process
/// that ends in between leaves a broker with a session that lacks them, and the mark is what tells the next
/// connection.
///
/// When the memory cannot be written, the change is kept and tried again with the next one.
/// Owner: the session. Thread: its run loop.
class GrantedTopics {
public:
    /// The mark: an entry that cannot be mistaken for a topic, as it is no topic filter.
    static constexpr std::string_view kRestorationMark = "#/";

    /// Loads the topics. What is no topic filter is left out. The memory outlives this.
    GrantedTopics(SessionMemory& memory, std::string clientId);

    [[nodiscard]] const TopicTable& topics() const { return topics_; }

    /// Whether the topics were to be given again on an earlier connection, and no answer came.
    [[nodiscard]] bool isRestorationAwaited() const { return isRestorationAwaited_; }

    // Changes, which `store` makes durable.
    void grant(std::string_view topic, int qos);
    void forget(std::string_view topic);
    void setRestorationAwaited(bool isAwaited);

    /// Writes the memory when something has changed since it was written.
    void store();

private:
    SessionMemory& memory_;
    std::string clientId_;
    TopicTable topics_;
    bool isRestorationAwaited_ = false;
    bool isStored_ = true;
};

}  // namespace xel
