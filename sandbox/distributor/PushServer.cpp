#include "sandbox/distributor/PushServer.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

#include "sandbox/process/HttpRequests.h"
#include "sandbox/push/WebPushEncryption.h"

namespace xel::sandbox {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::string_view kPushPath = "/push/";
constexpr std::chrono::seconds kPushRequestPatience{30};
constexpr std::size_t kLargestDrain = 1024 * 1024;
constexpr const char* kPushPurpose = "push endpoints (HTTP)";

// Nothing for a text that is no number of seconds. One that is too large for the machine is very long.
std::optional<std::chrono::seconds> parseTimeToLive(const std::string& text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    std::int64_t seconds = 0;
    for (const char c : text) {
        seconds = std::min<std::int64_t>(seconds * 10 + (c - '0'), std::numeric_limits<std::int32_t>::max());
    }
    return std::min(std::chrono::seconds(seconds), kLongestKept);
}

PushResponse answerPost(const PushRequest& request, const std::string& endpoint, const TakePush& take) {
    if (request.body.size() > kLargestPushBody) {
        return makeTooLargeResponse();
    }
    const auto timeToLive = parseTimeToLive(request.timeToLive.value_or("0"));
    if (request.body.empty() || !timeToLive) {
        return {400, request.body.empty() ? "there is no message\n" : "TTL is no number of seconds\n"};
    }
    if (!take(endpoint, request.body, *timeToLive)) {
        return {404, "there is no such endpoint\n"};
    }
    return {201, {}, timeToLive};
}

// One connection: a request, its answer, the end. Owns itself by its pending operations.
class Session : public std::enable_shared_from_this<Session> {
public:
    Session(tcp::socket socket, PushServer::Handler handler)
        : stream_(std::move(socket)), handler_(std::move(handler)) {
        parser_.body_limit(kLargestPushBody);
        parser_.header_limit(kLargestHeader);
    }

    void start() {
        stream_.expires_after(kPushRequestPatience);
        http::async_read(stream_, buffer_, parser_,
                         [self = shared_from_this()](error_code error, std::size_t) { self->answer(error); });
    }

private:
    void answer(error_code error) {
        if (error == http::error::body_limit) {
            write(makeTooLargeResponse());
        } else if (error && !parser_.is_header_done()) {
            // Malformed, or gone: a write to who is gone fails, and nothing comes of it.
            write({400, "not an HTTP request\n"});
        } else if (!error) {
            write(handler_(takeRequest()));
        }
    }

    PushRequest takeRequest() {
        http::request<http::string_body> message = parser_.release();
        PushRequest request;
        request.method = std::string(message.method_string());
        request.target = std::string(message.target());
        if (const auto header = message.find("TTL"); header != message.end()) {
            request.timeToLive = std::string(header->value());
        }
        request.body = std::move(message.body());
        return request;
    }

    void write(const PushResponse& response) {
        response_.result(response.status);
        response_.set(http::field::content_type, response.status == 200 ? "application/json" : "text/plain");
        if (response.timeToLive) {
            response_.set("TTL", std::to_string(response.timeToLive->count()));
        }
        if (!response.allow.empty()) {
            response_.set(http::field::allow, response.allow);
        }
        response_.body() = response.body;
        response_.keep_alive(false);
        response_.prepare_payload();
        stream_.expires_after(kPushRequestPatience);
        http::async_write(stream_, response_, [self = shared_from_this()](error_code error, std::size_t) {
            if (!error) {
                error_code ignored;
                self->stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
                drain(self->stream_, self->buffer_, kLargestDrain, [self] {});  // which ends with it
            }
        });
    }

    beast::tcp_stream stream_;
    PushServer::Handler handler_;
    beast::flat_buffer buffer_;
    http::request_parser<http::string_body> parser_;
    http::response<http::string_body> response_;
};

}  // namespace

PushResponse answerPushRequest(const PushRequest& request, const KnowsEndpoint& knows, const TakePush& take) {
    const std::string endpoint =
        request.target.starts_with(kPushPath) ? request.target.substr(kPushPath.size()) : std::string();
    if (endpoint.empty() || !knows(endpoint)) {
        return {404, "there is no such endpoint\n"};
    }
    if (request.method == "POST") {
        return answerPost(request, endpoint, take);
    }
    if (request.method == "GET") {
        return {200, R"({"unifiedpush":{"version":1}})"};
    }
    PushResponse response{405, "an endpoint knows only GET and POST\n"};
    response.allow = "GET, POST";
    return response;
}

PushResponse makeTooLargeResponse() {
    return {413, "the message is larger than " + std::to_string(kLargestPushBody) + " bytes\n"};
}

PushServer::PushServer(asio::io_context& loop, ProgressLog& log, std::uint16_t port, Handler handler)
    : listener_(loop, log, kPushPurpose, tcp::endpoint(asio::ip::address_v4::loopback(), port),
                [handler = std::move(handler)](tcp::socket socket) {
                    std::make_shared<Session>(std::move(socket), handler)->start();
                }) {}

std::uint16_t PushServer::port() const {
    return listener_.port();
}

}  // namespace xel::sandbox
