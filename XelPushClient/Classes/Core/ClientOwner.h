#pragma once

#include <cstdint>
#include <memory>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Who may use a client: the thread of its run loop, in the process that made it. From any thread.
///
/// A client that is used elsewhere loses messages or its memory long before anybody notices, so it is always
/// looked at, which costs two comparisons.
class ClientOwner {
public:
    explicit ClientOwner(std::shared_ptr<const NSRunLoop> runLoop);

    [[nodiscard]] bool isThisProcess() const;
    [[nodiscard]] bool isThisThread() const { return runLoop_->isCurrent(); }

    /// Throws `std::logic_error` in a child of the process.
    void checkProcess() const;
    /// Throws `std::logic_error` there and on any other thread.
    void check() const;

private:
    std::shared_ptr<const NSRunLoop> runLoop_;
    std::uint32_t process_;
};

}  // namespace xel
