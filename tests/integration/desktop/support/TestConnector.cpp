#include "tests/integration/desktop/support/TestConnector.h"

#include <cstdint>
#include <utility>

namespace xel::test {

namespace {

constexpr const char* kInterface = "org.unifiedpush.Connector2";

}  // namespace

TestConnector::TestConnector(const std::string& busAddress, std::string name)
    : name_(std::move(name)),
      connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
      object_(sdbus::createObject(*connection_, "/org/unifiedpush/Connector")),
      asking_(sdbus::createSessionBusConnectionWithAddress(busAddress)) {
    object_->registerMethod("NewEndpoint")
        .onInterface(kInterface)
        .implementedAs([this](const BusFields& fields) {
            note("endpoint " + textOf(fields, "token") + " " + textOf(fields, "endpoint"));
            return BusFields();
        });
    object_->registerMethod("Message").onInterface(kInterface).implementedAs([this](const BusFields& fields) {
        const auto octets = fields.at("message").get<std::vector<std::uint8_t>>();
        note("message " + textOf(fields, "token") + " " + std::string(octets.begin(), octets.end()));
        return BusFields{{"id", fields.at("id")}};
    });
    object_->registerMethod("Unregistered")
        .onInterface(kInterface)
        .implementedAs([this](const BusFields& fields) {
            note("unregistered " + textOf(fields, "token"));
            return BusFields();
        });
    object_->finishRegistration();
    connection_->requestName(name_);
    loop_.begin(*connection_);
}

TestConnector::~TestConnector() = default;

TestConnector::Answer TestConnector::registerWith(const std::string& distributor, const std::string& token) {
    const BusFields answer =
        ask(distributor, "Register", {{"service", sdbus::Variant(name_)}, {"token", sdbus::Variant(token)}});
    return {textOf(answer, "success"), textOf(answer, "reason")};
}

void TestConnector::unregisterFrom(const std::string& distributor, const std::string& token) {
    ask(distributor, "Unregister", {{"token", sdbus::Variant(token)}});
}

std::vector<std::string> TestConnector::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

void TestConnector::note(const std::string& call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
}

BusFields TestConnector::ask(const std::string& distributor, const std::string& method,
                             const BusFields& fields) {
    BusFields answer;
    sdbus::createProxy(*asking_, distributor, "/org/unifiedpush/Distributor")
        ->callMethod(method)
        .onInterface("org.unifiedpush.Distributor2")
        .withArguments(fields)
        .storeResultsTo(answer);
    return answer;
}

}  // namespace xel::test
