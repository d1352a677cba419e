#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace xel::contract {

/// A socket of datagrams at a path, as logs have one, and a thread that takes what comes.
class DatagramReader {
public:
    explicit DatagramReader(const std::string& path)
        : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
        if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, end_) != 0) {
            throw std::runtime_error("no socket at " + path + ": " + std::strerror(errno));
        }
        thread_ = std::thread([this] { readUntilEnd(); });
    }
    DatagramReader(const DatagramReader&) = delete;
    DatagramReader& operator=(const DatagramReader&) = delete;
    ~DatagramReader() {
        end();
        ::close(end_[1]);
        ::close(socket_);
    }

    /// Takes nothing any more.
    void pause() { end(); }

    /// What has come until now; a file that came in the place of octets is read. Nothing comes afterwards.
    [[nodiscard]] std::vector<std::string> take() {
        end();
        return std::exchange(records_, {});
    }

private:
    void end() {
        if (thread_.joinable()) {
            ::close(end_[0]);
            thread_.join();
        }
    }
    void readUntilEnd() {
        for (;;) {
            pollfd waiting[] = {{socket_, POLLIN, 0}, {end_[1], POLLIN, 0}};
            ::poll(waiting, 2, -1);
            if ((waiting[0].revents & POLLIN) != 0) {
                receive();
            } else if (waiting[1].revents != 0) {
                return;
            }
        }
    }
    void receive() {
        std::string record(1 << 20, '\0');
        iovec content{record.data(), record.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
        msghdr message{};
        message.msg_iov = &content;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const auto length = ::recvmsg(socket_, &message, MSG_CMSG_CLOEXEC);
        record.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        if (const cmsghdr* const header = CMSG_FIRSTHDR(&message)) {
            int file = -1;
            std::memcpy(&file, CMSG_DATA(header), sizeof file);
            record = readFile(file);
            ::close(file);
        }
        records_.push_back(std::move(record));
    }
    static std::string readFile(int file) {
        std::string content(static_cast<std::size_t>(::lseek(file, 0, SEEK_END)), '\0');
        const auto length = ::pread(file, content.data(), content.size(), 0);
        content.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return content;
    }

    int socket_;
    int end_[2] = {-1, -1};
    std::vector<std::string> records_;
    std::thread thread_;
};

}  // namespace xel::contract
