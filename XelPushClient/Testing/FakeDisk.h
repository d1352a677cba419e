#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// What survives the end of a client: the committed contents of its stores. A test keeps the disk, throws the
/// client away and makes another one on it. A store has a name and holds the settings and the session memory
/// of one home.
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

    /// While set, the commits that close a turn wait for `answerHeldTurnCommits`, as they do on a host that
    /// wants to survive a power cut.
    void setHoldingTurnCommits(bool isHolding);
    [[nodiscard]] bool isHoldingTurnCommits() const;
    void holdTurnCommit(std::function<void()> commit);

    /// Makes the held commits in order and reports each. Thread: the run loop of the clients.
    void answerHeldTurnCommits();
    [[nodiscard]] std::size_t heldTurnCommitCount() const;

    /// Commits made so far, those of session memory included.
    [[nodiscard]] std::size_t commitCount() const;

    /// Changes one store in one commit; false, and nothing changed, while commits fail.
    [[nodiscard]] bool commit(std::string_view store, const std::function<void(Store&)>& change);

    /// The committed contents of a store; empty for one that was never written.
    [[nodiscard]] Store contents(std::string_view store) const;

    /// Becomes the owner of a store's settings. False when it has one.
    [[nodiscard]] bool acquire(std::string_view store);
    void release(std::string_view store);

private:
    mutable std::mutex mutex_;
    std::map<std::string, Store, std::less<>> stores_;
    std::set<std::string, std::less<>> owned_;
    std::vector<std::function<void()>> heldTurnCommits_;
    std::size_t commitCount_ = 0;
    bool isFailingCommits_ = false;
    bool isHoldingTurnCommits_ = false;
};

}  // namespace xel
