#include "XelPushClient/Testing/FakeHTTPTransport.h"

#include <algorithm>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {
namespace {

template <class Rule>
bool isFor(const Rule& rule, const HTTPRequest& request) {
    return rule.method == request.method && urlHasPath(request.url, rule.path);
}

}  // namespace

bool urlHasPath(std::string_view url, std::string_view path) {
    url = url.substr(0, url.find_first_of("?#"));
    if (const auto scheme = url.find("://"); scheme != std::string_view::npos) {
        url.remove_prefix(scheme + 3);
    }
    const auto slash = url.find('/');
    url = slash == std::string_view::npos ? std::string_view("/") : url.substr(slash);
    while (path.starts_with('/')) {
        path.remove_prefix(1);
    }
    const std::string wanted = "/" + std::string(path);
    if (wanted.ends_with('*')) {
        return url.find(std::string_view(wanted).substr(0, wanted.size() - 1)) != std::string_view::npos;
    }
    return url.ends_with(wanted);
}

FakeHTTPTransport::FakeHTTPTransport(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

FakeHTTPTransport::~FakeHTTPTransport() = default;

void FakeHTTPTransport::post(Completion completion, Result<HTTPResponse> outcome) {
    runLoop_->post(
        [completion = std::move(completion), outcome = std::move(outcome)] { completion(outcome); });
}

void FakeHTTPTransport::send(HTTPRequest request, Completion completion) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    if (!request.url.starts_with("https://") && !request.url.starts_with("http://")) {
        post(std::move(completion),
             makeError(NSURLErrorDomain, static_cast<std::int64_t>(NSURLErrorCode::UnsupportedURL),
                       "only http and https are supported"));
        return;
    }
    const auto matches = [&](const Rule& rule) { return isFor(rule, request); };
    if (const auto once = std::find_if(once_.begin(), once_.end(), matches); once != once_.end()) {
        post(std::move(completion), std::move(once->outcome));
        once_.erase(once);
        return;
    }
    if (const auto always = std::find_if(always_.begin(), always_.end(), matches); always != always_.end()) {
        post(std::move(completion), always->outcome);
        return;
    }
    const std::uint64_t number = ++lastNumber_;
    if (server_) {
        runLoop_->post(
            life_.guarded([number, request](FakeHTTPTransport& self) { self.serve(number, request); }));
    }
    waiting_.push_back({number, std::move(request), std::move(completion)});
}

void FakeHTTPTransport::setServer(Server server) {
    const std::lock_guard lock(mutex_);
    server_ = std::move(server);
}

void FakeHTTPTransport::serve(std::uint64_t number, const HTTPRequest& request) {
    Server server;
    {
        const std::lock_guard lock(mutex_);
        if (findWaiting(number) != waiting_.end()) {
            server = server_;
        }
    }
    // Without the lock: the server may complete the request at once.
    if (server) {
        server(number, request);
    }
}

std::deque<FakeHTTPTransport::Waiting>::iterator FakeHTTPTransport::findWaiting(std::uint64_t number) {
    return std::find_if(waiting_.begin(), waiting_.end(),
                        [number](const Waiting& one) { return one.number == number; });
}

void FakeHTTPTransport::complete(std::uint64_t number, Result<HTTPResponse> outcome) {
    const std::lock_guard lock(mutex_);
    const auto waiting = findWaiting(number);
    if (waiting != waiting_.end()) {
        post(std::move(waiting->completion), std::move(outcome));
        waiting_.erase(waiting);
    }
}

void FakeHTTPTransport::arrange(Rule rule) {
    const std::lock_guard lock(mutex_);
    const auto matches = [&](const Waiting& waiting) { return isFor(rule, waiting.request); };
    const auto waiting = std::find_if(waiting_.begin(), waiting_.end(), matches);
    if (waiting == waiting_.end()) {
        once_.push_back(std::move(rule));
        return;
    }
    post(std::move(waiting->completion), std::move(rule.outcome));
    waiting_.erase(waiting);
}

void FakeHTTPTransport::answer(std::string_view method, std::string_view path, int status, std::string body) {
    const HTTPHeaders headers{{"Content-Type", "application/json"}};
    arrange({std::string(method), std::string(path), HTTPResponse{status, headers, std::move(body)}});
}

void FakeHTTPTransport::fail(std::string_view method, std::string_view path, NSURLErrorCode code,
                             std::string_view description) {
    arrange({std::string(method), std::string(path),
             makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), description)});
}

void FakeHTTPTransport::answerAlways(std::string_view method, std::string_view path, int status,
                                     std::string body) {
    const HTTPHeaders headers{{"Content-Type", "application/json"}};
    Rule rule{std::string(method), std::string(path), HTTPResponse{status, headers, std::move(body)}};
    const std::lock_guard lock(mutex_);
    std::erase_if(always_,
                  [&](const Rule& old) { return old.method == rule.method && old.path == rule.path; });
    std::erase_if(waiting_, [&](Waiting& waiting) {
        if (!isFor(rule, waiting.request)) {
            return false;
        }
        post(std::move(waiting.completion), rule.outcome);
        return true;
    });
    always_.push_back(std::move(rule));
}

void FakeHTTPTransport::forgetAnswers() {
    const std::lock_guard lock(mutex_);
    once_.clear();
    always_.clear();
}

void FakeHTTPTransport::discardWaiting() {
    // What a completion holds may send while it is destroyed, so it is destroyed without the lock.
    std::deque<Waiting> waiting;
    const std::lock_guard lock(mutex_);
    waiting.swap(waiting_);
}

std::vector<HTTPRequest> FakeHTTPTransport::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<HTTPRequest> FakeHTTPTransport::requestsTo(std::string_view method, std::string_view path) const {
    std::vector<HTTPRequest> found;
    for (auto& request : requests()) {
        if (request.method == method && urlHasPath(request.url, path)) {
            found.push_back(std::move(request));
        }
    }
    return found;
}

std::size_t FakeHTTPTransport::waitingCount() const {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
}

void FakeHTTPTransport::clearRequests() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

}  // namespace xel
