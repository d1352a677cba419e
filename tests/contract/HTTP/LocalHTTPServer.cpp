#include "tests/contract/HTTP/LocalHTTPServer.h"

#include <list>
#include <mutex>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <sys/socket.h>

namespace xel::contract {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using tcp = asio::ip::tcp;

template <class Stream>
class StreamExchange final : public HTTPExchange {
public:
    explicit StreamExchange(Stream& stream) : stream_(stream) {}

    bool writeRaw(std::string_view octets) override {
        error_code error;
        asio::write(stream_, asio::buffer(octets.data(), octets.size()), error);
        return !error;
    }

    void waitUntilClientIsGone() override {
        error_code error;
        std::array<char, 256> ignored{};
        while (!error) {
            stream_.read_some(asio::buffer(ignored), error);
        }
    }

private:
    Stream& stream_;
};

ReceivedRequest convert(const http::request<http::string_body>& request) {
    ReceivedRequest received;
    received.method = std::string(request.method_string());
    received.url = std::string(request.target());
    received.body = request.body();
    for (const auto& field : request) {
        received.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    }
    return received;
}

}  // namespace

bool HTTPExchange::answer(int status, std::string_view body, const HTTPHeaders& headers) {
    std::string text = "HTTP/1.1 " + std::to_string(status) + " Status\r\n";
    for (const auto& [name, value] : headers) {
        text += name + ": " + value + "\r\n";
    }
    if (status != 204) {
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    text += "\r\n";
    text += body;
    return writeRaw(text);
}

class LocalHTTPServer::Impl {
public:
    Impl(Handler handler, std::optional<TestCertificate> certificate)
        : handler_(std::move(handler)),
          acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)) {
        if (certificate) {
            tls_.emplace(asio::ssl::context::tls_server);
            tls_->use_certificate_chain(asio::buffer(certificate->certificate));
            tls_->use_private_key(asio::buffer(certificate->key), asio::ssl::context::pem);
        }
        port_ = acceptor_.local_endpoint().port();
        accepting_ = std::thread([this] { acceptConnections(); });
    }

    ~Impl() {
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
            for (const int socket : openSockets_) {
                ::shutdown(socket, SHUT_RDWR);
            }
        }
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);  // wakes the accepting thread
        accepting_.join();
        for (std::thread& connection : connections_) {
            connection.join();
        }
    }

    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] bool hasTLS() const { return tls_.has_value(); }

    [[nodiscard]] std::vector<ReceivedRequest> received() const {
        const std::lock_guard lock(mutex_);
        return received_;
    }

    [[nodiscard]] std::size_t connectionCount() const {
        const std::lock_guard lock(mutex_);
        return connectionCount_;
    }

private:
    void acceptConnections() {
        for (;;) {
            error_code error;
            tcp::socket socket(context_);
            acceptor_.accept(socket, error);
            const std::lock_guard lock(mutex_);
            if (isStopping_ || error) {
                return;
            }
            ++connectionCount_;
            openSockets_.push_back(socket.native_handle());
            connections_.emplace_back(
                [this, kept = std::make_shared<tcp::socket>(std::move(socket))] { serveConnection(*kept); });
        }
    }

    void serveConnection(tcp::socket& socket) {
        const int handle = socket.native_handle();
        if (tls_) {
            asio::ssl::stream<tcp::socket&> stream(socket, *tls_);
            error_code error;
            stream.handshake(asio::ssl::stream_base::server, error);
            if (!error) {
                serveRequests(stream);
            }
        } else {
            serveRequests(socket);
        }
        const std::lock_guard lock(mutex_);
        openSockets_.remove(handle);
        error_code ignored;
        socket.close(ignored);
    }

    template <class Stream>
    void serveRequests(Stream& stream) {
        boost::beast::flat_buffer buffer;
        StreamExchange<Stream> exchange(stream);
        for (;;) {
            http::request<http::string_body> request;
            error_code error;
            http::read(stream, buffer, request, error);
            if (error) {
                return;
            }
            const ReceivedRequest received = convert(request);
            {
                const std::lock_guard lock(mutex_);
                received_.push_back(received);
            }
            if (!handler_(received, exchange)) {
                return;
            }
        }
    }

    Handler handler_;
    asio::io_context context_;
    std::optional<asio::ssl::context> tls_;
    tcp::acceptor acceptor_;
    std::uint16_t port_ = 0;
    mutable std::mutex mutex_;
    bool isStopping_ = false;
    std::list<int> openSockets_;
    std::vector<ReceivedRequest> received_;
    std::size_t connectionCount_ = 0;
    std::list<std::thread> connections_;
    std::thread accepting_;
};

LocalHTTPServer::LocalHTTPServer(Handler handler, std::optional<TestCertificate> certificate)
    : impl_(std::make_unique<Impl>(std::move(handler), std::move(certificate))) {}

LocalHTTPServer::~LocalHTTPServer() = default;

std::uint16_t LocalHTTPServer::port() const {
    return impl_->port();
}

std::string LocalHTTPServer::url(std::string_view host) const {
    return (impl_->hasTLS() ? "https://" : "http://") + std::string(host) + ':' + std::to_string(port());
}

std::vector<ReceivedRequest> LocalHTTPServer::received() const {
    return impl_->received();
}

std::size_t LocalHTTPServer::connectionCount() const {
    return impl_->connectionCount();
}

}  // namespace xel::contract
