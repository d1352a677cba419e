#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "XelPushClient/Foundation/Lifeline.h"
#include "sandbox/distributor/PushMessageStore.h"
#include "sandbox/distributor/RegistrationStore.h"

namespace xel::sandbox {

class ProgressLog;

/// What became of a message that was handed to an application.
enum class HandOver {
    Taken,
    Refused,   ///< the application answered with an error of its own
    NotThere,  ///< the application does not run, and was not started, or is not ready yet
};

/// The calls to applications (org.unifiedpush.Connector2). None is waited for.
class Connectors {
public:
    Connectors() = default;
    virtual ~Connectors() = default;
    Connectors(const Connectors&) = delete;
    Connectors& operator=(const Connectors&) = delete;

    virtual void newEndpoint(const Registration& registration, const std::string& url) = 0;
    virtual void unregistered(const Registration& registration) = 0;
    /// `onOutcome` is called once, later.
    virtual void message(const Registration& registration, const KeptPush& push,
                         std::function<void(HandOver)> onOutcome) = 0;
};

/// The distributor's rules: registrations, endpoints, and the way of a message from an endpoint to its
/// application.
///
/// A message is kept before it is answered for, and handed over in the order of arrival, one at a time for
/// each registration. One that an application was not there for is tried again when the next message comes,
/// when the application's name appears on the bus, when it registers, and when the distributor starts, until
/// its time to live is over. Each is tried once at least.
///
/// Thread: one.
class Distributor {
public:
    /// Milliseconds since 1970.
    using Clock = std::function<std::int64_t()>;

    static constexpr std::size_t kMostRegistrations = 1000;

    /// Everything given outlives it.
    Distributor(RegistrationStore& registrations, PushMessageStore& messages, Connectors& connectors,
                ProgressLog& log, Clock clock);
    ~Distributor();
    Distributor(const Distributor&) = delete;
    Distributor& operator=(const Distributor&) = delete;

    /// Endpoints are on this port from now on. Applications that were told another one are told, and what was
    /// kept is tried.
    void start(std::uint16_t port);

    /// Registers, or registers again, and tells the endpoint. Returns why it could not, as one of the reasons
    /// that Distributor2.Register knows, or an empty text.
    std::string registerApplication(const Registration& asked);

    /// Forgets the registration and tells so; an unknown token is ignored.
    void unregisterApplication(const std::string& token);

    /// Takes a message for an endpoint's random end. False when there is no such endpoint.
    bool push(const std::string& endpoint, const std::string& body, std::chrono::seconds timeToLive);

    /// An application has come to the bus.
    void serviceAppeared(const std::string& service);

private:
    [[nodiscard]] std::string urlOf(const Registration& registration) const;
    void goOn(const Registration& registration);
    void handOver(const Registration& registration, const KeptPush& push);
    void handedOver(const Registration& registration, std::int64_t number, HandOver outcome);

    RegistrationStore& registrations_;
    PushMessageStore& messages_;
    Connectors& connectors_;
    ProgressLog& log_;
    Clock clock_;
    std::uint16_t port_{0};
    std::set<std::string> busy_;  // tokens of which a message is under way
    Lifeline<Distributor> life_{*this};
};

}  // namespace xel::sandbox
