#include "tests/integration/desktop/TestConnector.h"

#include <cstdint>
#include <utility>

namespace xel::test {

namespace {

constexpr const char* kInterface = "org.unifiedpush.Connector2";

std::string textOf(const std::map<std::string, sdbus::Variant>& fields, const char* key) {
    const auto found = fields.find(key);
    return found == fields.end() ? std::string() : found->second.get<std::string>();
}

}  // namespace

TestConnector::TestConnector(const std::string& busAddress, std::string name)
    : name_(std::move(name)),
      connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
      object_(sdbus::createObject(*connection_, "/org/unifiedpush/Connector")),
      asking_(sdbus::createSessionBusConnectionWithAddress(busAddress)) {
    object_->registerMethod("NewEndpoint")
        .onInterface(kInterface)
        .implementedAs([this](const Fields& fields) {
            note("endpoint " + textOf(fields, "token") + " " + textOf(fields, "endpoint"));
            return Fields();
        });
    object_->registerMethod("Message").onInterface(kInterface).implementedAs([this](const Fields& fields) {
        const auto octets = fields.at("message").get<std::vector<std::uint8_t>>();
        note("message " + textOf(fields, "token") + " " + std::string(octets.begin(), octets.end()));
        return Fields{{"id", fields.at("id")}};
    });
    object_->registerMethod("Unregistered")
        .onInterface(kInterface)
        .implementedAs([this](const Fields& fields) {
            note("unregistered " + textOf(fields, "token"));
            return Fields();
        });
    object_->finishRegistration();
    connection_->requestName(name_);
    loop_.begin(*connection_);
}

TestConnector::~TestConnector() = default;

TestConnector::Answer TestConnector::registerWith(const std::string& distributor, const std::string& token) {
    const Fields answer =
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

TestConnector::Fields TestConnector::ask(const std::string& distributor, const std::string& method,
                                         const Fields& fields) {
    Fields answer;
    sdbus::createProxy(*asking_, distributor, "/org/unifiedpush/Distributor")
        ->callMethod(method)
        .onInterface("org.unifiedpush.Distributor2")
        .withArguments(fields)
        .storeResultsTo(answer);
    return answer;
}

}  // namespace xel::test
