#include "sandbox/distributor/DistributorBus.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/asio/post.hpp>
#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "sandbox/distributor/BusLoop.h"

namespace xel::sandbox {
namespace {

constexpr const char* kDistributorPath = "/org/unifiedpush/Distributor";
constexpr const char* kInterface = "org.unifiedpush.Distributor2";
constexpr const char* kConnectorPath = "/org/unifiedpush/Connector";
constexpr const char* kConnectorInterface = "org.unifiedpush.Connector2";
constexpr const char* kOwnerChanges =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged'";
/// The bus starts an application within this time, and the application answers.
constexpr std::chrono::seconds kPatience{120};
constexpr std::size_t kVapidLength = 87;

using Fields = std::map<std::string, sdbus::Variant>;

// The text of a field; nothing when it is there and no text. A missing one is empty.
std::optional<std::string> textOf(const Fields& fields, const char* key) {
    const auto found = fields.find(key);
    if (found == fields.end()) {
        return std::string();
    }
    if (!found->second.containsValueOfType<std::string>()) {
        return std::nullopt;
    }
    return found->second.get<std::string>();
}

std::unique_ptr<sdbus::IConnection> openBus(const std::string& address) {
    if (address.empty()) {
        throw NoSessionBusError(
            "there is no session bus: neither DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR says where it is; "
            "run the distributor in a desktop session, or below dbus-run-session");
    }
    if (const auto refusal = refusalOfBus(address)) {
        throw NoSessionBusError("there is no session bus at '" + address + "': " + *refusal);
    }
    try {
        return sdbus::createSessionBusConnectionWithAddress(address);
    } catch (const sdbus::Error& error) {
        throw NoSessionBusError("there is no session bus at '" + address + "': " + error.getMessage());
    }
}

}  // namespace

std::optional<Registration> readRegistration(const Fields& fields) {
    const auto service = textOf(fields, "service");
    const auto token = textOf(fields, "token");
    const auto description = textOf(fields, "description");
    const auto vapid = textOf(fields, "vapid");
    if (!service || !token || !description || !vapid || (!vapid->empty() && vapid->size() != kVapidLength)) {
        return std::nullopt;
    }
    return Registration{*service, *token, {}, *description};
}

HandOver outcomeOf(const std::string& errorName) {
    constexpr std::string_view kPrefix = "org.freedesktop.DBus.Error.";
    // An application that owns its name and has not exported its object yet counts as not there.
    constexpr std::array<std::string_view, 11> kNotThere{
        "ServiceUnknown", "NameHasNoOwner",   "NoReply",        "Timeout",
        "TimedOut",       "Disconnected",     "LimitsExceeded", "NoServer",
        "UnknownObject",  "UnknownInterface", "UnknownMethod"};
    if (!errorName.starts_with(kPrefix)) {
        return HandOver::Refused;
    }
    const std::string_view name = std::string_view(errorName).substr(kPrefix.size());
    const bool isNotThere =
        name.starts_with("Spawn.") || std::find(kNotThere.begin(), kNotThere.end(), name) != kNotThere.end();
    return isNotThere ? HandOver::NotThere : HandOver::Refused;
}

DistributorBus::DistributorBus(boost::asio::io_context& loop, const std::string& address, Events events)
    : loop_(loop),
      events_(std::move(events)),
      connection_(openBus(address)),
      busLoop_(std::make_unique<BusLoop>(loop, *connection_,
                                         [this](const std::string& reason) { events_.ended(reason); })) {}

DistributorBus::~DistributorBus() = default;

void DistributorBus::start() {
    exportObject();
    watchNames();
    try {
        connection_->requestName(kDistributorName);
    } catch (const sdbus::Error& error) {
        throw SandboxError(std::string("the name '") + kDistributorName +
                           "' cannot be had on the session bus (" + error.getMessage() +
                           "); is another distributor running?");
    }
    busLoop_->serveSoon();
}

void DistributorBus::exportObject() {
    object_ = sdbus::createObject(*connection_, kDistributorPath);
    object_->registerMethod("Register").onInterface(kInterface).implementedAs([this](const Fields& fields) {
        return answerRegister(fields);
    });
    object_->registerMethod("Unregister").onInterface(kInterface).implementedAs([this](const Fields& fields) {
        answerUnregister(fields);
        return Fields();
    });
    object_->finishRegistration();
}

void DistributorBus::watchNames() {
    connection_->addMatch(
        kOwnerChanges,
        [this](sdbus::Message& change) {
            std::string name;
            std::string formerOwner;
            std::string owner;
            change >> name >> formerOwner >> owner;
            if (!owner.empty() && isBusName(name)) {
                later([this, name] { events_.serviceAppeared(name); });
            }
        },
        sdbus::floating_slot);
}

DistributorBus::Fields DistributorBus::answerRegister(const Fields& fields) {
    const std::optional<Registration> asked = readRegistration(fields);
    const std::string reason = asked ? events_.registerApplication(*asked) : std::string("INTERNAL_ERROR");
    if (reason.empty()) {
        return {{"success", sdbus::Variant(std::string("REGISTRATION_SUCCEEDED"))}};
    }
    return {{"success", sdbus::Variant(std::string("REGISTRATION_FAILED"))},
            {"reason", sdbus::Variant(reason)}};
}

void DistributorBus::answerUnregister(const Fields& fields) {
    if (const auto token = textOf(fields, "token")) {
        later([this, token = *token] { events_.unregisterApplication(token); });
    }
}

void DistributorBus::newEndpoint(const Registration& registration, const std::string& url) {
    call(registration.service, "NewEndpoint",
         {{"token", sdbus::Variant(registration.token)}, {"endpoint", sdbus::Variant(url)}}, nullptr);
}

void DistributorBus::unregistered(const Registration& registration) {
    call(registration.service, "Unregistered", {{"token", sdbus::Variant(registration.token)}}, nullptr);
}

void DistributorBus::message(const Registration& registration, const KeptPush& push,
                             std::function<void(HandOver)> onOutcome) {
    call(registration.service, "Message",
         {{"token", sdbus::Variant(registration.token)},
          {"message", sdbus::Variant(std::vector<std::uint8_t>(push.body.begin(), push.body.end()))},
          {"id", sdbus::Variant(std::to_string(push.number))}},
         onOutcome);
}

sdbus::IProxy& DistributorBus::connectorOf(const std::string& service) {
    auto& proxy = connectors_[service];
    if (proxy == nullptr) {
        proxy = sdbus::createProxy(*connection_, service, kConnectorPath);
    }
    return *proxy;
}

// Later, on the loop: what is answered to a call goes before what follows from it, and no exception travels
// through the D-Bus library.
void DistributorBus::later(std::function<void()> work) {
    boost::asio::post(loop_, life_.guarded([work = std::move(work)](DistributorBus& /*self*/) { work(); }));
}

void DistributorBus::call(const std::string& service, const std::string& method, const Fields& fields,
                          const std::function<void(HandOver)>& onOutcome) {
    const auto answered = [this, onOutcome](const sdbus::Error* error) {
        if (onOutcome) {
            const HandOver outcome = error == nullptr ? HandOver::Taken : outcomeOf(error->getName());
            later([onOutcome, outcome] { onOutcome(outcome); });
        }
    };
    later([this, service, method, fields, answered] {
        try {
            connectorOf(service)
                .callMethodAsync(method)
                .onInterface(kConnectorInterface)
                .withTimeout(kPatience)
                .withArguments(fields)
                .uponReplyInvoke(answered);
        } catch (const sdbus::Error& error) {
            answered(&error);
        }
        busLoop_->serveSoon();
    });
}

}  // namespace xel::sandbox
