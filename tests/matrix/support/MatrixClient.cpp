#include "tests/matrix/support/MatrixClient.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tests/contract/Process/LoopbackClient.h"

namespace xel::matrix {

class MatrixClient::Listener : public PushClientManagerDelegate {
public:
    explicit Listener(MatrixClient& client) : client_(client) {}

    void pushClientManagerDidChangedServerConnectionState() override {
        if (client_.push_ != nullptr) {
            client_.states.emplace_back(client_.push_->connectionStateString());
        }
    }
    void pushClientManagerDidRegisterUser(bool /*registered*/) override {
        client_.push_->setUsingSSLConnection(client_.usesTLS_);
        ++client_.registrations;
    }
    void pushClientManagerDidFailRegisterUser(const NSError& error) override {
        client_.registrationErrors.push_back(error);
    }
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        client_.messages.push_back(message.messageBody.value_or(""));
    }
    void pushClientManagerUILocalNotificationDidReceivedMessage(const PushClientMessage&) override {}
    void pushClientManagerDidSubscribed(const std::string& channel) override {
        client_.subscribed.push_back(channel);
    }
    void pushClientManagerDidFailInSubscribe(const NSError& error) override {
        client_.subscribeErrors.push_back(error);
    }
    void pushClientManagerDidFailInPublish(const NSError& error) override {
        client_.publishErrors.push_back(error);
    }

private:
    MatrixClient& client_;
};

MatrixClient::MatrixClient(MatrixClientOptions options)
    : loop_(options.loop), usesTLS_(options.usingTLS), listener_(std::make_shared<Listener>(*this)) {
    PushClientManager::setDevelopment(true);
    LinuxOptions linuxOptions = contract::optionsOnLoopback(
        loop_, options.home.empty() ? folder_.path() : options.home, options.host, options.port);
    linuxOptions.caFile = options.caFile;
    linuxOptions.session = options.session;
    linuxOptions.endpoints->kBrokerLocalSSLPort = options.port;
    linuxOptions.endpoints->kLoopBackLocalSSLAddress = options.restUrl;
    Machine machine = makeHeadlessMachine(linuxOptions);
    if (options.change) {
        options.change(machine);
    }
    auto home = openLinuxHome(linuxOptions, machine);
    if (!home) {
        throw std::runtime_error(home.error().localizedDescription());
    }
    push_ = std::make_unique<PushClientManager>(std::move(machine), std::move(home).value());
    push_->addDelegate(listener_);
}

MatrixClient::~MatrixClient() = default;

void MatrixClient::connect() {
    contract::identify(*push_);
    push_->setUsingSSLConnection(usesTLS_);
    push_->connectToServer();
}

bool MatrixClient::runUntil(const std::function<bool()>& done, std::chrono::milliseconds patience) {
    return matrix::runUntil(*loop_, done, patience);
}

void MatrixClient::runFor(std::chrono::milliseconds time) {
    matrix::runFor(*loop_, time);
}

bool MatrixClient::runUntilConnected() {
    return runUntil([this] { return isConnected(); });
}

bool MatrixClient::runUntilError() {
    return runUntil([this] { return isInError(); });
}

bool MatrixClient::healUntil(const std::function<bool()>& done) {
    return runUntil([&] {
        if (isInError()) {
            push_->connectToServer();
        }
        return done();
    });
}

bool MatrixClient::isConnected() const {
    return push_->connectionState() == PushClientServerConnectedState;
}

bool MatrixClient::isInError() const {
    return push_->connectionStateString() == "Error";
}

std::string MatrixClient::failureText() const {
    return push_->failureError() ? push_->failureError()->localizedDescription() : std::string();
}

std::size_t MatrixClient::countOf(std::string_view text) const {
    return static_cast<std::size_t>(std::count(messages.begin(), messages.end(), text));
}

}  // namespace xel::matrix
