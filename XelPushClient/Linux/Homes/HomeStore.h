#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/StoreChanges.h"
#include "XelPushClient/Platform/Durability.h"
#include "XelPushClient/Platform/NSUserDefaults.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

class NSRunLoop;

struct HomeStoreOptions {
    /// The folder, made with mode 0700 when it is missing: for a service, one below the XDG state folder.
    std::string folder;
    /// The file's name in it, without ".db".
    std::string name = "home";
    Durability durability = Durability::ProcessKill;
    /// The homes' run loop, which outlives the store: where answers that take a while arrive. Without one the
    /// caller waits for them.
    std::shared_ptr<NSRunLoop> runLoop;
    /// Told what went wrong behind the caller's back: a damaged file that was set aside, and which homes of
    /// it are not whole; a write that failed. From any thread; it must not call the store.
    std::function<void(const NSError&)> problemHandler;
};

/// A home's part in writes that it does not make itself: what it has put off.
class StoreWriteRider {
public:
    virtual ~StoreWriteRider() = default;

    /// Appends its changes, which begin with the home's name.
    virtual void writeTo(StoreChangeWriter& writer) = 0;
    /// They were written, or else are still to be.
    virtual void wasWritten(bool isWritten) = 0;
    /// The end of a turn that it took part in: whoever waits for it may be answered, which may do anything.
    virtual void turnDidEnd() = 0;
};

/// The file of one home or of many: one owner, one background thread.
///
/// Files: "<name>.db" (mode 0600), an SQLite database; "<name>.journal" and "<name>.journal-2", to which each
/// change is appended by one write, which survives a killed process; "<name>.lock", which marks the owner.
/// When the journal has grown the background thread carries it over into the database, with the file syncs
/// that make this safe against a power cut; the run loop does none. A store that is closed in order is the
/// database alone. Thread: the homes' run loop.
class HomeStore final : public std::enable_shared_from_this<HomeStore> {
public:
    /// The only home of a file that holds one.
    static constexpr std::string_view kOnlyHome = "home";

    /// Opens or makes the store. A damaged file is set aside, and a new one made with the homes of it that
    /// can be told to be right: see `damageReport`. The errors are those of `StoreErrorCode`. Reads from the
    /// disk, and so blocks, and syncs when it makes a file or finds a journal: for the start.
    [[nodiscard]] static Result<std::shared_ptr<HomeStore>> open(HomeStoreOptions options);

    /// Whether `open` would find a sound store there that nobody else has open, for programs that only
    /// look: a damaged one is left as it is. The file exists.
    [[nodiscard]] static Result<void> examine(const std::string& folder, const std::string& name = "home");

    /// Carries the journal over and removes it, which syncs.
    ~HomeStore();
    HomeStore(const HomeStore&) = delete;
    HomeStore& operator=(const HomeStore&) = delete;

    /// When `open` had to set a damaged file aside: what was found, where it went, how many homes were kept,
    /// and behind that a line for each home that is not whole, 20 of them at the most. The problem handler
    /// was told the same, each line by itself.
    [[nodiscard]] const std::optional<NSError>& damageReport() const;
    [[nodiscard]] const std::string& path() const;
    [[nodiscard]] Durability durability() const;
    [[nodiscard]] const std::shared_ptr<NSRunLoop>& runLoop() const;

    // For its homes.

    /// What a home has stored: each setting in its stored form, and the client ids.
    struct Contents {
        std::vector<std::pair<std::string, std::string>> settings;
        std::vector<std::string> clientIds;
    };
    /// Opens the home for its only user. Errors: `StoreErrorCode::InUse` for one that is open, and what
    /// reading can meet.
    [[nodiscard]] Result<Contents> openHome(std::string_view name);
    void closeHome(std::string_view name);

    /// Whether more homes than one are open, whose turns are worth sharing writes.
    [[nodiscard]] bool isShared() const;

    /// Writes a change of a home, which begins with its name, and those of the riders, as one record.
    [[nodiscard]] Result<void> write(const std::function<void(StoreChangeWriter&)>& change);
    /// The run of the journal that the last write went into.
    [[nodiscard]] std::uint64_t run() const;

    /// Takes part in the next write, which comes a second later by itself.
    void addRider(std::weak_ptr<StoreWriteRider> rider);

    /// Takes part in the next write, which comes when the run loop has gone through everything that is due
    /// now, and is told of the turn's end then. `isRiding`: it takes part in that write already.
    void addTurn(std::weak_ptr<StoreWriteRider> rider, bool isRiding);

    /// Synchronises everything written so far with the disk, on the background thread, and posts the outcome
    /// to the run loop; without one it waits and answers inside the call.
    void sync(std::function<void(bool)> done);
    /// The same on this thread, inside the call.
    [[nodiscard]] bool syncNow();
    /// With `Durability::PowerCut` the same for what nobody waits for; otherwise nothing.
    void syncInBackground();

    /// What is stored of a home's client. `run` is the one of its last write.
    [[nodiscard]] Result<std::vector<OutboxEntry>> outbox(std::string_view home, std::string_view clientId,
                                                          std::uint64_t run);
    [[nodiscard]] Result<std::optional<std::string>> topics(std::string_view home, std::string_view clientId,
                                                            std::uint64_t run);

    void report(const NSError& problem) const;

private:
    struct Parts;

    explicit HomeStore(std::unique_ptr<Parts> parts);
    void writeRidersIn(std::chrono::milliseconds delay);
    void writeRiders();
    void endTurns();

    std::unique_ptr<Parts> parts_;
};

}  // namespace xel
