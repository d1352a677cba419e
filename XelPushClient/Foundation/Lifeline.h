#pragma once

#include <memory>
#include <utility>

namespace xel {

/// Lets an object give work away that reaches it later, and that is dropped once the object has gone.
///
/// What is posted, scheduled or handed over as a callback may come when its owner is no more. The blocks
/// that `guarded` makes do nothing from then on. They do not keep the owner: work that may have its owner
/// destroyed, such as by calling a host, touches it no more afterwards. The rooms of a client need more than
/// that, for they are still on the stack when a host destroys its client: there `ClientLife::WayInto` keeps
/// the whole client while somebody is inside.
/// Owner: the object itself, as a member. Thread: blocks are made, copied and dropped on any thread; they run
/// on the one on which the owner goes.
template <class Owner>
class Lifeline {
public:
    explicit Lifeline(Owner& owner) : owner_(std::make_shared<Owner* const>(&owner)) {}
    Lifeline(const Lifeline&) = delete;
    Lifeline& operator=(const Lifeline&) = delete;
    ~Lifeline() = default;

    /// The work as a block, which calls it with the owner and then with what the block itself is called with.
    template <class Work>
    [[nodiscard]] auto guarded(Work work) const {
        return [weak = token(), work = std::move(work)]<class... Arguments>(Arguments&&... arguments) {
            if (Owner* const owner = ownerOf(weak)) {
                work(*owner, std::forward<Arguments>(arguments)...);
            }
        };
    }

    /// Expires with the owner, for whoever has to ask in the middle of something whether it is still there.
    [[nodiscard]] std::weak_ptr<Owner* const> token() const { return owner_; }

    /// From now on the owner counts as gone.
    void end() { owner_.reset(); }

private:
    // Held no longer than this takes, so that the token has expired as soon as the work ends its owner.
    static Owner* ownerOf(const std::weak_ptr<Owner* const>& weak) {
        const auto owner = weak.lock();
        return owner ? *owner : nullptr;
    }

    std::shared_ptr<Owner* const> owner_;
};

}  // namespace xel
