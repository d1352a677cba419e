#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel::contract {

/// A broker on a free port of the loopback that takes whatever a client wants, and publishes to it once it
/// has subscribed. It works on the context of the test, between the client's own handlers.
class LocalBroker {
public:
    explicit LocalBroker(boost::asio::io_context& context)
        : acceptor_(context, {boost::asio::ip::address_v4::loopback(), 0}) {
        accept();
    }

    [[nodiscard]] std::uint16_t port() const { return acceptor_.local_endpoint().port(); }
    [[nodiscard]] std::size_t connectionCount() const { return connections_; }

    [[nodiscard]] std::size_t packetCount(FakeBrokerPacketType type) const {
        return static_cast<std::size_t>(std::count(packets_->begin(), packets_->end(), type));
    }

    /// Sent in one write, so that they are one turn of the client's.
    void publishWhenSubscribed(std::string publications) { *publications_ = std::move(publications); }

private:
    using Socket = boost::asio::ip::tcp::socket;

    /// One connection, which its pending read keeps.
    class Connection : public std::enable_shared_from_this<Connection> {
    public:
        Connection(Socket socket, std::shared_ptr<const std::string> publications,
                   std::shared_ptr<std::vector<FakeBrokerPacketType>> packets)
            : socket_(std::move(socket)),
              publications_(std::move(publications)),
              packets_(std::move(packets)) {}

        void read() {
            socket_.async_read_some(boost::asio::buffer(octets_),
                                    [self = shared_from_this()](const auto& error, std::size_t count) {
                                        if (!error && self->reader_.feed({self->octets_.data(), count})) {
                                            self->answerPackets();
                                            self->read();
                                        }
                                    });
        }

    private:
        void answerPackets() {
            while (const auto packet = reader_.next()) {
                packets_->push_back(packet->type);
                const std::string answer = answerTo(*packet);
                boost::system::error_code ignored;
                boost::asio::write(socket_, boost::asio::buffer(answer), ignored);
            }
        }
        [[nodiscard]] std::string answerTo(const FakeBrokerPacket& packet) const {
            switch (packet.type) {
                case FakeBrokerPacketType::Connect: return encodeConnAck(false, 0);
                case FakeBrokerPacketType::Publish: return encodePubAck(packet.packetId);
                case FakeBrokerPacketType::Subscribe:
                    return encodeSubAck(packet.packetId, std::vector<std::uint8_t>(packet.topics.size(), 1)) +
                           *publications_;
                case FakeBrokerPacketType::Unsubscribe: return encodeUnsubAck(packet.packetId);
                case FakeBrokerPacketType::PingReq: return encodePingResp();
                default: return {};
            }
        }

        Socket socket_;
        std::shared_ptr<const std::string> publications_;
        std::shared_ptr<std::vector<FakeBrokerPacketType>> packets_;
        std::array<char, 4096> octets_{};
        FakeBrokerPacketReader reader_;
    };

    void accept() {
        acceptor_.async_accept([this](const auto& error, Socket socket) {
            if (error) {
                return;
            }
            ++connections_;
            std::make_shared<Connection>(std::move(socket), publications_, packets_)->read();
            accept();
        });
    }

    boost::asio::ip::tcp::acceptor acceptor_;
    std::shared_ptr<std::string> publications_ = std::make_shared<std::string>();
    std::shared_ptr<std::vector<FakeBrokerPacketType>> packets_ =
        std::make_shared<std::vector<FakeBrokerPacketType>>();
    std::size_t connections_ = 0;
};

}  // namespace xel::contract
