#include "tools/doctor/ProbeConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>

#include <poll.h>
#include <sys/socket.h>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 5s;
/// What the broker has retained comes with a subscription.
constexpr std::size_t kLargestPacket = 1024UL * 1024;

}  // namespace

ProbeConnection::ProbeConnection(const std::string& caFile, bool usingTLS)
    : usingTLS_(usingTLS), tls_(caFile), decoder_(kLargestPacket) {}

std::string ProbeConnection::connect(const HostAddress& address) {
    return socket_.connect(address, kPatience);
}

std::string ProbeConnection::shakeHands(const std::string& host) {
    return usingTLS_ ? tls_.shakeHands(socket_.descriptor(), host) : std::string();
}

bool ProbeConnection::write(std::string_view octets) {
    if (usingTLS_) {
        return tls_.write(octets);
    }
    return ::send(socket_.descriptor(), octets.data(), octets.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(octets.size());
}

bool ProbeConnection::hasOctets(std::chrono::steady_clock::time_point deadline) const {
    if (usingTLS_ && tls_.hasOctets()) {
        return true;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd wait{socket_.descriptor(), POLLIN, 0};
    return ::poll(&wait, 1, static_cast<int>(std::max(left, 0ms).count())) > 0;
}

std::optional<std::string> ProbeConnection::readOctets() {
    if (usingTLS_) {
        return tls_.read();
    }
    std::array<char, 4096> octets{};
    const ssize_t length = ::recv(socket_.descriptor(), octets.data(), octets.size(), 0);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return std::string();
    }
    return length > 0 ? std::optional(std::string(octets.data(), static_cast<std::size_t>(length)))
                      : std::nullopt;
}

ProbePacket ProbeConnection::read(std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (true) {
        std::string_view input = received_;
        MQTTInboundPacket packet;
        switch (decoder_.decode(input, packet)) {
            case MQTTDecoding::Complete: {
                ProbePacket found{ProbeReading::Packet,
                                  packet.type,
                                  packet.returnCode,
                                  {packet.returnCodes.begin(), packet.returnCodes.end()}};
                received_.erase(0, received_.size() - input.size());
                return found;
            }
            case MQTTDecoding::Malformed: return {ProbeReading::Nonsense};
            case MQTTDecoding::Incomplete: break;
        }
        if (!hasOctets(deadline)) {
            return {ProbeReading::Nothing};
        }
        const auto more = readOctets();
        if (!more) {
            return {ProbeReading::End};
        }
        received_ += *more;
    }
}

std::optional<std::uint8_t> ProbeConnection::introduce(const MQTTSessionParameters& parameters) {
    std::string packet;
    appendConnect(packet, parameters);
    if (!write(packet)) {
        return std::nullopt;
    }
    const ProbePacket answer = read(kPatience);
    const bool isConnack = answer.reading == ProbeReading::Packet && answer.type == MQTTPacketType::Connack;
    return isConnack ? std::optional(answer.returnCode) : std::nullopt;
}

}  // namespace xel::tools
