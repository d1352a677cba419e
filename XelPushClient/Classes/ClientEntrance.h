#pragma once

#include <memory>
#include <utility>

namespace xel {

struct ClientRooms;

/// The way of a manager's operations into its rooms.
///
/// `entrance->room.operation()` holds the rooms until the operation has returned: a host may destroy the
/// manager inside it. An operation that takes more than one step enters once and holds the rooms meanwhile.
class ClientEntrance {
public:
    explicit ClientEntrance(std::shared_ptr<ClientRooms> rooms) : rooms_(std::move(rooms)) {}

    [[nodiscard]] std::shared_ptr<ClientRooms> enter() const { return rooms_; }
    [[nodiscard]] std::shared_ptr<ClientRooms> operator->() const { return enter(); }

private:
    std::shared_ptr<ClientRooms> rooms_;
};

}  // namespace xel
