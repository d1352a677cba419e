#pragma once

#include <functional>
#include <memory>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

class NSUserDefaults;

/// Where an application's push tokens come from.
///
/// Owner: the application. Thread: the run loop.
class PushTokenSource {
public:
    using Answer = std::function<void(const Result<Data>& token)>;

    virtual ~PushTokenSource() = default;

    /// Asks for the token. Answered once, on the run loop and never inside the call, with the token or with
    /// why there is none; not at all when the source is dropped first.
    virtual void requestToken(Answer answer) = 0;

    /// A home has been opened: what the source must remember is kept in its store. The first home keeps it,
    /// for as long as it is open.
    virtual void attachStore(const std::shared_ptr<NSUserDefaults>& store) = 0;
};

}  // namespace xel
