#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "XelPushClient/Platform/HTTPTransport.h"
#include "tests/simulation/Fact.h"

namespace xel::simulation {

/// Sends requests on to another transport, and tells of each and of what came of it.
class RequestTap final : public HTTPTransport {
public:
    RequestTap(std::shared_ptr<HTTPTransport> transport, std::function<void(Fact fact)> tell)
        : transport_(std::move(transport)), tell_(std::move(tell)) {}

    void send(HTTPRequest request, Completion completion) override;

private:
    std::shared_ptr<HTTPTransport> transport_;
    std::function<void(Fact fact)> tell_;
    std::int64_t lastRequest_ = 0;
};

}  // namespace xel::simulation
