#include "tests/matrix/support/MatrixGateway.h"

#include <stdexcept>
#include <utility>

#include "XelPushClient/Linux/Homes/HomeStore.h"
#include "tests/contract/Process/LoopbackClient.h"

namespace xel::matrix {

namespace {

template <class Value>
Value orThrow(Result<Value> result) {
    if (!result) {
        throw std::runtime_error(result.error().localizedDescription());
    }
    return std::move(result).value();
}

}  // namespace

MatrixGateway::MatrixGateway(MatrixGatewayOptions options) {
    PushClientManager::setDevelopment(true);
    const LinuxOptions linuxOptions =
        contract::optionsOnLoopback(loop_, options.folder, "127.0.0.1", options.port);
    const Machine machine = makeHeadlessMachine(linuxOptions);
    const auto store = orThrow(openLinuxHomeStore(linuxOptions, machine));
    for (std::size_t number = 0; number < options.clients; ++number) {
        clients_.push_back(std::make_unique<PushClientManager>(
            machine, orThrow(openLinuxHome(linuxOptions, machine, store, std::to_string(number)))));
        clients_.back()->setMessageHandler(
            [number, didReceive = options.didReceive](const PushClientMessage& message) {
                if (didReceive) {
                    didReceive(number, message.messageBody.value_or(""));
                }
            });
        clients_.back()->setMessageUILocalNotificationHandler([](const PushClientMessage&) {});
    }
}

MatrixGateway::~MatrixGateway() = default;

std::string MatrixGateway::nameOf(std::size_t number) {
    return "user" + std::to_string(number) + "/D3V1CE" + std::to_string(number);
}

void MatrixGateway::connectAll() {
    for (std::size_t number = 0; number < clients_.size(); ++number) {
        const std::string name = nameOf(number);
        const std::size_t slash = name.find('/');
        contract::identify(*clients_[number], name.substr(0, slash), name.substr(slash + 1));
        clients_[number]->connectToServer();
    }
}

void MatrixGateway::connectAgain() {
    for (std::size_t number = 0; number < clients_.size(); ++number) {
        if (isInError(number)) {
            clients_[number]->connectToServer();
        }
    }
}

bool MatrixGateway::isConnected(std::size_t number) const {
    return clients_[number]->connectionState() == PushClientServerConnectedState;
}

bool MatrixGateway::isInError(std::size_t number) const {
    return clients_[number]->connectionStateString() == "Error";
}

std::vector<std::size_t> MatrixGateway::connected() const {
    std::vector<std::size_t> numbers;
    for (std::size_t number = 0; number < clients_.size(); ++number) {
        if (isConnected(number)) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

}  // namespace xel::matrix
