#include "tests/integration/desktop/support/TestDistributor.h"

#include <utility>

namespace xel::test {

namespace {

constexpr const char* kDistributor = "org.unifiedpush.Distributor2";
constexpr const char* kDistributorPath = "/org/unifiedpush/Distributor";
constexpr const char* kConnector = "org.unifiedpush.Connector2";
constexpr const char* kConnectorPath = "/org/unifiedpush/Connector";

}  // namespace

TestDistributor::TestDistributor(const std::string& busAddress, const std::string& name, Behaviour behaviour)
    : behaviour_(std::move(behaviour)),
      busAddress_(busAddress),
      connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
      object_(sdbus::createObject(*connection_, kDistributorPath)) {
    object_->registerMethod(kDistributor, "Register", "a{sv}", "a{sv}",
                            [this](sdbus::MethodCall call) { takeRegister(call); });
    object_->registerMethod(kDistributor, "Unregister", "a{sv}", "a{sv}", [this](sdbus::MethodCall call) {
        BusFields arguments;
        call >> arguments;
        {
            const std::lock_guard lock(mutex_);
            endings_.push_back(textOf(arguments, "token"));
        }
        auto reply = call.createReply();
        reply << BusFields();
        reply.send();
    });
    object_->finishRegistration();
    connection_->requestName(name);
    loop_.begin(*connection_);
}

TestDistributor::~TestDistributor() = default;

void TestDistributor::takeRegister(sdbus::MethodCall& call) {
    BusFields arguments;
    call >> arguments;
    const Registration registration{textOf(arguments, "service"), textOf(arguments, "token"),
                                    textOf(arguments, "description")};
    {
        const std::lock_guard lock(mutex_);
        registrations_.push_back(registration);
    }
    auto reply = call.createReply();
    reply << (behaviour_.refusal
                  ? BusFields{{"success", sdbus::Variant(std::string("REGISTRATION_FAILED"))},
                              {"reason", sdbus::Variant(*behaviour_.refusal)}}
                  : BusFields{{"success", sdbus::Variant(std::string("REGISTRATION_SUCCEEDED"))}});
    reply.send();
    if (!behaviour_.refusal && !behaviour_.isSilent) {
        auto proxy = sdbus::createProxy(*connection_, registration.service, kConnectorPath);
        auto tell = proxy->createMethodCall(kConnector, "NewEndpoint");
        tell << BusFields{{"token", sdbus::Variant(registration.token)},
                          {"endpoint", sdbus::Variant(behaviour_.endpoint)}};
        tell.dontExpectReply();
        proxy->callMethod(tell);
    }
}

std::vector<TestDistributor::Registration> TestDistributor::registrations() const {
    const std::lock_guard lock(mutex_);
    return registrations_;
}

std::vector<std::string> TestDistributor::endings() const {
    const std::lock_guard lock(mutex_);
    return endings_;
}

TestDistributor::Answer TestDistributor::call(const std::string& service, const std::string& method,
                                              const BusFields& arguments) {
    // A connection of its own: the other one's thread waits for calls.
    const auto connection = sdbus::createSessionBusConnectionWithAddress(busAddress_);
    const auto proxy = sdbus::createProxy(*connection, service, kConnectorPath);
    Answer answer;
    try {
        proxy->callMethod(method)
            .onInterface(kConnector)
            .withArguments(arguments)
            .storeResultsTo(answer.results);
    } catch (const sdbus::Error& error) {
        answer.error = error.getName();
    }
    return answer;
}

TestDistributor::Answer TestDistributor::newEndpoint(const std::string& service, const std::string& token,
                                                     const std::string& endpoint) {
    return call(service, "NewEndpoint",
                {{"token", sdbus::Variant(token)}, {"endpoint", sdbus::Variant(endpoint)}});
}

TestDistributor::Answer TestDistributor::message(const std::string& service, const std::string& token,
                                                 const Data& octets, const std::string& id) {
    BusFields arguments{{"token", sdbus::Variant(token)}, {"message", sdbus::Variant(octets)}};
    if (!id.empty()) {
        arguments["id"] = sdbus::Variant(id);
    }
    return call(service, "Message", arguments);
}

}  // namespace xel::test
