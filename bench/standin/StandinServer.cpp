#include "bench/standin/StandinServer.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/common/MqttPackets.h"

namespace xel::bench {

namespace {

constexpr std::chrono::minutes kStallTime{1};
constexpr std::chrono::nanoseconds kTick{200'000};

[[noreturn]] void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int checked(int result, const char* what) {
    if (result < 0) {
        throwSystemError(what);
    }
    return result;
}

int acceptOne(int listener, int patienceSeconds) {
    pollfd waiting{listener, POLLIN, 0};
    if (checked(poll(&waiting, 1, patienceSeconds * 1000), "poll") == 0) {
        throw std::runtime_error("no client came within " + std::to_string(patienceSeconds) + " s");
    }
    const int client = checked(accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC), "accept");
    const int on = 1;
    checked(setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "TCP_NODELAY");
    return client;
}

}  // namespace

OwnedDescriptor::OwnedDescriptor(int descriptor) : descriptor_(checked(descriptor, "descriptor")) {}

OwnedDescriptor::~OwnedDescriptor() {
    close(descriptor_);
}

StandinServer::StandinServer(std::optional<Blast> blast, std::optional<Sink> sink)
    : blast_(std::move(blast)),
      sink_(std::move(sink)),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}

std::uint16_t StandinServer::listen(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    checked(bind(listener_.get(), generic, size), "bind");
    checked(::listen(listener_.get(), 1), "listen");
    checked(getsockname(listener_.get(), generic, &size), "getsockname");
    return ntohs(address.sin_port);
}

void StandinServer::serve(int patienceSeconds) {
    const OwnedDescriptor client(acceptOne(listener_.get(), patienceSeconds));
    Blast::Clock::time_point lastProgress = Blast::Clock::now();
    while (!disconnected_) {
        const Reading reading = readSome(client.get());
        if (reading == Reading::Closed) {
            return;
        }
        const bool wrote = writeSome(client.get());
        const Blast::Clock::time_point now = Blast::Clock::now();
        if (wrote || reading == Reading::Some) {
            lastProgress = now;
        } else if (now - lastProgress > kStallTime) {
            throw std::runtime_error("the client has been silent for a minute");
        } else {
            std::this_thread::sleep_for(pauseBefore(now));
        }
    }
}

std::chrono::nanoseconds StandinServer::pauseBefore(Blast::Clock::time_point now) const {
    const std::chrono::nanoseconds due = blast_ ? blast_->untilNext(now) : std::chrono::nanoseconds{};
    return due.count() > 0 ? std::min(due, kTick) : kTick;
}

StandinServer::Reading StandinServer::readSome(int client) {
    const ssize_t got = recv(client, piece_.data(), piece_.size(), 0);
    if (got == 0) {
        return Reading::Closed;
    }
    if (got < 0) {
        if (errno == EAGAIN || errno == EINTR) {
            return Reading::Nothing;
        }
        throwSystemError("recv");
    }
    incoming_.append(piece_.data(), static_cast<std::size_t>(got));
    incoming_.erase(0, forEachPacket(incoming_, [this](const PacketView& packet) { handle(packet); }));
    return Reading::Some;
}

void StandinServer::handle(const PacketView& packet) {
    switch (packet.type) {
        case PacketType::Connect: appendConnack(control_, false); return;
        case PacketType::Subscribe: answerSubscribe(packet.body); return;
        case PacketType::Unsubscribe:
            appendAcknowledgement(control_, PacketType::Unsuback, readUint16(packet.body, 0));
            return;
        case PacketType::Pingreq: appendPingresp(control_); return;
        case PacketType::Puback:
            if (!blast_) {
                throw std::runtime_error("a PUBACK, though nothing was published to the client");
            }
            blast_->acknowledge(readUint16(packet.body, 0), Blast::Clock::now());
            return;
        case PacketType::Publish:
            if (!sink_) {
                throw std::runtime_error("a publication, though this run is for receiving");
            }
            sink_->take(packet.flags, packet.body, control_);
            return;
        case PacketType::Disconnect: disconnected_ = true; return;
        default:
            throw std::runtime_error("packet type " + std::to_string(static_cast<int>(packet.type)) +
                                     " from a client");
    }
}

void StandinServer::answerSubscribe(std::string_view body) {
    const std::uint16_t packetId = readUint16(body, 0);
    std::string granted;
    for (std::size_t at = 2; at < body.size();) {
        at += 2U + readUint16(body, at);
        if (at >= body.size()) {
            throw std::runtime_error("a SUBSCRIBE whose topic has no QoS");
        }
        granted.push_back(body[at]);
        ++at;
    }
    appendSuback(control_, packetId, granted);
    if (blast_) {
        blast_->start(Blast::Clock::now());
    }
}

bool StandinServer::wantsToWrite() {
    if (chunk_.empty() && controlSent_ == control_.size()) {
        control_.clear();
        controlSent_ = 0;
        if (blast_) {
            chunk_ = blast_->take(Blast::Clock::now());
        }
    }
    return !chunk_.empty() || controlSent_ < control_.size();
}

bool StandinServer::writeSome(int client) {
    bool wrote = false;
    while (wantsToWrite()) {
        // A chunk ends with a whole packet, so answers may follow it and never fall into one.
        const bool inChunk = !chunk_.empty();
        const std::string_view next = inChunk ? chunk_ : std::string_view(control_).substr(controlSent_);
        const ssize_t sent = send(client, next.data(), next.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EAGAIN || errno == EINTR || errno == EPIPE || errno == ECONNRESET) {
                return wrote;  // a closed connection is found, and judged, by the next read
            }
            throwSystemError("send");
        }
        wrote = true;
        if (inChunk) {
            chunk_.remove_prefix(static_cast<std::size_t>(sent));
        } else {
            controlSent_ += static_cast<std::size_t>(sent);
        }
        if (static_cast<std::size_t>(sent) < next.size()) {
            break;
        }
    }
    return wrote;
}

}  // namespace xel::bench
