#pragma once

#include <memory>
#include <optional>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

/// The request that an HTTP message is, taken out of it.
[[nodiscard]] RestRequest takeRestRequest(
    boost::beast::http::request<boost::beast::http::string_body>& message);

/// One connection to the REST server: the handshake, then request and answer in turn until either side
/// closes, asks for something unreadable, or is silent for 30 seconds. Owns itself by its pending operations.
class RestSession : public std::enable_shared_from_this<RestSession> {
public:
    /// `tls` must live as long as the session.
    RestSession(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls, RestHandler handler);

    void start();

private:
    using ErrorCode = boost::system::error_code;

    /// What follows the answer.
    enum class Next {
        ReadRequest,
        Close,
        /// For a request that is refused before it has been read.
        DrainAndClose,
    };

    void readRequest();
    void handleRead(ErrorCode error);
    void handleRequest(boost::beast::http::request<boost::beast::http::string_body> message);
    void writeResponse(const RestResponse& response, Next next);
    void go(Next next);
    void shutDown();
    void setDeadline();

    boost::beast::ssl_stream<boost::beast::tcp_stream> stream_;
    RestHandler handler_;
    boost::beast::flat_buffer buffer_;
    std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
    boost::beast::http::response<boost::beast::http::string_body> response_;
};

}  // namespace xel::sandbox
