#include "bench/floor/BareClient.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "bench/common/Channel.h"
#include "bench/common/MqttPackets.h"
#include "bench/common/OwnedDescriptor.h"

namespace xel::bench {

namespace {

constexpr std::size_t kPieceBytes = 64 * 1024;
constexpr std::size_t kLargestPacket = 1024 * 1024;
constexpr std::size_t kPadding = 64;  // what parsers may read beyond the last payload

int connectTo(int port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (descriptor < 0 || connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) < 0) {
        throw std::system_error(errno, std::generic_category(), "connect");
    }
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return descriptor;
}

std::unique_ptr<Channel> openChannel(int descriptor, const SubjectOptions& subject) {
    if (subject.certificate.empty()) {
        return makePlainChannel(descriptor);
    }
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    return makeTLSClientChannel(descriptor, subject.certificate);
}

void handlePublish(std::string_view body, const BareClientHandlers& handlers, std::string& acknowledgements) {
    const std::size_t topicBytes = readUint16(body, 0);
    const std::uint16_t packetId = readUint16(body, 2 + topicBytes);
    handlers.message(body.substr(2, topicBytes), body.substr(2 + topicBytes + 2));
    appendAcknowledgement(acknowledgements, PacketType::Puback, packetId);
}

}  // namespace

void receiveBare(const SubjectOptions& subject, const SubjectTally& tally,
                 const BareClientHandlers& handlers) {
    const OwnedDescriptor socket(connectTo(subject.port));
    const std::unique_ptr<Channel> channel = openChannel(socket.get(), subject);
    std::string outgoing;
    appendConnect(outgoing, "bench-floor");
    appendSubscribe(outgoing, 1, sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel));
    writeAll(*channel, socket.get(), outgoing);

    std::vector<char> held(kLargestPacket + kPieceBytes + kPadding);
    std::size_t size = 0;  // of the head of a packet that the last piece cut through
    while (tally.messages < subject.count) {
        const Channel::Step step =
            channel->read(held.data() + size, std::min(kPieceBytes, held.size() - kPadding - size));
        if (step.outcome == Channel::Outcome::WouldBlock) {
            awaitReadable(socket.get());
            continue;
        }
        if (step.outcome == Channel::Outcome::Closed) {
            return;
        }
        size += step.octets;
        const std::size_t consumed =
            forEachPacket(std::string_view(held.data(), size), [&](const PacketView& packet) {
                if (packet.type == PacketType::Publish) {
                    handlePublish(packet.body, handlers, outgoing);
                }
            });
        if (consumed > 0) {
            std::memmove(held.data(), held.data() + consumed, size - consumed);
            size -= consumed;
            handlers.endOfTurn();
            writeAll(*channel, socket.get(), outgoing);
        }
    }
    appendDisconnect(outgoing);
    writeAll(*channel, socket.get(), outgoing);
}

}  // namespace xel::bench
