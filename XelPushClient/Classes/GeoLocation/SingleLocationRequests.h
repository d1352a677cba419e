#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Requests for one fix, each with its own time limit.
///
/// A fix accurate to 100 m answers at once. Otherwise the best one within the limit does, if it is accurate
/// to 2,000 m; one of unknown accuracy never does. Owner: `GeoLocation`. Thread: the manager's run loop.
class SingleLocationRequests {
public:
    using Completion = CoreGeoLocation::SingleLocationCompletion;
    /// The answers that are due, for the owner to give once its own state is in order.
    using Answers = std::vector<std::function<void()>>;

    static constexpr std::chrono::seconds kTimeLimit{30};

    /// `limitReached` is called with the answer to a request whose time is over.
    SingleLocationRequests(NSRunLoop& runLoop, std::function<void(Answers)> limitReached);
    SingleLocationRequests(const SingleLocationRequests&) = delete;
    SingleLocationRequests& operator=(const SingleLocationRequests&) = delete;
    /// Requests that wait are dropped without an answer.
    ~SingleLocationRequests();

    [[nodiscard]] bool empty() const { return requests_.empty(); }
    void add(Completion completion);
    /// Offers a usable fix to all.
    [[nodiscard]] Answers offer(const CLLocation& fix);
    [[nodiscard]] Answers failAll(const NSError& error);

private:
    struct Request {
        Completion completion;
        std::shared_ptr<NSTimer> timer;
        std::optional<CLLocation> best;
    };

    void limitIsOver(const std::shared_ptr<Request>& request);
    [[nodiscard]] Answers answerAll(const Result<CLLocation>& outcome);

    NSRunLoop& runLoop_;
    std::function<void(Answers)> limitReached_;
    std::vector<std::shared_ptr<Request>> requests_;
};

}  // namespace xel
