#include "tests/integration/support/LiveClient.h"

#include <stdexcept>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace xel::test {

using namespace std::chrono_literals;

void KeepingLogSink::write(std::string_view line) {
    const std::lock_guard lock(mutex_);
    text_ += line;
}

bool KeepingLogSink::contains(std::string_view text) const {
    const std::lock_guard lock(mutex_);
    return text_.find(text) != std::string::npos;
}

class LiveClient::Listener : public PushClientManagerDelegate {
public:
    explicit Listener(LiveClient& client) : client_(client) {}

    void pushClientManagerDidChangedServerConnectionState() override {
        if (client_.push_) {
            client_.states.emplace_back(client_.push_->connectionStateString());
        }
    }
    void pushClientManagerDidRegisterUser(bool /*registered*/) override {
        client_.push_->setUsingSSLConnection(client_.options_.usingTLS);
    }
    void pushClientManagerDidFailRegisterUser(const NSError& error) override {
        client_.registrationErrors.push_back(error);
    }
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        client_.messages.push_back(message);
    }
    void pushClientManagerUILocalNotificationDidReceivedMessage(const PushClientMessage&) override {}
    void pushClientManagerDidReceivedDelivery(const DeliveryMessage& delivery) override {
        client_.deliveries.push_back(delivery);
    }
    void pushClientManagerDidReceivedEventMessage(const EventMessage& event) override {
        client_.events.push_back(event);
    }
    void pushClientManagerDidFailInPublish(const NSError& error) override {
        client_.publishErrors.push_back(error);
    }
    void pushClientManagerDidSubscribed(const std::string& channel) override {
        client_.subscribed.push_back(channel);
    }

private:
    LiveClient& client_;
};

LiveClient::LiveClient(const sandbox::SandboxInfo& info, LiveClientOptions options)
    : info_(info), options_(std::move(options)), listener_(std::make_shared<Listener>(*this)) {
    PushClientManager::setDevelopment(true);
    LinuxOptions linuxOptions;
    linuxOptions.stateFolder = options_.home;
    linuxOptions.caFile = (options_.caFile.empty() ? info.caFile : options_.caFile).string();
    linuxOptions.logSink = log;
    linuxOptions.documentsFolder = (options_.home / "documents").string();
    linuxOptions.systemBus = options_.systemBus;
    linuxOptions.session = options_.session;
    linuxOptions.runLoop = std::make_shared<AsioRunLoop>();
    auto& endpoints = linuxOptions.endpoints.emplace();
    endpoints.kBrokerLocalAddress = options_.brokerHost;
    endpoints.kBrokerLocalPort = info.mqttPort;
    endpoints.kBrokerLocalSSLPort = info.mqttTlsPort;
    endpoints.kLoopBackLocalSSLAddress = info.restUrl;
    Machine machine = options_.makeMachine(linuxOptions);
    auto home = openLinuxHome(linuxOptions, machine);
    if (!home) {
        throw std::runtime_error(home.error().localizedDescription());
    }
    runLoop_ = machine.runLoop;
    application_ = {machine.application, &linuxApplicationOf(machine)};
    push_ = std::make_unique<PushClientManager>(std::move(machine), std::move(home).value());
    push_->setEnableLog(true);
    push_->setDeliveryChannelEnabeled(options_.hearsDeliveries);
    push_->addDelegate(listener_);
}

LiveClient::~LiveClient() = default;

void LiveClient::registerUser() {
    const auto& password = options_.brokerPassword.empty() ? info_.brokerPassword : options_.brokerPassword;
    push_->registerApplication(info_.appId, info_.apiKey, info_.brokerUser, password);
    push_->registerUser(options_.userId, options_.channels);
}

void LiveClient::connectAgain() {
    const auto& password = options_.brokerPassword.empty() ? info_.brokerPassword : options_.brokerPassword;
    push_->registerApplication(info_.appId, info_.apiKey, info_.brokerUser, password);
    push_->setUsingSSLConnection(options_.usingTLS);
    push_->connectToServer();
}

bool LiveClient::runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        runFor(10ms);
    }
    return true;
}

void LiveClient::runFor(std::chrono::milliseconds duration) {
    runLoop_->scheduleTimer(duration, [runLoop = runLoop_] { runLoop->stop(); });
    runLoop_->run();
}

bool LiveClient::runUntilState(std::string_view wanted) {
    return runUntil([&] { return state() == wanted; });
}

bool LiveClient::runUntilMessages(std::size_t count) {
    return runUntil([&] { return messages.size() >= count; });
}

}  // namespace xel::test
