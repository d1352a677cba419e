#include "XelPushClient/Classes/Broker/DeferredWork.h"

#include <deque>
#include <utility>

#include "XelPushClient/Classes/Core/PushClientConstants.h"

namespace xel {

struct DeferredWork::Waiting {
    struct Piece {
        std::uint64_t number;
        Owner owner;
        std::function<void()> block;
    };

    explicit Waiting(const BrokerConnectionState& stateToAsk) : state(stateToAsk) {}

    /// Whether work may run that was handed over before that number was given.
    [[nodiscard]] bool isDue(std::uint64_t before) const {
        return !pieces.empty() && pieces.front().number < before && state.isConnected();
    }

    const BrokerConnectionState& state;
    std::deque<Piece> pieces;
    NSNotificationCenter::Token observation;
};

DeferredWork::DeferredWork(const ClientLife& life, std::shared_ptr<NSRunLoop> runLoop,
                           std::shared_ptr<NSNotificationCenter> notificationCenter, const LogOutput& log,
                           const BrokerConnectionState& state)
    : runLoop_(std::move(runLoop)),
      notificationCenter_(std::move(notificationCenter)),
      log_(log),
      waiting_(std::make_shared<Waiting>(state)),
      nextNumber_(std::make_shared<std::atomic<std::uint64_t>>(0)),
      wayIn_(life.wayInto(*this)) {}

DeferredWork::~DeferredWork() {
    notificationCenter_->removeObserver(waiting_->observation);
}

void DeferredWork::enqueueWhenSessionIsConnected(std::function<void()> block) {
    if (!block) {
        TVRLog(log_, "enqueueWhenSessionIsConnected: an empty block is ignored");
        return;
    }
    enqueue(Owner::Host, std::move(block));
}

void DeferredWork::enqueueForThisIdentity(std::function<void()> block) {
    enqueue(Owner::Identity, std::move(block));
}

void DeferredWork::enqueue(Owner owner, std::function<void()> block) {
    TVRLog(log_, "enqueue subscribe for later when session is ready");
    if (waiting_->pieces.empty()) {
        observe();
    }
    waiting_->pieces.push_back({(*nextNumber_)++, owner, std::move(block)});
}

void DeferredWork::dropWorkOfIdentity() {
    const auto dropped = std::erase_if(
        waiting_->pieces, [](const Waiting::Piece& piece) { return piece.owner == Owner::Identity; });
    if (dropped != 0 && waiting_->pieces.empty()) {
        notificationCenter_->removeObserver(waiting_->observation);
    }
}

void DeferredWork::observe() {
    const std::weak_ptr<Waiting> weak = waiting_;
    const auto runLoop = runLoop_;
    // One piece to a block: one that throws must not take the others with it.
    auto runOne = [weak, wayIn = wayIn_, center = std::weak_ptr(notificationCenter_)](std::uint64_t before) {
        const auto held = wayIn.hold();
        const auto waiting = weak.lock();
        // Looked at again: the piece before may have disconnected,
        // or ended the identity and this piece with it.
        if (!held || !waiting || !waiting->isDue(before)) {
            return;
        }
        const auto block = std::move(waiting->pieces.front().block);
        waiting->pieces.pop_front();
        // Before the block runs, which may hand over more and so begin to observe anew.
        if (const auto observed = center.lock(); observed && waiting->pieces.empty()) {
            observed->removeObserver(waiting->observation);
        }
        block();
    };
    // Holds nobody: it calls nobody, and what it looks at is there as long as what waits is.
    auto postDuePieces = [weak, runLoop, runOne = std::move(runOne)](std::uint64_t before) {
        const auto waiting = weak.lock();
        if (!waiting || !waiting->isDue(before)) {
            return;
        }
        for (const auto& piece : waiting->pieces) {
            if (piece.number >= before) {
                break;  // they stand in the order of their numbers
            }
            runLoop->post([runOne, before] { runOne(before); });
        }
    };
    // On the broadcast's own thread: a report is for what waited when it was made, and touches nothing else.
    waiting_->observation = notificationCenter_->addObserver(
        PushClientDidChangeServerConnectionStateNotification, nullptr,
        [runLoop, nextNumber = nextNumber_, postDuePieces = std::move(postDuePieces)](const NSNotification&) {
            runLoop->post([postDuePieces, before = nextNumber->load()] { postDuePieces(before); });
        });
}

}  // namespace xel
