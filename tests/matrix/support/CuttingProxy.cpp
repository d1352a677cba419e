#include "tests/matrix/support/CuttingProxy.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace xel::matrix {
namespace {

int socketOnLoopback() {
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (made < 0) {
        throw std::runtime_error("the proxy has no socket");
    }
    return made;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void sendAtOnce(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void closeByReset(int socket) {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(socket);
}

/// One direction of a connection.
struct Way {
    int from = -1;
    int to = -1;
    std::size_t passed = 0;
    std::optional<std::size_t> cutAfter{};
    std::optional<std::size_t> flipAt{};
    bool isOver = false;
};

struct Connection {
    Way toBroker;
    Way toClient;
    CutBy cutBy = CutBy::Fin;
    bool isSingle = false;
    bool isSilent = false;
    bool isDone = false;
};

}  // namespace

class CuttingProxy::Impl {
public:
    explicit Impl(std::uint16_t brokerPort) : brokerPort_(brokerPort) {
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener_, generic, length) != 0 || listen(listener_, 64) != 0 ||
            getsockname(listener_, generic, &length) != 0) {
            throw std::runtime_error("the proxy cannot listen on the loopback");
        }
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { work(); });
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
        }
        wake();
        thread_.join();
        for (Connection& connection : open_) {
            closeBoth(connection);
        }
        for (const int client : held_) {
            close(client);
        }
        close(listener_);
        close(waker_);
    }

    void wake() const {
        const std::uint64_t one = 1;
        (void)!write(waker_, &one, sizeof one);
    }

    std::mutex mutex_;
    std::uint16_t port_ = 0;
    // Guarded by the mutex.
    std::optional<Cut> nextCut_;
    std::optional<Cut> flipped_;
    std::optional<std::pair<std::string, CutBy>> nextAnswer_;
    bool isSingle_ = false;
    bool isDropping_ = false;
    bool isStopping_ = false;
    std::size_t cuts_ = 0;
    std::size_t connections_ = 0;
    Passed passed_;

private:
    void work() {
        for (;;) {
            std::vector<pollfd> watched = {{waker_, POLLIN, 0}, {listener_, POLLIN, 0}};
            for (const Connection& connection : open_) {
                for (const Way* way : {&connection.toBroker, &connection.toClient}) {
                    // A descriptor of less than 0 is passed over.
                    watched.push_back({way->isOver || connection.isSilent ? -1 : way->from, POLLIN, 0});
                }
            }
            poll(watched.data(), watched.size(), -1);
            const std::lock_guard lock(mutex_);
            if (isStopping_) {
                return;
            }
            if (watched[0].revents != 0) {
                std::uint64_t ignored = 0;
                (void)!read(waker_, &ignored, sizeof ignored);
            }
            std::size_t index = 2;
            for (Connection& connection : open_) {
                const bool hasFromClient = watched[index++].revents != 0;
                const bool hasFromBroker = watched[index++].revents != 0;
                moveOn(connection, connection.toBroker, hasFromClient);
                moveOn(connection, connection.toClient, hasFromBroker);
                if (isDropping_ && !connection.isDone) {
                    closeBoth(connection);
                }
            }
            isDropping_ = false;
            open_.remove_if([](const Connection& connection) { return connection.isDone; });
            if (watched[1].revents != 0) {
                acceptOne();
            }
        }
    }

    void acceptOne() {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            return;
        }
        ++connections_;
        passed_ = {};
        if (const auto own = std::exchange(nextAnswer_, std::nullopt)) {
            answerByItself(client, own->first, own->second);
            return;
        }
        const int broker = socketOnLoopback();
        const sockaddr_in address = loopback(brokerPort_);
        if (connect(broker, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            close(broker);
            close(client);
            return;
        }
        sendAtOnce(client);
        sendAtOnce(broker);
        Connection& made = open_.emplace_back();
        made.toBroker = {client, broker};
        made.toClient = {broker, client};
        made.isSingle = isSingle_;
        if (const auto cut = std::exchange(nextCut_, std::nullopt)) {
            wayOf(made, cut->direction).cutAfter = cut->afterOctets;
            made.cutBy = cut->by;
        }
        if (const auto flip = std::exchange(flipped_, std::nullopt)) {
            wayOf(made, flip->direction).flipAt = flip->afterOctets;
        }
        cutWhereDue(made);
    }

    void answerByItself(int client, const std::string& octets, CutBy andThen) {
        sendAtOnce(client);
        (void)::send(client, octets.data(), octets.size(), MSG_NOSIGNAL);
        if (andThen == CutBy::Reset) {
            closeByReset(client);
            return;
        }
        if (andThen == CutBy::Fin) {
            shutdown(client, SHUT_WR);
        }
        // Left open and unread until the end: it is the client's turn to go.
        held_.push_back(client);
    }

    static Way& wayOf(Connection& connection, Direction direction) {
        return direction == Direction::ToBroker ? connection.toBroker : connection.toClient;
    }

    void moveOn(Connection& connection, Way& way, bool isReadable) {
        if (!isReadable || connection.isDone || way.isOver) {
            return;
        }
        std::array<char, 16384> octets{};
        const std::size_t most =
            way.cutAfter ? std::min(octets.size(), *way.cutAfter - way.passed) : octets.size();
        const ssize_t count = recv(way.from, octets.data(), most, 0);
        if (count < 0) {
            closeByReset(way.to);
            close(way.from);
            connection.isDone = true;
            return;
        }
        if (count == 0) {
            way.isOver = true;
            shutdown(way.to, SHUT_WR);
            closeWhenOver(connection);
            return;
        }
        const auto size = static_cast<std::size_t>(count);
        if (way.flipAt && *way.flipAt >= way.passed && *way.flipAt < way.passed + size) {
            char& octet = octets[*way.flipAt - way.passed];
            octet = static_cast<char>(octet ^ 0x55);
        }
        const std::size_t step = connection.isSingle ? 1 : size;
        for (std::size_t sent = 0; sent < size; sent += step) {
            if (::send(way.to, octets.data() + sent, step, MSG_NOSIGNAL) < 0) {
                break;
            }
        }
        way.passed += size;
        if (&connection == &open_.back()) {
            passed_ = {connection.toBroker.passed, connection.toClient.passed};
        }
        cutWhereDue(connection);
    }

    void cutWhereDue(Connection& connection) {
        for (const Way* way : {&connection.toBroker, &connection.toClient}) {
            if (!way->cutAfter || way->passed < *way->cutAfter || connection.isDone || connection.isSilent) {
                continue;
            }
            ++cuts_;
            if (connection.cutBy == CutBy::Silence) {
                connection.isSilent = true;
            } else if (connection.cutBy == CutBy::Reset) {
                closeByReset(connection.toBroker.from);
                closeByReset(connection.toBroker.to);
                connection.isDone = true;
            } else {
                endInOrder(connection);
            }
        }
    }

    /// A socket that is closed with octets unread is reset: what still comes is thrown away first.
    static void endInOrder(Connection& connection) {
        for (const int socket : {connection.toBroker.from, connection.toBroker.to}) {
            shutdown(socket, SHUT_WR);
        }
        for (const int socket : {connection.toBroker.from, connection.toBroker.to}) {
            std::array<char, 4096> octets{};
            pollfd watched{socket, POLLIN, 0};
            while (poll(&watched, 1, 2000) == 1 && recv(socket, octets.data(), octets.size(), 0) > 0) {}
            close(socket);
        }
        connection.isDone = true;
    }

    static void closeWhenOver(Connection& connection) {
        if (connection.toBroker.isOver && connection.toClient.isOver) {
            closeBoth(connection);
        }
    }

    static void closeBoth(Connection& connection) {
        close(connection.toBroker.from);
        close(connection.toBroker.to);
        connection.isDone = true;
    }

    std::uint16_t brokerPort_;
    int listener_ = socketOnLoopback();
    int waker_ = eventfd(0, EFD_CLOEXEC);
    std::list<Connection> open_;  // the thread's own
    std::vector<int> held_;       // the thread's own
    std::thread thread_;
};

CuttingProxy::CuttingProxy(std::uint16_t brokerPort) : impl_(std::make_unique<Impl>(brokerPort)) {}

CuttingProxy::~CuttingProxy() = default;

std::uint16_t CuttingProxy::port() const {
    return impl_->port_;
}

void CuttingProxy::cutNext(std::optional<Cut> cut) {
    const std::lock_guard lock(impl_->mutex_);
    impl_->nextCut_ = cut;
}

void CuttingProxy::setSingleOctets(bool isSingle) {
    const std::lock_guard lock(impl_->mutex_);
    impl_->isSingle_ = isSingle;
}

void CuttingProxy::flipNext(Direction direction, std::size_t atOctet) {
    const std::lock_guard lock(impl_->mutex_);
    impl_->flipped_ = Cut{direction, atOctet, CutBy::Fin};
}

void CuttingProxy::answerNext(std::string octets, CutBy andThen) {
    const std::lock_guard lock(impl_->mutex_);
    impl_->nextAnswer_.emplace(std::move(octets), andThen);
}

void CuttingProxy::dropAll() {
    {
        const std::lock_guard lock(impl_->mutex_);
        impl_->isDropping_ = true;
    }
    impl_->wake();
}

std::size_t CuttingProxy::cuts() const {
    const std::lock_guard lock(impl_->mutex_);
    return impl_->cuts_;
}

std::size_t CuttingProxy::connections() const {
    const std::lock_guard lock(impl_->mutex_);
    return impl_->connections_;
}

CuttingProxy::Passed CuttingProxy::passed() const {
    const std::lock_guard lock(impl_->mutex_);
    return impl_->passed_;
}

}  // namespace xel::matrix
