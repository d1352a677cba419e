#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

class NSRunLoop;

/// Responds to HTTP requests as the test arranges.
///
/// A request matches an arrangement by method and path. The path is the end of the URL's path, without
/// the query: "installations" matches "https://host/api/installations?access_token=…"; a trailing "*"
/// stands for anything. A request that nothing is arranged for waits. Thread: `send` from any thread,
/// everything else on the run loop; completions are posted to the run loop.
class FakeHTTPTransport final : public HTTPTransport {
public:
    explicit FakeHTTPTransport(std::shared_ptr<NSRunLoop> runLoop);
    ~FakeHTTPTransport() override;
    FakeHTTPTransport(const FakeHTTPTransport&) = delete;
    FakeHTTPTransport& operator=(const FakeHTTPTransport&) = delete;

    void send(HTTPRequest request, Completion completion) override;

    /// One response: to the oldest waiting request, otherwise to the next that comes.
    void answer(std::string_view method, std::string_view path, int status, std::string body);
    /// One failure, likewise, with an error in `NSURLErrorDomain`.
    void fail(std::string_view method, std::string_view path, NSURLErrorCode code,
              std::string_view description);
    /// The response to every waiting and later request for which nothing more specific is arranged.
    void answerAlways(std::string_view method, std::string_view path, int status, std::string body);
    /// Drops every arrangement: requests wait again.
    void forgetAnswers();

    /// Answers what nothing is arranged for, as a server does: called, posted, with each such request,
    /// which waits until it is completed under its number.
    using Server = std::function<void(std::uint64_t number, const HTTPRequest& request)>;
    void setServer(Server server);
    /// Nothing for a request that waits no more.
    void complete(std::uint64_t number, Result<HTTPResponse> outcome);

    /// Drops waiting requests without a response, as the end of a process does.
    void discardWaiting();

    /// Every request so far, in order.
    [[nodiscard]] std::vector<HTTPRequest> requests() const;
    [[nodiscard]] std::vector<HTTPRequest> requestsTo(std::string_view method, std::string_view path) const;
    /// How many requests are waiting.
    [[nodiscard]] std::size_t waitingCount() const;
    void clearRequests();

private:
    struct Rule {
        std::string method;
        std::string path;
        Result<HTTPResponse> outcome;
    };
    struct Waiting {
        std::uint64_t number = 0;
        HTTPRequest request;
        Completion completion;
    };

    void arrange(Rule rule);
    void post(Completion completion, Result<HTTPResponse> outcome);
    void serve(std::uint64_t number, const HTTPRequest& request);
    [[nodiscard]] std::deque<Waiting>::iterator findWaiting(std::uint64_t number);

    std::shared_ptr<NSRunLoop> runLoop_;
    mutable std::mutex mutex_;
    std::vector<HTTPRequest> requests_;
    std::deque<Waiting> waiting_;
    std::deque<Rule> once_;
    std::vector<Rule> always_;
    Server server_;
    std::uint64_t lastNumber_ = 0;
    Lifeline<FakeHTTPTransport> life_{*this};
};

/// Whether the URL's path ends with the given one, as `FakeHTTPTransport` tells requests apart.
[[nodiscard]] bool urlHasPath(std::string_view url, std::string_view path);

}  // namespace xel
