#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

class NSRunLoop;

/// Answers HTTP requests as the test says.
///
/// Requests are told apart by method and path. A path names the end of the URL's path, without the query:
/// "installations" is that of "https://host/api/installations?access_token=…"; a "*" at its end stands for
/// anything. A request that nothing was arranged for waits until the test arranges it. Thread: `send` from
/// any thread, everything else on the run loop; completions are posted to the run loop.
class FakeHTTPTransport final : public HTTPTransport {
public:
    explicit FakeHTTPTransport(std::shared_ptr<NSRunLoop> runLoop);
    ~FakeHTTPTransport() override;
    FakeHTTPTransport(const FakeHTTPTransport&) = delete;
    FakeHTTPTransport& operator=(const FakeHTTPTransport&) = delete;

    void send(HTTPRequest request, Completion completion) override;

    /// Answers one request: the oldest that waits, otherwise the next that comes.
    void answer(std::string_view method, std::string_view path, int status, std::string body);
    /// Fails one request likewise, with an error of `NSURLErrorDomain`.
    void fail(std::string_view method, std::string_view path, NSURLErrorCode code,
              std::string_view description);
    /// Answers every request that waits or comes, where nothing more particular was arranged.
    void answerAlways(std::string_view method, std::string_view path, int status, std::string body);
    /// Takes every arrangement back: requests wait again.
    void forgetAnswers();
    /// Drops the requests that wait, unanswered, as the end of a process does.
    void discardWaiting();

    /// Every request so far, in order.
    [[nodiscard]] std::vector<HTTPRequest> requests() const;
    [[nodiscard]] std::vector<HTTPRequest> requestsTo(std::string_view method, std::string_view path) const;
    /// Requests that wait for an answer.
    [[nodiscard]] std::size_t waitingCount() const;
    void clearRequests();

private:
    struct Rule {
        std::string method;
        std::string path;
        Result<HTTPResponse> outcome;
    };
    struct Waiting {
        HTTPRequest request;
        Completion completion;
    };

    void arrange(Rule rule);
    void complete(Completion completion, Result<HTTPResponse> outcome);

    std::shared_ptr<NSRunLoop> runLoop_;
    mutable std::mutex mutex_;
    std::vector<HTTPRequest> requests_;
    std::deque<Waiting> waiting_;
    std::deque<Rule> once_;
    std::vector<Rule> always_;
};

/// Whether the URL's path ends with the given one, as `FakeHTTPTransport` tells requests apart.
[[nodiscard]] bool urlHasPath(std::string_view url, std::string_view path);

}  // namespace xel
