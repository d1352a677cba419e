#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel::matrix {

/// A broker on a real socket that answers as a test says, and as a broker does where that says nothing.
/// It works on the client's own context, between the client's handlers.
class ScriptedBroker {
public:
    struct Answer {
        std::string octets{};
        bool isUsualOneFirst = false;  ///< a broker's own answer goes before
        bool endsConnection = false;
    };
    /// Asked for each packet, with the number of the connection, from 1. Missing: a broker's own answer.
    using Script =
        std::function<std::optional<Answer>(std::size_t connection, const FakeBrokerPacket& packet)>;

    ScriptedBroker(boost::asio::io_context& context, Script script, const std::string& address = "127.0.0.1",
                   std::uint16_t port = 0)
        : acceptor_(context, {boost::asio::ip::make_address(address), port}),
          shared_(std::make_shared<Shared>(Shared{std::move(script), {}, {}, 0})) {
        accept();
    }

    [[nodiscard]] std::uint16_t port() const { return acceptor_.local_endpoint().port(); }
    [[nodiscard]] std::size_t connectionCount() const { return shared_->connections; }
    /// How many connections the client's side has ended.
    [[nodiscard]] std::size_t endedByClient() const { return shared_->ended.size(); }
    [[nodiscard]] std::size_t packetCount(FakeBrokerPacketType type) const {
        return static_cast<std::size_t>(std::count(shared_->packets.begin(), shared_->packets.end(), type));
    }
    /// A message for the client of a row.
    [[nodiscard]] static std::string message(const std::string& text, std::uint16_t packetId) {
        return encodePublish("app/a1b2c3/user/alice01/D3V1CE",
                             R"({"messageBody":")" + text + R"(","id":"id-)" + text + R"("})", 1, false,
                             false, packetId);
    }

private:
    using Socket = boost::asio::ip::tcp::socket;

    struct Shared {
        Script script;
        std::vector<FakeBrokerPacketType> packets;
        std::vector<std::size_t> ended;
        std::size_t connections;
    };

    /// One connection, which its pending read keeps.
    class Connection : public std::enable_shared_from_this<Connection> {
    public:
        Connection(Socket socket, std::shared_ptr<Shared> shared)
            : socket_(std::move(socket)), shared_(std::move(shared)), number_(++shared_->connections) {}

        void read() {
            socket_.async_read_some(boost::asio::buffer(octets_),
                                    [self = shared_from_this()](const auto& error, std::size_t count) {
                                        self->take(!error, count);
                                    });
        }

    private:
        void take(bool isOpen, std::size_t count) {
            if (!isOpen || !reader_.feed({octets_.data(), count})) {
                shared_->ended.push_back(number_);
                return;
            }
            while (const auto packet = reader_.next()) {
                shared_->packets.push_back(packet->type);
                if (!answer(*packet)) {
                    return;
                }
            }
            read();
        }

        bool answer(const FakeBrokerPacket& packet) {
            const auto scripted = shared_->script ? shared_->script(number_, packet) : std::nullopt;
            std::string octets = !scripted || scripted->isUsualOneFirst ? usualAnswer(packet) : std::string();
            octets += scripted ? scripted->octets : std::string();
            boost::system::error_code ignored;
            boost::asio::write(socket_, boost::asio::buffer(octets), ignored);
            if (scripted && scripted->endsConnection) {
                socket_.close(ignored);
                return false;
            }
            return true;
        }

        static std::string usualAnswer(const FakeBrokerPacket& packet) {
            switch (packet.type) {
                case FakeBrokerPacketType::Connect: return encodeConnAck(false, 0);
                case FakeBrokerPacketType::Publish:
                    return packet.qos > 0 ? encodePubAck(packet.packetId) : "";
                case FakeBrokerPacketType::Subscribe:
                    return encodeSubAck(packet.packetId, std::vector<std::uint8_t>(packet.topics.size(), 1));
                case FakeBrokerPacketType::Unsubscribe: return encodeUnsubAck(packet.packetId);
                case FakeBrokerPacketType::PingReq: return encodePingResp();
                default: return {};
            }
        }

        Socket socket_;
        std::shared_ptr<Shared> shared_;
        std::size_t number_;
        std::array<char, 4096> octets_{};
        FakeBrokerPacketReader reader_;
    };

    void accept() {
        acceptor_.async_accept([this](const auto& error, Socket socket) {
            if (!error) {
                std::make_shared<Connection>(std::move(socket), shared_)->read();
                accept();
            }
        });
    }

    boost::asio::ip::tcp::acceptor acceptor_;
    std::shared_ptr<Shared> shared_;
};

}  // namespace xel::matrix
