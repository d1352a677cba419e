#pragma once

#include <memory>
#include <utility>

namespace xel {

/// The life of one client, as its rooms know it.
///
/// A host may destroy its client inside any callback, when rooms are still on the stack. So whatever comes in
/// from outside, a posted block, a timer, an answer, an event of the session or a notification, takes hold of
/// the client on its way in, and the rooms go with the outermost hold. From the client's end on nobody is let
/// in any more. Every room that gives work away does so by its way in; what lives outside a client has a
/// `Lifeline`, which keeps nobody.
/// Owner: the rooms. Thread: the manager's run loop; handles may be copied and dropped on any thread.
class ClientLife {
    struct State {
        std::weak_ptr<const void> client;
        bool hasEnded = false;
    };

public:
    /// The way in to one room, for whatever may come when the client is gone.
    template <class Room>
    class WayInto {
    public:
        /// The room, which stays with the whole client for as long as the answer is held; null once the
        /// client has ended.
        [[nodiscard]] std::shared_ptr<Room> hold() const {
            const auto client = state_->hasEnded ? nullptr : state_->client.lock();
            return client ? std::shared_ptr<Room>(client, room_) : nullptr;
        }
        [[nodiscard]] bool hasEnded() const { return state_->hasEnded || state_->client.expired(); }

    private:
        friend class ClientLife;
        WayInto(std::shared_ptr<const State> state, Room& room) : state_(std::move(state)), room_(&room) {}

        std::shared_ptr<const State> state_;
        Room* room_;
    };

    /// Rooms ask for it when they are made; it leads in as soon as the client has begun.
    template <class Room>
    [[nodiscard]] WayInto<Room> wayInto(Room& room) const {
        return WayInto<Room>(state_, room);
    }

    /// What is held from now on: the owner of all rooms.
    void begin(const std::shared_ptr<const void>& client) { state_->client = client; }
    void end() { state_->hasEnded = true; }

private:
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace xel
