#include "sandbox/broker/Broker.h"

#include <chrono>
#include <thread>
#include <utility>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/state/StateFolder.h"

namespace xel::sandbox {
namespace {

constexpr std::chrono::seconds kStartPatience{15};
constexpr std::chrono::milliseconds kSubscribePatience{500};
constexpr std::chrono::milliseconds kPause{10};

void dropSessions(const BrokerConfiguration& configuration) {
    std::error_code error;
    std::filesystem::remove(configuration.persistenceFolder / kBrokerPersistenceFile, error);
    if (error) {
        throw SandboxError("cannot drop the broker's sessions: " + error.message());
    }
}

}  // namespace

Broker::Broker(boost::asio::io_context& loop, ProgressLog& log, BrokerProcess::UnexpectedEnd onUnexpectedEnd,
               ServiceClient::EventHandler onEvent)
    : log_(log), onEvent_(std::move(onEvent)), process_(loop, log, std::move(onUnexpectedEnd)) {}

Broker::~Broker() {
    stop();
}

void Broker::start(const Settings& settings, BrokerSessions sessions) {
    stop();
    if (sessions == BrokerSessions::Drop) {
        dropSessions(settings.configuration);
    }
    writePrivateFile(settings.configurationFile, writeBrokerConfiguration(settings.configuration));
    process_.start(settings.program, settings.configurationFile);
    try {
        connectService(settings);
    } catch (...) {
        stop();
        throw;
    }
}

void Broker::connectService(const Settings& settings) {
    const BrokerConfiguration& configuration = settings.configuration;
    auto service = std::make_shared<ServiceClient>(
        ServiceClient::Settings{configuration.address, configuration.plainPort, configuration.serviceUser,
                                settings.servicePassword},
        log_, onEvent_);
    const auto deadline = std::chrono::steady_clock::now() + kStartPatience;
    while (!service->connect(kSubscribePatience)) {
        if (const std::string reason = process_.endReason(); !reason.empty()) {
            throw SandboxError(reason);
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw SandboxError("mosquitto does not listen on port " +
                               std::to_string(configuration.plainPort));
        }
        std::this_thread::sleep_for(kPause);  // it tells nobody when it begins to listen
    }
    const std::lock_guard lock(mutex_);
    service_ = std::move(service);
}

void Broker::stop() {
    std::shared_ptr<ServiceClient> service;
    {
        const std::lock_guard lock(mutex_);
        service = std::exchange(service_, nullptr);
    }
    // Before the broker, to which it would try to connect again.
    service.reset();
    process_.stop();
}

void Broker::publish(const ServiceClient::Publication& publication, ServiceClient::PublishHandler onTaken) {
    std::shared_ptr<ServiceClient> service;
    {
        const std::lock_guard lock(mutex_);
        service = service_;
    }
    if (service == nullptr) {
        onTaken(false);
    } else {
        service->publish(publication, std::move(onTaken));
    }
}

}  // namespace xel::sandbox
