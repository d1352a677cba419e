#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/matrix/support/MatrixClient.h"

namespace xel::matrix {

struct MatrixGatewayOptions {
    std::uint16_t port = 0;
    std::string folder{};
    std::size_t clients = 1;
    /// Whenever one has got a message. Without one, nobody is told.
    std::function<void(std::size_t number, const std::string& text)> didReceive{};
};

/// Many clients of one process, each with a home of its own in one store. They live on the test's thread.
class MatrixGateway {
public:
    explicit MatrixGateway(MatrixGatewayOptions options);
    ~MatrixGateway();
    MatrixGateway(const MatrixGateway&) = delete;
    MatrixGateway& operator=(const MatrixGateway&) = delete;

    /// The user and the device that the client with this number, from 0, is: "user/device".
    [[nodiscard]] static std::string nameOf(std::size_t number);

    [[nodiscard]] std::size_t size() const { return clients_.size(); }
    [[nodiscard]] PushClientManager& push(std::size_t number) { return *clients_[number]; }
    [[nodiscard]] AsioRunLoop& loop() { return *loop_; }

    /// As installations that are registered already.
    void connectAll();
    /// Those whose attempt has failed, at once and not after the client's own three seconds.
    void connectAgain();

    [[nodiscard]] bool isConnected(std::size_t number) const;
    [[nodiscard]] bool isInError(std::size_t number) const;
    [[nodiscard]] std::vector<std::size_t> connected() const;

private:
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::vector<std::unique_ptr<PushClientManager>> clients_;
};

}  // namespace xel::matrix
