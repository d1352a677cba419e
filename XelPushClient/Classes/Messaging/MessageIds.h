#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/Messaging/RecentIds.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// What the session knows of a publication's arrival.
enum class Arrival {
    First,   ///< as far as it knows
    Repeat,  ///< the host has had it: an acknowledgement was lost
};

/// Remembers the last 25 message and event ids across launches, so that nothing is reported twice.
///
/// During a turn the ids are held in memory and stored once, at its closing, just before the turn is
/// acknowledged: killed at any instant, the client either has an id stored, or the broker sends its message
/// again. Outside a turn each id is stored at once. Owner: the manager. Thread: the manager's run loop.
class MessageIds {
public:
    MessageIds(const ClientLife& life, NSUserDefaults& defaults, LastFailure& lastFailure,
               const LogOutput& log);

    /// True when the id was seen before, which that of a repeat was. It is remembered in either case. When 25
    /// are held the oldest is forgotten first, so that a repetition of just that one, when the session does
    /// not know it as a repeat, counts as new.
    bool storeMessageId(std::string_view id, Arrival arrival = Arrival::First);
    /// A publication arrives, with an id or without one.
    void beginArrival() { isNewestOfArrival_ = false; }

    /// The newest publication came to nothing: its id, if it had one, counts as not seen.
    void forgetArrival();

    void beginTurn();
    /// Stores the turn's ids, then calls `done`, also when storing failed: the host has had the messages.
    /// What could not be stored stays in memory and is tried again at the next closing.
    void closeTurn(std::function<void()> done);
    /// Forgets all ids, also those of a turn in progress, in memory only.
    void forgetIdentity();
    /// Removes them from the defaults. Does not store that.
    void removeStoredIdentity();

private:
    [[nodiscard]] RecentIds& ids();
    void putIntoDefaults();
    void reportFailure();

    NSUserDefaults& defaults_;
    LastFailure& lastFailure_;
    const LogOutput& log_;
    /// Missing until first used, and after forgetting.
    std::optional<RecentIds> ids_;
    /// So many of the newest ids the defaults do not hold yet.
    std::size_t newIds_ = 0;
    /// Nor are the ones before those what they hold.
    bool areOthersToo_ = false;
    bool isInTurn_ = false;
    bool isUnsaved_ = false;
    /// Whether the newest id came with the newest publication.
    bool isNewestOfArrival_ = false;
    ClientLife::WayInto<MessageIds> wayIn_;
};

}  // namespace xel
