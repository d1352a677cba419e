#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "XelPushClient/Foundation/ProcessNumber.h"

namespace xel {

// What children that fork(2) makes must let go of.
//
// A child inherits a copy of every open descriptor: its copy of a lock file would hold the lock, and its copy
// of a socket the connection, long after this process has gone. So each of them is named here while it is
// open, and a handler (pthread_atfork(3)) closes the child's copies by plain close(2) and raises the
// process's number before anything else runs there. What else the child inherits it must neither use nor
// destroy, for the threads that it belongs with are not there: it is left as it is. From any thread.

/// Has the handler installed, which everything below does too.
void watchForks();

/// Opens by the block, which answers a descriptor or -1, and has children close it. No fork comes in between.
[[nodiscard]] int openInThisProcess(const std::function<int()>& open);

/// Has children close a descriptor that somebody else opened.
void closeInChildren(int descriptor);
/// Ends that for a descriptor that somebody else closes next.
void forgetInChildren(int descriptor);

/// Closes the descriptor by the block, and no fork comes in between. Does nothing in a child, which has
/// closed it: the number may be another file's there.
void closeInThisProcess(int descriptor, const std::function<void()>& close);

/// Shares an object that only this process destroys: one with threads, locks or connections.
template <class Object>
[[nodiscard]] std::shared_ptr<Object> ownedByThisProcess(std::unique_ptr<Object> object) {
    watchForks();
    return std::shared_ptr<Object>(object.release(), [process = processNumber()](Object* made) {
        std::unique_ptr<Object> owned(made);
        if (process != processNumber()) {
            leaveInherited(std::shared_ptr<Object>(std::move(owned)));
        }
    });
}

/// Makes such a one.
template <class Object, class... Arguments>
[[nodiscard]] std::shared_ptr<Object> makeInThisProcess(Arguments&&... arguments) {
    return ownedByThisProcess(std::make_unique<Object>(std::forward<Arguments>(arguments)...));
}

}  // namespace xel
