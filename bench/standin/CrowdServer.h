#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "bench/common/Channel.h"
#include "bench/common/OwnedDescriptor.h"

namespace xel::bench {

struct PacketView;

struct CrowdOptions {
    std::uint64_t count = 0;  ///< of clients
    std::string app;
    std::string channel;
    std::chrono::seconds patience{};  ///< how long nothing at all may happen
};

/// The broker that very many clients of one process talk to, MQTT 3.1.1, on the loopback only, plainly or
/// by TLS. It grants every subscription, and takes every publication: the first one has it publish one
/// message to each client's user. It ends when all clients have gone. One thread; like `StandinServer` it
/// never sleeps on a socket.
class CrowdServer {
public:
    CrowdServer(CrowdOptions options, std::optional<TLSAcceptor> tls);
    ~CrowdServer();
    CrowdServer(const CrowdServer&) = delete;
    CrowdServer& operator=(const CrowdServer&) = delete;

    /// Binds to 127.0.0.1; port 0 takes a free one. Answers the port.
    std::uint16_t listen(std::uint16_t port);

    /// Serves until all clients have come and gone. Throws std::runtime_error for a client that does not keep
    /// to the protocol, and when its patience ends.
    void serve();

    std::uint64_t introduced() const { return introduced_; }
    std::uint64_t acknowledged() const { return acknowledged_; }

private:
    class Client;

    void acceptAll();
    void serveClient(int descriptor);
    void handle(Client& client, const PacketView& packet);
    void publishToAll();

    CrowdOptions options_;
    std::optional<TLSAcceptor> tls_;
    OwnedDescriptor listener_;
    OwnedDescriptor poll_;
    std::unordered_map<int, std::unique_ptr<Client>> clients_;
    std::uint64_t introduced_ = 0;
    std::uint64_t acknowledged_ = 0;
    bool hasPublished_ = false;
};

}  // namespace xel::bench
