#include "XelPushClient/Classes/ClientEntrance.h"

#include <exception>
#include <utility>

#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Foundation/ProcessNumber.h"

namespace xel {

ClientEntrance::ClientEntrance(std::shared_ptr<ClientRooms> rooms) : rooms_(std::move(rooms)) {}

ClientEntrance::~ClientEntrance() {
    if (!rooms_->owner.isThisProcess()) {
        leaveInherited(std::move(rooms_));
        return;
    }
    if (!rooms_->owner.isThisThread()) {
        rooms_->machine.logSink->write(
            "A push client is destroyed on another thread than its run loop's, which may be using it: "
            "destroy it on the loop, or have this thread take the loop over first");
    }
    try {
        rooms_->end();
    } catch (...) {
        throwInTheLoop(*rooms_->machine.runLoop, std::current_exception());
    }
}

std::shared_ptr<ClientRooms> ClientEntrance::enter() const {
    rooms_->owner.check();
    return rooms_;
}

std::shared_ptr<ClientRooms> ClientEntrance::enterFromAnyThread() const {
    rooms_->owner.checkProcess();
    if (rooms_->owner.isThisThread()) {
        return rooms_;
    }
    // The aliasing form: it refers to the rooms and holds nothing.
    return {std::shared_ptr<void>(), rooms_.get()};
}

}  // namespace xel
