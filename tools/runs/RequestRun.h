#pragma once

#include <functional>

#include "tools/runs/ClientRun.h"

namespace xel::tools {

/// Sends one request to the backend, without connecting to the broker.
class RequestRun final : public ClientRun {
public:
    /// How the request ended: once, with one of the two.
    struct Outcome {
        std::function<void(const Dictionary& record, const std::string& text)> succeeded;
        std::function<void(const NSError& error)> failed;
        /// The answer is no: printed, and a failure all the same.
        std::function<void(const Dictionary& record, const std::string& text)> denied;
    };
    using Act = std::function<void(PushClientManager& push, const Outcome& outcome)>;

    RequestRun(ClientChoice choice, ServiceAccess access, Act act);

private:
    void start() override;
    [[nodiscard]] std::string awaited() const override { return "an answer of the backend"; }

    Act act_;
};

}  // namespace xel::tools
