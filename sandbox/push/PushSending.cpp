#include "sandbox/push/PushSending.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

namespace {

constexpr std::chrono::seconds kPatience{10};
constexpr std::uint64_t kLargestAnswer = 64 * 1024;

// "localhost" needs no look-up: it is this machine, by either protocol.
std::vector<tcp::endpoint> endpointsOf(const PushEndpoint& endpoint) {
    if (endpoint.host == "localhost") {
        return {{asio::ip::address_v4::loopback(), endpoint.port},
                {asio::ip::address_v6::loopback(), endpoint.port}};
    }
    return {{asio::ip::make_address(endpoint.host), endpoint.port}};
}

std::string hostHeader(const PushEndpoint& endpoint) {
    const bool isV6 = endpoint.host.find(':') != std::string::npos;
    return (isV6 ? "[" + endpoint.host + "]" : endpoint.host) + ":" + std::to_string(endpoint.port);
}

// One request and its answer. Owns itself by its pending operations.
class Posting : public std::enable_shared_from_this<Posting> {
public:
    Posting(asio::io_context& loop, const OutgoingPush& push, std::function<void(const PushAnswer&)> onAnswer)
        : stream_(loop), endpoints_(endpointsOf(push.endpoint)), onAnswer_(std::move(onAnswer)) {
        request_.method(http::verb::post);
        request_.target(push.endpoint.target);
        request_.version(11);
        request_.set(http::field::host, hostHeader(push.endpoint));
        request_.set(http::field::content_encoding, "aes128gcm");
        request_.set(http::field::content_type, "application/octet-stream");
        request_.set("TTL", std::to_string(push.timeToLive.count()));
        request_.body() = push.body;
        request_.keep_alive(false);
        request_.prepare_payload();
        parser_.body_limit(kLargestAnswer);
    }

    void start() {
        stream_.expires_after(kPatience);
        stream_.async_connect(endpoints_, [self = shared_from_this()](ErrorCode error, const tcp::endpoint&) {
            if (error) {
                self->fail("cannot connect to the endpoint", error);
                return;
            }
            http::async_write(self->stream_, self->request_, [self](ErrorCode writeError, std::size_t) {
                if (writeError) {
                    self->fail("cannot send to the endpoint", writeError);
                    return;
                }
                self->read();
            });
        });
    }

private:
    using ErrorCode = boost::system::error_code;

    void read() {
        // The status is all that counts; an answer may be longer than what is read of it.
        http::async_read_header(stream_, buffer_, parser_,
                                [self = shared_from_this()](ErrorCode error, std::size_t) {
                                    if (error) {
                                        self->fail("no answer from the endpoint", error);
                                        return;
                                    }
                                    self->onAnswer_({self->parser_.get().result_int(), {}});
                                });
    }

    void fail(const std::string& what, ErrorCode error) { onAnswer_({0, what + ": " + error.message()}); }

    beast::tcp_stream stream_;
    std::vector<tcp::endpoint> endpoints_;
    std::function<void(const PushAnswer&)> onAnswer_;
    http::request<http::string_body> request_;
    beast::flat_buffer buffer_;
    http::response_parser<http::empty_body> parser_;
};

}  // namespace

void postPushMessage(asio::io_context& loop, const OutgoingPush& push,
                     std::function<void(const PushAnswer&)> onAnswer) {
    std::make_shared<Posting>(loop, push, std::move(onAnswer))->start();
}

PushSending::PushSending(boost::asio::io_context& loop, InstallationStore& installations, ProgressLog& log)
    : loop_(loop),
      desk_(
          installations, log,
          [&loop](const OutgoingPush& push, std::function<void(const PushAnswer&)> onAnswer) {
              postPushMessage(loop, push, std::move(onAnswer));
          },
          millisecondsSince1970) {}

void PushSending::messageWaits(WaitingDevice device, std::string message) {
    boost::asio::post(loop_, [this, device = std::move(device), message = std::move(message)] {
        desk_.messageWaits(device.user, device.device, message);
    });
}

}  // namespace xel::sandbox
