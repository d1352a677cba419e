#pragma once

#include <functional>
#include <memory>

namespace xel {

class NSRunLoop;

/// The way of a turn's closing: behind everything that the turn posted, on the session's run loop and, where
/// that is another one, on the main run loop too, so that observers of broadcast notifications have had them.
///
/// Owner: the session. A closing that is still on its way when the route is destroyed does not run.
class TurnClosingRoute {
public:
    /// Both loops outlive the route; the main one may be null, or the same.
    TurnClosingRoute(NSRunLoop& runLoop, NSRunLoop* mainRunLoop);
    ~TurnClosingRoute();
    TurnClosingRoute(const TurnClosingRoute&) = delete;
    TurnClosingRoute& operator=(const TurnClosingRoute&) = delete;

    /// Runs the closing on the session's run loop. Thread: that loop's.
    void post(std::function<void()> closing);

private:
    class Gate;

    NSRunLoop& runLoop_;
    NSRunLoop* mainRunLoop_;
    std::shared_ptr<Gate> gate_;
};

}  // namespace xel
