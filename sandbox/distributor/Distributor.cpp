#include "sandbox/distributor/Distributor.h"

#include <optional>
#include <utility>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/relay/RandomText.h"

namespace xel::sandbox {
namespace {

constexpr std::size_t kEndpointBytes = 16;
constexpr const char* kWrongRequest = "INTERNAL_ERROR";
constexpr const char* kTooMany = "ACTION_REQUIRED";

}  // namespace

Distributor::Distributor(RegistrationStore& registrations, PushMessageStore& messages, Connectors& connectors,
                         ProgressLog& log, Clock clock)
    : registrations_(registrations),
      messages_(messages),
      connectors_(connectors),
      log_(log),
      clock_(std::move(clock)) {}

Distributor::~Distributor() = default;

void Distributor::start(std::uint16_t port) {
    port_ = port;
    const bool hasMoved = registrations_.port() != port;
    if (hasMoved) {
        registrations_.setPort(port);
    }
    for (const Registration& registration : registrations_.all()) {
        if (hasMoved) {
            connectors_.newEndpoint(registration, urlOf(registration));
        }
        goOn(registration);
    }
}

std::string Distributor::registerApplication(const Registration& asked) {
    if (!isRegistration(asked)) {
        return kWrongRequest;
    }
    std::optional<Registration> registration = registrations_.findToken(asked.token);
    if (registration && registration->service != asked.service) {
        log_.write(asked.service + " registers with a token of another application: refused");
        return kWrongRequest;
    }
    if (registration) {
        registrations_.setDescription(asked.token, asked.description);
    } else {
        if (registrations_.all().size() >= kMostRegistrations) {
            log_.write(asked.service + " registers: refused, there are too many registrations");
            return kTooMany;
        }
        registration = asked;
        registration->endpoint = makeRandomHex(kEndpointBytes);
        registrations_.add(*registration);
        log_.write(asked.service + " registered");
    }
    connectors_.newEndpoint(*registration, urlOf(*registration));
    goOn(*registration);
    return {};
}

void Distributor::unregisterApplication(const std::string& token) {
    const std::optional<Registration> registration = registrations_.findToken(token);
    if (!registration) {
        return;
    }
    registrations_.remove(token);
    log_.write(registration->service + " unregistered");
    connectors_.unregistered(*registration);
}

bool Distributor::push(const std::string& endpoint, const std::string& body,
                       std::chrono::seconds timeToLive) {
    const std::optional<Registration> registration = registrations_.findEndpoint(endpoint);
    if (!registration) {
        return false;
    }
    if (messages_.add(registration->token, body, clock_() + std::chrono::milliseconds(timeToLive).count())) {
        log_.write("too many messages wait for " + registration->service + ": the oldest is given up");
    }
    goOn(*registration);
    return true;
}

void Distributor::serviceAppeared(const std::string& service) {
    for (const Registration& registration : registrations_.all()) {
        if (registration.service == service) {
            goOn(registration);
        }
    }
}

std::string Distributor::urlOf(const Registration& registration) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/push/" + registration.endpoint;
}

void Distributor::goOn(const Registration& registration) {
    if (busy_.contains(registration.token)) {
        return;
    }
    while (const std::optional<KeptPush> push = messages_.first(registration.token)) {
        // With a time to live of 0 a message is handed over now or not at all (RFC 8030 section 5.2):
        // once it is tried in any case.
        if (!push->wasTried || push->expires > clock_()) {
            handOver(registration, *push);
            return;
        }
        log_.write("a message for " + registration.service + " has outlived its time");
        messages_.remove(push->number);
    }
}

void Distributor::handOver(const Registration& registration, const KeptPush& push) {
    busy_.insert(registration.token);
    // Before the answer: a distributor that is killed meanwhile may have handed it over.
    messages_.markTried(push.number);
    connectors_.message(
        registration, push,
        life_.guarded([registration, number = push.number](Distributor& self, HandOver outcome) {
            self.handedOver(registration, number, outcome);
        }));
}

void Distributor::handedOver(const Registration& registration, std::int64_t number, HandOver outcome) {
    busy_.erase(registration.token);
    switch (outcome) {
        case HandOver::Taken: log_.write("a message handed to " + registration.service); break;
        case HandOver::Refused: log_.write(registration.service + " refuses a message"); break;
        case HandOver::NotThere:
            log_.write(registration.service + " is not there: its message waits");
            return;
    }
    messages_.remove(number);
    goOn(registration);
}

}  // namespace xel::sandbox
