#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/TopicTable.h"

namespace xel::simulation {

/// The kinds of things that happen in a run. Which fields mean something is said beside each; `client` is set
/// in all that concern one.
enum class FactKind {
    StepBegan,         ///< text: the line
    LifeBegan,         ///< list: the ids of messages that the disk holds; name: the user, if it knows one
    OutboxHeld,        ///< clientId, packet: what the disk holds for sending as a life begins
    TopicsHeld,        ///< clientId, topics: what the disk holds of them as a life begins
    LifeEnded,         ///<
    HostActs,          ///< name: the operation; list: its words; mark
    HostActed,         ///< the same, and ok: what it answered
    HostHears,         ///< name: the callback; mark; text: its fields; ok: the client was alive
    StateTold,         ///< name: the state that a delegate was told
    ConnectionBegan,   ///< number: which
    ConnectionEnded,   ///< number: which
    Arrived,           ///< a packet of the broker's is handed to the client: packet
    Written,           ///< a packet that the client wrote: packet
    ReachedBroker,     ///< a packet of the client's was read by the broker: packet
    Dropped,           ///< the client tells that it dropped a publication: name: why; packet.topic; mark
    OutboxAppended,    ///< clientId, packet: stored with `ok`
    OutboxRemoved,     ///< clientId, packet.packetId
    TopicsRemembered,  ///< clientId, topics: stored with `ok`
    MemoryErased,      ///< clientId: the identity has ended; ok: also on the disk
    FormerErased,      ///< clientId: the memory of a former installation, with the identity or for its heir
    IdsStored,         ///< list: the ids of messages; ok: whether they were
    Requested,         ///< request; text: method and path of a REST request
    Answered,          ///< request; text: the same; number: the status, 0 for a failure
    DiskFails,         ///< nothing can be stored from now on
    Background,        ///< the application is no longer in front; not ok: it is again
    Measured,          ///< name: of what; number
    Rests              ///< rest: what is there once everything was healed and is quiet
};

/// A packet, as far as the judges look at it.
struct PacketFact {
    std::string type{};  ///< "PUBLISH" and so on
    std::uint16_t packetId = 0;
    std::string topic{};
    std::string payload{};
    std::string clientId{};  ///< of a CONNECT
    int qos = 0;
    bool dup = false;
    bool retain = false;
    TopicTable topics{};                ///< of a SUBSCRIBE
    std::vector<std::string> names{};   ///< of an UNSUBSCRIBE
    std::vector<std::uint8_t> codes{};  ///< of a SUBACK; of a CONNACK its return code
    bool sessionPresent = false;        ///< of a CONNACK

    // What the payload of a publication to the client says.
    std::optional<std::string> id{};
    std::optional<double> expiresAt{};  ///< milliseconds since 1970
    bool isReserved = false;
    bool isReadable = true;
};

/// A client and its part of the broker, once everything was healed and is quiet.
struct RestFact {
    /// Whatever was set aside has been tried again: nothing more is to come.
    bool isLast = true;
    std::string state;
    bool isIdentityComplete = false;
    TopicTable topicsAtBroker;
    TopicTable rememberedTopics;
    std::vector<std::string> subscribedTopics;  ///< the client's own list
    std::size_t unacknowledged = 0;             ///< publications that the broker still has for the client
    std::vector<std::string> outboxMarks;       ///< what the disk holds for sending
};

/// One thing that happened in a run.
struct Fact {
    FactKind kind = FactKind::StepBegan;
    std::string client{};
    std::string clientId{};
    std::string name{};
    std::string mark{};
    std::string text{};
    std::vector<std::string> list{};
    TopicTable topics{};
    PacketFact packet{};
    std::int64_t number = 0;
    std::int64_t request = 0;  ///< which one of this life
    bool ok = true;
    std::chrono::nanoseconds time{0};  ///< since the beginning of the run
    double now = 0;                    ///< by the clock, in milliseconds since 1970
    std::shared_ptr<const RestFact> rest{};
};

/// The fact as a line of a trace; empty for one that stands in no trace.
[[nodiscard]] std::string describe(const Fact& fact);

/// The mark by which a publication is known wherever it turns up, in a topic or a payload: "in12", "out7",
/// "in12x3". Empty when there is none.
[[nodiscard]] std::string markIn(std::string_view text);
/// That of a publication, in its payload or its topic.
[[nodiscard]] std::string markIn(const PacketFact& publication);

}  // namespace xel::simulation
