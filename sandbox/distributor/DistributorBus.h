#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>

#include "XelPushClient/Foundation/Lifeline.h"
#include "sandbox/distributor/Distributor.h"
#include "sandbox/process/SandboxError.h"

namespace sdbus {
class IConnection;
class IObject;
class IProxy;
class Variant;
}  // namespace sdbus

namespace xel::sandbox {

class BusLoop;

/// There is no session bus to talk to.
class NoSessionBusError : public SandboxError {
public:
    using SandboxError::SandboxError;
};

/// The name on the session bus by which applications find the distributor.
inline constexpr const char* kDistributorName = "org.unifiedpush.Distributor.XelPush";

/// A registration as Distributor2.Register spells it, its endpoint empty; nothing when a field is missing or
/// of the wrong type.
std::optional<Registration> readRegistration(const std::map<std::string, sdbus::Variant>& fields);

/// What the error of a call to an application, by its D-Bus name, says of the message.
HandOver outcomeOf(const std::string& errorName);

/// The distributor on the session bus: the interface org.unifiedpush.Distributor2 for applications, and the
/// calls to their org.unifiedpush.Connector2, which start an application that the bus can start.
///
/// Thread: that of the loop; events are raised there.
class DistributorBus final : public Connectors {
public:
    struct Events {
        /// Returns the reason of a failure, or an empty text.
        std::function<std::string(const Registration&)> registerApplication;
        std::function<void(const std::string& token)> unregisterApplication;
        std::function<void(const std::string& service)> serviceAppeared;
        /// The bus has gone.
        std::function<void(const std::string& reason)> ended;
    };

    /// Opens the bus at the address. Throws NoSessionBusError.
    DistributorBus(boost::asio::io_context& loop, const std::string& address, Events events);
    ~DistributorBus() override;

    /// Begins to serve. Throws SandboxError when another program has the name.
    void start();

    void newEndpoint(const Registration& registration, const std::string& url) override;
    void unregistered(const Registration& registration) override;
    void message(const Registration& registration, const KeptPush& push,
                 std::function<void(HandOver)> onOutcome) override;

private:
    using Fields = std::map<std::string, sdbus::Variant>;

    Fields answerRegister(const Fields& fields);
    void answerUnregister(const Fields& fields);
    void exportObject();
    void watchNames();
    sdbus::IProxy& connectorOf(const std::string& service);
    void later(std::function<void()> work);
    void call(const std::string& service, const std::string& method, const Fields& fields,
              const std::function<void(HandOver)>& onOutcome);

    boost::asio::io_context& loop_;
    Events events_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<BusLoop> busLoop_;
    std::unique_ptr<sdbus::IObject> object_;
    std::map<std::string, std::unique_ptr<sdbus::IProxy>> connectors_;
    Lifeline<DistributorBus> life_{*this};
};

}  // namespace xel::sandbox
