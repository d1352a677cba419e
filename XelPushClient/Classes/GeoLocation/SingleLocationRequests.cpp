#include "XelPushClient/Classes/GeoLocation/SingleLocationRequests.h"

#include <utility>

#include "XelPushClient/Classes/GeoLocation/UsableFix.h"

namespace xel {
namespace {

constexpr double kGoodAccuracy = 100.0;       // metres
constexpr double kBearableAccuracy = 2000.0;  // metres

SingleLocationRequests::Answers::value_type answerOf(SingleLocationRequests::Completion completion,
                                                     Result<CLLocation> outcome) {
    return [completion = std::move(completion), outcome = std::move(outcome)] {
        if (completion) {
            completion(outcome);
        }
    };
}

}  // namespace

SingleLocationRequests::SingleLocationRequests(NSRunLoop& runLoop, std::function<void(Answers)> limitReached)
    : runLoop_(runLoop), limitReached_(std::move(limitReached)) {}

SingleLocationRequests::~SingleLocationRequests() {
    for (const auto& request : requests_) {
        request->timer->invalidate();
    }
}

void SingleLocationRequests::add(Completion completion) {
    auto request = std::make_shared<Request>();
    request->completion = std::move(completion);
    // The timers end with this object, so the bare pointer cannot outlive it.
    request->timer = runLoop_.scheduleTimer(kTimeLimit, [this, weak = std::weak_ptr(request)] {
        if (const auto waiting = weak.lock()) {
            limitIsOver(waiting);
        }
    });
    requests_.push_back(std::move(request));
}

SingleLocationRequests::Answers SingleLocationRequests::offer(const CLLocation& fix) {
    if (isAccurateWithin(fix, kGoodAccuracy)) {
        return answerAll(fix);
    }
    if (isAccurateWithin(fix, kBearableAccuracy)) {
        for (const auto& request : requests_) {
            // Of equally accurate ones the newer.
            if (!request->best || fix.horizontalAccuracy <= request->best->horizontalAccuracy) {
                request->best = fix;
            }
        }
    }
    return {};
}

SingleLocationRequests::Answers SingleLocationRequests::failAll(const NSError& error) {
    return answerAll(error);
}

SingleLocationRequests::Answers SingleLocationRequests::answerAll(const Result<CLLocation>& outcome) {
    Answers answers;
    for (const auto& request : std::exchange(requests_, {})) {
        request->timer->invalidate();
        answers.push_back(answerOf(std::move(request->completion), outcome));
    }
    return answers;
}

void SingleLocationRequests::limitIsOver(const std::shared_ptr<Request>& request) {
    std::erase(requests_, request);
    const Result<CLLocation> outcome =
        request->best ? Result<CLLocation>(*request->best)
                      : makeLocationError(LocationErrorCode::TimedOut,
                                          "no position that is known to within 2000 m came in 30 s");
    // The answer may end this object.
    const auto limitReached = limitReached_;
    limitReached({answerOf(std::move(request->completion), outcome)});
}

}  // namespace xel
