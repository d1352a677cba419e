#pragma once

#include <memory>
#include <vector>

#include "XelPushClient/Classes/Core/DelegateOperations.h"
#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {

/// The host's delegates, in order, each once, held strongly, and the primary one, held weakly. While it is
/// walked a call that would change it throws `DelegateListChangedError`; one that would change nothing does
/// nothing.
///
/// Owner: `EventFanout`. Thread: the manager's run loop.
class DelegateList {
public:
    using Delegate = std::shared_ptr<PushClientManagerDelegate>;

    /// Appends the delegate unless it is there already.
    void addDelegate(Delegate delegate, DelegateOperations operations);
    void removeDelegate(const PushClientManagerDelegate* delegate);
    void removeAllDelegates();

    /// Makes the delegate the primary one and appends it; a previous primary one stays in the list, unless
    /// the new one was in the list before: then the previous primary one leaves it and no new one is set.
    /// Null clears the primary one, and empties the list when it holds exactly one.
    void setDelegate(Delegate delegate, DelegateOperations operations);

    [[nodiscard]] Delegate delegate() const { return primary_.lock(); }
    [[nodiscard]] std::vector<Delegate> delegates() const;

    /// The client has ended: a walk under way goes no further, and no other begins. The delegates stay as
    /// long as the list, for one of them may be on the stack.
    void end() { hasEnded_ = true; }

    /// Calls `report(delegate)` for every delegate that responds to the operation, in order.
    template <class Report>
    void forEachResponding(DelegateOperation operation, Report&& report) {
        forEach([&](PushClientManagerDelegate& delegate, const DelegateOperations& operations) {
            if (operations.contains(operation)) {
                report(delegate);
            }
        });
    }

    /// Calls `report(delegate, operations)` for every delegate, in order. Whoever reports more than one thing
    /// asks `hasEnded` in between.
    template <class Report>
    void forEach(Report&& report) {
        ++walks_;
        const OnLeaving walked([this] { --walks_; });
        for (const auto& entry : entries_) {
            if (!hasEnded_) {
                report(*entry.delegate, entry.operations);
            }
        }
    }
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }

private:
    struct Entry {
        Delegate delegate;
        DelegateOperations operations;
    };

    void clearDelegate();
    [[nodiscard]] bool contains(const PushClientManagerDelegate* delegate) const;
    void refuseWhileWalked() const;

    std::vector<Entry> entries_;
    std::weak_ptr<PushClientManagerDelegate> primary_;
    int walks_ = 0;
    bool hasEnded_ = false;
};

}  // namespace xel
