#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace xel::contract {

/// What a name server makes of a question (RFC 1035 section 4).
enum class NameReply {
    Right,  ///< every name is this machine
    Silence,
    FormatError,
    ServerFailure,
    NoSuchName,
    NotImplemented,
    Refused,
    NoAddress,
    Garbage,
    HalfAHeader,
    OtherId,
    OtherName,
    Truncated,      ///< to be asked again by TCP, which nobody answers
    CircleOfNames,  ///< the name is another name for itself
    Endless,        ///< announces more answers than it holds
};

/// The name server of a network of the test's own, on a thread that began there.
class FakeNameServer {
public:
    FakeNameServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(53);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("a test's name server has no port");
        }
        thread_ = std::thread([this] { serve(); });
    }
    FakeNameServer(const FakeNameServer&) = delete;
    FakeNameServer& operator=(const FakeNameServer&) = delete;
    ~FakeNameServer() {
        isStopping_ = true;
        thread_.join();
        ::close(socket_);
    }

    void setReply(NameReply reply) { reply_ = reply; }

private:
    static constexpr std::size_t kHeader = 12;

    void serve() {
        while (!isStopping_) {
            pollfd watched{socket_, POLLIN, 0};
            if (::poll(&watched, 1, 20) != 1) {
                continue;
            }
            std::array<char, 1024> octets{};
            sockaddr_in from{};
            socklen_t length = sizeof from;
            auto* const generic = reinterpret_cast<sockaddr*>(&from);
            const ssize_t count = ::recvfrom(socket_, octets.data(), octets.size(), 0, generic, &length);
            if (count > static_cast<ssize_t>(kHeader)) {
                const std::string answer = answerTo({octets.data(), static_cast<std::size_t>(count)}, reply_);
                if (!answer.empty()) {
                    (void)::sendto(socket_, answer.data(), answer.size(), 0, generic, length);
                }
            }
        }
    }

    static std::string answerTo(const std::string& question, NameReply reply) {
        std::string answer = question.substr(0, endOfQuestion(question));
        answer[2] = '\x81';
        answer[3] = '\x80';
        answer[8] = answer[9] = answer[10] = answer[11] = 0;
        const bool asksForIPv4 = answer[answer.size() - 3] == 1;
        switch (reply) {
            case NameReply::Silence: return {};
            case NameReply::FormatError: answer[3] = '\x81'; break;
            case NameReply::ServerFailure: answer[3] = '\x82'; break;
            case NameReply::NoSuchName: answer[3] = '\x83'; break;
            case NameReply::NotImplemented: answer[3] = '\x84'; break;
            case NameReply::Refused: answer[3] = '\x85'; break;
            case NameReply::NoAddress: break;
            case NameReply::Garbage: return std::string(400, '\xAA');
            case NameReply::HalfAHeader: return answer.substr(0, 5);
            case NameReply::OtherId:
                answer[0] = static_cast<char>(answer[0] ^ 0x55);
                addAddress(answer);
                break;
            case NameReply::OtherName:
                answer[kHeader + 1] = static_cast<char>(answer[kHeader + 1] ^ 0x01);
                addAddress(answer);
                break;
            case NameReply::Truncated: answer[2] = '\x83'; break;
            case NameReply::CircleOfNames: addRecord(answer, 5, std::string("\xC0\x0C", 2)); break;
            case NameReply::Endless:
                addAddress(answer);
                answer[6] = '\xFF';
                break;
            case NameReply::Right:
                if (asksForIPv4) {
                    addAddress(answer);
                }
                break;
        }
        return answer;
    }

    static std::size_t endOfQuestion(const std::string& question) {
        return question.find('\0', kHeader) + 1 + 4;
    }
    static void addAddress(std::string& answer) { addRecord(answer, 1, std::string("\x7F\0\0\1", 4)); }
    /// Of the name that was asked for, and for this moment only.
    static void addRecord(std::string& answer, char type, const std::string& data) {
        answer[7] = 1;
        answer += std::string("\xC0\x0C\0", 3) + type + std::string("\0\1\0\0\0\0\0", 7) +
                  static_cast<char>(data.size()) + data;
    }

    int socket_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::atomic<NameReply> reply_ = NameReply::Right;
    std::atomic<bool> isStopping_ = false;
    std::thread thread_;
};

}  // namespace xel::contract
