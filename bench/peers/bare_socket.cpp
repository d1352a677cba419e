// The floor: a blocking socket read in pieces of 64 KiB, the acknowledgements of a piece written together.

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/common/MqttPackets.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"

namespace xel::bench {

namespace {

void sendAll(int descriptor, std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t step = send(descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (step < 0) {
            throw std::system_error(errno, std::generic_category(), "send");
        }
        sent += static_cast<std::size_t>(step);
    }
    bytes.clear();
}

int connectTo(int port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (descriptor < 0 || connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) < 0) {
        throw std::system_error(errno, std::generic_category(), "connect");
    }
    return descriptor;
}

void receivePublish(std::string_view body, SubjectTally& tally, std::string& acknowledgements) {
    const std::size_t topicBytes = readUint16(body, 0);
    const std::uint16_t packetId = readUint16(body, 2 + topicBytes);
    tally.payloadBytes += body.size() - (2 + topicBytes + 2);
    ++tally.messages;
    appendAcknowledgement(acknowledgements, PacketType::Puback, packetId);
}

int run(const BenchOptions& options) {
    const SubjectOptions subject(options);
    const int descriptor = connectTo(subject.port);
    std::string outgoing;
    appendConnect(outgoing, "bench-socket");
    appendSubscribe(outgoing, 1, sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel));
    sendAll(descriptor, outgoing);

    SubjectTally tally;
    std::array<char, 64 * 1024> piece{};
    std::size_t held = 0;  // the head of a packet that the last piece cut through
    while (tally.messages < subject.count) {
        const ssize_t got = recv(descriptor, piece.data() + held, piece.size() - held, 0);
        if (got <= 0) {
            break;
        }
        held += static_cast<std::size_t>(got);
        const std::string_view bytes(piece.data(), held);
        const std::size_t consumed = forEachPacket(bytes, [&](const PacketView& packet) {
            if (packet.type == PacketType::Publish) {
                receivePublish(packet.body, tally, outgoing);
            }
        });
        std::memmove(piece.data(), piece.data() + consumed, held - consumed);
        held -= consumed;
        sendAll(descriptor, outgoing);
    }
    appendDisconnect(outgoing);
    sendAll(descriptor, outgoing);
    close(descriptor);
    return tally.finish(subject, false);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
