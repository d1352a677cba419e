#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// Leaves whatever the process was doing when it dies at a write (`FakeDisk::killAt`). No
/// `std::exception`, so that nobody takes it for a failure that can be handled.
struct ProcessKilled {
    std::string store;  ///< whose write it was
};

/// Where a process dies at a write.
enum class FakeKillPoint {
    BeforeWrite,
    AfterWrite  ///< it is made, and nobody who waits for it gets to know
};

/// What survives the end of a client: the committed contents of its stores. A test keeps the disk,
/// throws the client away and makes another one on it. A store has a name and holds the settings and the
/// session memory of one home.
///
/// Thread: from any thread.
class FakeDisk {
public:
    /// The session memory of one client id.
    struct ClientMemory {
        std::vector<OutboxEntry> outbox;
        TopicTable grantedTopics;
    };

    /// What is committed of one home.
    struct Store {
        Dictionary settings;
        std::map<std::string, ClientMemory, std::less<>> clients;
    };

    /// While set, nothing can be stored: `synchronize` returns false, and session memory errors.
    void setFailingCommits(bool isFailing);
    [[nodiscard]] bool isFailingCommits() const;

    /// The same for a disk that is full, which is another reason that comes and goes by itself.
    void setFull(bool isFull);

    /// The process dies at its `write`-th commit from now, the next one being 1: `ProcessKilled` is
    /// thrown there. Of what it still does on its way out nothing reaches the disk, though it is told
    /// so. It is dead until `processHasEnded`; `FakeMachine::kill` does the rest of it.
    void killAt(FakeKillPoint point, std::size_t write);
    void forgetKillPoint();
    /// None, unless the process is to die at a write and has not done so.
    [[nodiscard]] std::optional<FakeKillPoint> killPoint() const;
    [[nodiscard]] bool isProcessDead() const;
    /// The process dies now, if it lives.
    void killProcess();
    /// It has gone, with the commits that it waited for: those of the next one count again.
    void processHasEnded();

    /// While set, the commits that close a turn wait for `answerHeldTurnCommits`, as they do on a host
    /// that wants to survive a power cut.
    void setHoldingTurnCommits(bool isHolding);
    [[nodiscard]] bool isHoldingTurnCommits() const;
    void holdTurnCommit(std::function<void()> commit);

    /// Makes the held commits in order and reports each. Thread: the run loop of the clients.
    void answerHeldTurnCommits();
    [[nodiscard]] std::size_t heldTurnCommitCount() const;

    /// Commits made so far, those of session memory included.
    [[nodiscard]] std::size_t commitCount() const;

    /// Changes one store in one commit; false, and nothing changed, while commits fail. `what` says to
    /// observers what changes.
    [[nodiscard]] bool commit(std::string_view store, const std::function<void(Store&)>& change,
                              std::string_view what = {});

    /// Called after each commit, on the thread that made it.
    using CommitHandler = std::function<void(std::string_view store, std::string_view what)>;
    void setCommitHandler(CommitHandler handler);

    /// The committed contents of a store; empty for one that was never written.
    [[nodiscard]] Store contents(std::string_view store) const;

    /// Becomes the owner of a store's settings. False when it has one.
    [[nodiscard]] bool acquire(std::string_view store);
    void release(std::string_view store);

private:
    struct KillPoint {
        FakeKillPoint point = FakeKillPoint::BeforeWrite;
        std::size_t writesLeft = 0;
    };

    void dieIf(FakeKillPoint point, std::string_view store);

    mutable std::mutex mutex_;
    std::map<std::string, Store, std::less<>> stores_;
    std::set<std::string, std::less<>> owned_;
    std::vector<std::function<void()>> heldTurnCommits_;
    std::size_t commitCount_ = 0;
    std::optional<KillPoint> killPoint_;
    CommitHandler commitHandler_;
    bool isProcessDead_ = false;
    bool isFailingCommits_ = false;
    bool isFull_ = false;
    bool isHoldingTurnCommits_ = false;
};

}  // namespace xel
