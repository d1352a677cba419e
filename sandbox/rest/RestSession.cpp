#include "sandbox/rest/RestSession.h"

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <utility>

#include <boost/asio/post.hpp>

#include "sandbox/process/HttpRequests.h"
#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr std::uint64_t kLargestBody = 1024 * 1024;
constexpr std::size_t kLargestDrain = 16 * 1024 * 1024;

// Whether the bytes that came are no request, as opposed to a connection that ended.
bool isMalformed(const boost::system::error_code& error) {
    return error.category() == http::make_error_code(http::error::bad_method).category() &&
           error != http::error::end_of_stream && error != http::error::partial_message;
}

}  // namespace

RestRequest takeRestRequest(http::request<http::string_body>& message) {
    RestRequest request;
    const auto method = message.method_string();
    const auto target = message.target();
    request.method.assign(method.data(), method.size());
    parseTarget(std::string_view(target.data(), target.size()), request);
    request.body = std::move(message.body());
    return request;
}

RestSession::RestSession(asio::ip::tcp::socket socket, asio::ssl::context& tls, RestHandler handler)
    : stream_(std::move(socket), tls), handler_(std::move(handler)) {}

void RestSession::start() {
    setDeadline();
    stream_.async_handshake(asio::ssl::stream_base::server, [self = shared_from_this()](ErrorCode error) {
        if (!error) {
            self->readRequest();
        }
    });
}

void RestSession::readRequest() {
    parser_.emplace();
    parser_->body_limit(kLargestBody);
    parser_->header_limit(kLargestHeader);
    setDeadline();
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](ErrorCode error, std::size_t) { self->handleRead(error); });
}

void RestSession::handleRead(ErrorCode error) {
    if (error == http::error::body_limit) {
        writeResponse(makeErrorResponse(413, "the body is larger than 1 MiB"), Next::DrainAndClose);
    } else if (error == http::error::header_limit) {
        writeResponse(makeErrorResponse(431, "the header is larger than 8 KiB"), Next::DrainAndClose);
    } else if (isMalformed(error)) {
        writeResponse(makeErrorResponse(400, "not an HTTP request: " + error.message()), Next::DrainAndClose);
    } else if (error) {
        shutDown();
    } else {
        handleRequest(parser_->release());
    }
}

void RestSession::handleRequest(http::request<http::string_body> message) {
    // No route knows HEAD, and the body of the refusal would be read as the next answer.
    const bool keepAlive = message.keep_alive() && message.method() != http::verb::head;
    const Next next = keepAlive ? Next::ReadRequest : Next::Close;
    // How long an answer takes is the handler's business, not that of a slow client.
    beast::get_lowest_layer(stream_).expires_never();
    handler_(takeRestRequest(message), [self = shared_from_this(), next](RestResponse response) {
        // The answer may come on the thread of the service's broker client.
        asio::post(self->stream_.get_executor(),
                   [self, next, response = std::move(response)] { self->writeResponse(response, next); });
    });
}

void RestSession::writeResponse(const RestResponse& response, Next next) {
    response_ = {};
    response_.result(response.status);
    response_.set(http::field::content_type, "application/json");
    response_.set(http::field::cache_control, "no-store");
    response_.set(http::field::date, formatHttpDate(std::time(nullptr)));
    if (!response.allow.empty()) {
        response_.set(http::field::allow, response.allow);
    }
    response_.body() = printJson(response.body);
    response_.keep_alive(next == Next::ReadRequest);
    response_.prepare_payload();
    setDeadline();
    http::async_write(stream_, response_, [self = shared_from_this(), next](ErrorCode error, std::size_t) {
        self->go(error ? Next::Close : next);
    });
}

void RestSession::go(Next next) {
    switch (next) {
        case Next::ReadRequest: readRequest(); break;
        case Next::Close: shutDown(); break;
        case Next::DrainAndClose:
            setDeadline();
            drain(stream_, buffer_, kLargestDrain, [self = shared_from_this()] { self->shutDown(); });
            break;
    }
}

void RestSession::shutDown() {
    setDeadline();
    stream_.async_shutdown([self = shared_from_this()](ErrorCode) {});
}

void RestSession::setDeadline() {
    beast::get_lowest_layer(stream_).expires_after(kPatience);
}

}  // namespace xel::sandbox
