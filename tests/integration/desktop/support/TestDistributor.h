#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Foundation/Value.h"
#include "tests/integration/desktop/support/BusFields.h"
#include "tests/integration/desktop/support/BusLoop.h"

namespace xel::test {

/// A distributor of push messages (org.unifiedpush.Distributor2) on a connection and a thread of its own. Its
/// endpoints lead nowhere: the test itself sends. Thread: any.
class TestDistributor {
public:
    struct Behaviour {
        /// Register is answered with this reason.
        std::optional<std::string> refusal{};
        /// No endpoint follows.
        bool isSilent = false;
        std::string endpoint{"https://push.example/1"};
    };
    struct Registration {
        std::string service;
        std::string token;
        std::string description;
    };

    TestDistributor(const std::string& busAddress, const std::string& name, Behaviour behaviour);
    TestDistributor(const TestDistributor&) = delete;
    TestDistributor& operator=(const TestDistributor&) = delete;
    ~TestDistributor();

    [[nodiscard]] std::vector<Registration> registrations() const;
    /// Tokens that hosts took back.
    [[nodiscard]] std::vector<std::string> endings() const;

    /// Calls the host. What it answers, or the name of the error.
    struct Answer {
        BusFields results;
        std::string error;
    };
    Answer call(const std::string& service, const std::string& method, const BusFields& arguments);

    Answer newEndpoint(const std::string& service, const std::string& token, const std::string& endpoint);
    Answer message(const std::string& service, const std::string& token, const Data& octets,
                   const std::string& id = "");

private:
    void takeRegister(sdbus::MethodCall& call);

    const Behaviour behaviour_;
    mutable std::mutex mutex_;
    std::vector<Registration> registrations_;
    std::vector<std::string> endings_;
    std::string busAddress_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    BusLoop loop_;
};

}  // namespace xel::test
