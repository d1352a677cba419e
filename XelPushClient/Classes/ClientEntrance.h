#pragma once

#include <memory>

namespace xel {

struct ClientRooms;

/// The way of a manager's operations into its rooms.
///
/// `entrance->room.operation()` looks whether the caller may use the client, and throws `std::logic_error`
/// before anything changes when he may not. It holds the rooms until the operation has returned: a host may
/// destroy the manager inside it. An operation that takes more than one step enters once and holds the rooms
/// meanwhile.
class ClientEntrance {
public:
    explicit ClientEntrance(std::shared_ptr<ClientRooms> rooms);
    ClientEntrance(const ClientEntrance&) = delete;
    ClientEntrance& operator=(const ClientEntrance&) = delete;
    /// Ends the client. On a wrong thread too, after a log line: no exception leaves a destructor. In a child
    /// that fork(2) made it leaves everything as it is.
    ~ClientEntrance();

    [[nodiscard]] std::shared_ptr<ClientRooms> enter() const;
    [[nodiscard]] std::shared_ptr<ClientRooms> operator->() const { return enter(); }

    /// For the few operations that any thread may call. Held on the loop's thread only: no other may be the
    /// last to hold rooms.
    [[nodiscard]] std::shared_ptr<ClientRooms> enterFromAnyThread() const;

private:
    std::shared_ptr<ClientRooms> rooms_;
};

}  // namespace xel
