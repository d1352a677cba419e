#include "bench/standin/StandinServer.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/common/MqttPackets.h"
#include "bench/standin/Loopback.h"

namespace xel::bench {

namespace {

constexpr std::chrono::minutes kStallTime{1};
constexpr std::chrono::nanoseconds kTick{200'000};

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

StandinServer::StandinServer(std::optional<Blast> blast, std::optional<Sink> sink,
                             std::optional<StandinTLS> tls)
    : blast_(std::move(blast)),
      sink_(std::move(sink)),
      tls_(std::move(tls)),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}

std::uint16_t StandinServer::listen(std::uint16_t port) {
    return listenOnLoopback(listener_.get(), port, 1);
}

void StandinServer::serve(int patienceSeconds) {
    const OwnedDescriptor client(acceptOne(listener_.get(), patienceSeconds));
    const std::unique_ptr<Channel> channel = makeChannel(client.get());
    Blast::Clock::time_point lastProgress = Blast::Clock::now();
    while (!disconnected_) {
        const Reading reading = readSome(*channel);
        if (reading == Reading::Closed) {
            return;
        }
        const bool wrote = writeSome(*channel);
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

std::unique_ptr<Channel> StandinServer::makeChannel(int client) const {
    return tls_ ? makeTLSServerChannel(client, tls_->certificate, tls_->key) : makePlainChannel(client);
}

StandinServer::Reading StandinServer::readSome(Channel& client) {
    const Channel::Step got = client.read(piece_.data(), piece_.size());
    if (got.outcome != Channel::Outcome::Done) {
        return got.outcome == Channel::Outcome::Closed ? Reading::Closed : Reading::Nothing;
    }
    incoming_.append(piece_.data(), got.octets);
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

bool StandinServer::writeSome(Channel& client) {
    bool wrote = false;
    while (wantsToWrite()) {
        // A chunk ends with a whole packet, so answers may follow it and never fall into one.
        const bool inChunk = !chunk_.empty();
        const std::string_view next = inChunk ? chunk_ : std::string_view(control_).substr(controlSent_);
        const Channel::Step sent = client.write(next);
        if (sent.outcome != Channel::Outcome::Done) {
            return wrote;  // a closed connection is found, and judged, by the next read
        }
        wrote = true;
        if (inChunk) {
            chunk_.remove_prefix(sent.octets);
        } else {
            controlSent_ += sent.octets;
        }
        if (sent.octets < next.size()) {
            break;
        }
    }
    return wrote;
}

}  // namespace xel::bench
