#pragma once

#include <array>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/ByteStream.h"
#include "examples/minimal-platform/PollRunLoop.h"

namespace minimal {

/// One TCP connection over IPv4; asked for TLS, it fails.
class SocketStream final : public xel::ByteStream {
public:
    SocketStream(std::shared_ptr<PollRunLoop> loop, xel::ByteStreamObserver& observer)
        : loop_(std::move(loop)), observer_(observer) {}
    SocketStream(const SocketStream&) = delete;
    SocketStream& operator=(const SocketStream&) = delete;
    ~SocketStream() override { ::close(release()); }

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
        name_ = std::string(host) + ':' + std::to_string(port);
        auto connect =
            life_.guarded([usingTLS](SocketStream& self, const std::optional<sockaddr_in>& address) {
                self.connectTo(address, usingTLS);
            });
        // The resolver blocks: it does so on a thread of its own.
        std::thread([connect = std::move(connect), loop = loop_, host = std::string(host), port] {
            addrinfo hints{};
            hints.ai_family = AF_INET;
            hints.ai_socktype = SOCK_STREAM;
            addrinfo* found = nullptr;
            std::optional<sockaddr_in> address;
            if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) == 0) {
                std::memcpy(&address.emplace(), found->ai_addr, sizeof(*address));
                ::freeaddrinfo(found);
            }
            loop->post([connect, address] { connect(address); });
        }).detach();
    }
    void receive() override { wantsOctets_ = true; }
    void write(std::string_view octets) override { outgoing_ += octets; }
    void closeAfterWriting(Ended ended) override {
        life_.end();
        const int descriptor = release();
        std::thread([descriptor, loop = loop_, ended = std::move(ended),
                     rest = isOpen_ ? std::move(outgoing_) : std::string()] {
            const timeval patience{3, 0};
            ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
            ::fcntl(descriptor, F_SETFL, 0);  // from here on a send may block
            const ssize_t sent = ::send(descriptor, rest.data(), rest.size(), MSG_NOSIGNAL);
            ::close(descriptor);
            if (ended) {
                const bool isAll = sent >= 0 && static_cast<std::size_t>(sent) == rest.size();
                loop->post([ended, isAll] { ended(isAll); });
            }
        }).detach();
    }

private:
    void connectTo(const std::optional<sockaddr_in>& address, bool usingTLS) {
        if (usingTLS || !address) {
            fail(usingTLS ? xel::ByteStreamErrorCode::TLSFailed : xel::ByteStreamErrorCode::NameNotFound,
                 usingTLS ? "this platform has no TLS" : "the name is not known");
            return;
        }
        descriptor_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        (void)::connect(descriptor_, reinterpret_cast<const sockaddr*>(&*address), sizeof(*address));
        loop_->watch(descriptor_, {[this] { return wanted(); }, [this] { happened(); }});
    }
    [[nodiscard]] short wanted() const {
        const bool writes = !isOpen_ || !outgoing_.empty();
        return static_cast<short>((writes ? POLLOUT : 0) | (isOpen_ && wantsOctets_ ? POLLIN : 0));
    }
    // The observer may drop the stream in each of its calls: nothing follows one.
    void happened() {
        int reason = 0;
        socklen_t length = sizeof(reason);
        ::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &reason, &length);
        if (reason != 0) {
            fail(isOpen_ ? xel::ByteStreamErrorCode::ConnectionLost : xel::ByteStreamErrorCode::ConnectFailed,
                 std::strerror(reason));
        } else if (!std::exchange(isOpen_, true)) {
            observer_.streamDidOpen();
        } else {
            const ssize_t sent = ::send(descriptor_, outgoing_.data(), outgoing_.size(), MSG_NOSIGNAL);
            outgoing_.erase(0, sent < 0 ? 0 : static_cast<std::size_t>(sent));
            receiveSome();
        }
    }
    void receiveSome() {
        std::array<char, 16384> octets{};
        const ssize_t got = wantsOctets_ ? ::recv(descriptor_, octets.data(), octets.size(), 0) : -1;
        if (got > 0) {
            wantsOctets_ = false;
            observer_.streamDidReceive({octets.data(), static_cast<std::size_t>(got)});
        } else if (got == 0) {
            loop_->unwatch(descriptor_);
            observer_.streamDidEndByPeer();
        }
    }
    void fail(xel::ByteStreamErrorCode code, const std::string& cause) {
        loop_->unwatch(descriptor_);
        observer_.streamDidFail(xel::makeError(xel::kByteStreamErrorDomain, static_cast<std::int64_t>(code),
                                               name_ + ": " + cause));
    }
    int release() {
        loop_->unwatch(descriptor_);
        return std::exchange(descriptor_, -1);
    }

    std::shared_ptr<PollRunLoop> loop_;
    xel::ByteStreamObserver& observer_;
    std::string name_;
    std::string outgoing_;
    int descriptor_ = -1;
    bool isOpen_ = false;
    bool wantsOctets_ = false;
    xel::Lifeline<SocketStream> life_{*this};
};

class SocketStreams final : public xel::ByteStreamFactory {
public:
    explicit SocketStreams(std::shared_ptr<PollRunLoop> loop) : loop_(std::move(loop)) {}
    [[nodiscard]] std::unique_ptr<xel::ByteStream> makeStream(xel::NSRunLoop& /*runLoop*/,
                                                              xel::ByteStreamObserver& observer) override {
        return std::make_unique<SocketStream>(loop_, observer);
    }

private:
    std::shared_ptr<PollRunLoop> loop_;
};

}  // namespace minimal
