#include "XelPushClient/Classes/Core/ClientOwner.h"

#include <stdexcept>
#include <utility>

#include "XelPushClient/Foundation/ProcessNumber.h"

namespace xel {

ClientOwner::ClientOwner(std::shared_ptr<const NSRunLoop> runLoop)
    : runLoop_(std::move(runLoop)), process_(processNumber()) {}

bool ClientOwner::isThisProcess() const {
    return process_ == processNumber();
}

void ClientOwner::checkProcess() const {
    if (!isThisProcess()) {
        throw std::logic_error(
            "a push client was used in a child that fork() made; it belongs to the process that made it, and "
            "a child that wants one calls exec() first");
    }
}

void ClientOwner::check() const {
    checkProcess();
    if (!isThisThread()) {
        throw std::logic_error(
            "a push client was used on another thread than its run loop's; post the call to the loop, or, "
            "when the loop is to run on this thread from now on, have this thread take the loop over first");
    }
}

}  // namespace xel
