#include "bench/standin/CrowdServer.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "bench/common/MqttPackets.h"
#include "bench/common/SampleMessage.h"
#include "bench/standin/Loopback.h"

namespace xel::bench {

namespace {

constexpr std::chrono::microseconds kPause{200};
constexpr int kMostWaiting = 4096;
constexpr std::uint16_t kPacketId = 1;

/// Protocol name, level, flags and keep-alive come before the client id in a CONNECT (MQTT 3.1.1 section
/// 3.1).
constexpr std::size_t kBeforeClientId = 10;

std::string clientIdOf(std::string_view connect) {
    const std::size_t size = readUint16(connect, kBeforeClientId);
    return std::string(connect.substr(kBeforeClientId + 2, size));
}

/// Of a client id "app/user/device".
std::string userOf(std::string_view clientId) {
    const std::size_t begin = clientId.find('/') + 1;
    const std::size_t end = clientId.find('/', begin);
    if (begin == 0 || end == std::string_view::npos) {
        throw std::runtime_error("the client id '" + std::string(clientId) + "' names no user");
    }
    return std::string(clientId.substr(begin, end - begin));
}

}  // namespace

class CrowdServer::Client {
public:
    Client(int descriptor, const std::optional<TLSAcceptor>& tls)
        : descriptor_(descriptor),
          channel(tls ? tls->makeChannel(descriptor) : makePlainChannel(descriptor)) {}

private:
    OwnedDescriptor descriptor_;

public:
    std::unique_ptr<Channel> channel;
    std::string incoming;
    std::string outgoing;
    std::string user;

    /// What does not leave now stays; the answers are far smaller than a socket's buffer.
    void write() {
        while (!outgoing.empty()) {
            const Channel::Step sent = channel->write(outgoing);
            if (sent.outcome != Channel::Outcome::Done) {
                return;
            }
            outgoing.erase(0, sent.octets);
        }
    }
};

CrowdServer::CrowdServer(CrowdOptions options, std::optional<TLSAcceptor> tls)
    : options_(std::move(options)),
      tls_(std::move(tls)),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      poll_(epoll_create1(EPOLL_CLOEXEC)) {}

CrowdServer::~CrowdServer() = default;

std::uint16_t CrowdServer::listen(std::uint16_t port) {
    const std::uint16_t bound = listenOnLoopback(listener_.get(), port, SOMAXCONN);
    epoll_event wanted{EPOLLIN, {.fd = listener_.get()}};
    epoll_ctl(poll_.get(), EPOLL_CTL_ADD, listener_.get(), &wanted);
    return bound;
}

void CrowdServer::serve() {
    std::array<epoll_event, kMostWaiting> ready{};
    auto lastEvent = std::chrono::steady_clock::now();
    while (introduced_ < options_.count || !clients_.empty()) {
        const int count = epoll_wait(poll_.get(), ready.data(), kMostWaiting, 0);
        const auto now = std::chrono::steady_clock::now();
        if (count <= 0) {
            if (now - lastEvent > options_.patience) {
                throw std::runtime_error("nothing has happened for too long");
            }
            std::this_thread::sleep_for(kPause);
            continue;
        }
        lastEvent = now;
        for (int i = 0; i < count; ++i) {
            const int descriptor = ready[static_cast<std::size_t>(i)].data.fd;
            descriptor == listener_.get() ? acceptAll() : serveClient(descriptor);
        }
    }
}

void CrowdServer::acceptAll() {
    while (true) {
        const int descriptor = accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor < 0) {
            if (errno == EAGAIN || errno == ECONNABORTED) {
                return;
            }
            throw std::system_error(errno, std::generic_category(), "accept");
        }
        const int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        clients_[descriptor] = std::make_unique<Client>(descriptor, tls_);
        epoll_event wanted{EPOLLIN, {.fd = descriptor}};
        epoll_ctl(poll_.get(), EPOLL_CTL_ADD, descriptor, &wanted);
    }
}

void CrowdServer::serveClient(int descriptor) {
    const auto found = clients_.find(descriptor);
    if (found == clients_.end()) {
        return;
    }
    Client& client = *found->second;
    std::array<char, 16384> piece{};
    const Channel::Step got = client.channel->read(piece.data(), piece.size());
    if (got.outcome == Channel::Outcome::Closed) {
        clients_.erase(found);
        return;
    }
    if (got.outcome == Channel::Outcome::Done) {
        client.incoming.append(piece.data(), got.octets);
        client.incoming.erase(
            0, forEachPacket(client.incoming, [&](const PacketView& packet) { handle(client, packet); }));
    }
    client.write();
}

void CrowdServer::handle(Client& client, const PacketView& packet) {
    switch (packet.type) {
        case PacketType::Connect:
            client.user = userOf(clientIdOf(packet.body));
            appendConnack(client.outgoing, false);
            ++introduced_;
            return;
        case PacketType::Subscribe: {
            std::string granted;
            for (std::size_t at = 2; at < packet.body.size(); ++at) {
                at += 2U + readUint16(packet.body, at);
                granted.push_back(packet.body.at(at));
            }
            appendSuback(client.outgoing, readUint16(packet.body, 0), granted);
            return;
        }
        case PacketType::Pingreq: appendPingresp(client.outgoing); return;
        case PacketType::Puback: ++acknowledged_; return;
        case PacketType::Publish: {
            const std::size_t topicBytes = readUint16(packet.body, 0);
            if ((packet.flags >> 1 & 3U) == 1) {
                appendAcknowledgement(client.outgoing, PacketType::Puback,
                                      readUint16(packet.body, 2 + topicBytes));
            }
            if (!std::exchange(hasPublished_, true)) {
                publishToAll();
            }
            return;
        }
        case PacketType::Disconnect: return;
        default:
            throw std::runtime_error("packet type " + std::to_string(static_cast<int>(packet.type)) +
                                     " from a client");
    }
}

void CrowdServer::publishToAll() {
    std::uint64_t index = 0;
    for (auto& [descriptor, client] : clients_) {
        if (!client->user.empty()) {
            appendPublish(client->outgoing, sampleTopic(options_.app, client->user, options_.channel),
                          kPacketId, makeSampleMessage(index++).payload);
            client->write();
        }
    }
}

}  // namespace xel::bench
