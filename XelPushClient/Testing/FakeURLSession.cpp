#include "XelPushClient/Testing/FakeURLSession.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {
namespace {

NSError urlError(NSURLErrorCode code, std::string_view description) {
    return makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), description);
}

}  // namespace

FakeURLSession::FakeURLSession(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<FakeFileManager> files)
    : runLoop_(std::move(runLoop)), files_(std::move(files)) {}

FakeURLSession::~FakeURLSession() = default;

void FakeURLSession::complete(DownloadCompletion completion, Result<std::string> content) {
    if (!content) {
        runLoop_->post([completion = std::move(completion), error = content.error()] { completion(error); });
        return;
    }
    const std::string path = formatted("/downloads/%d", ++fileCount_);
    files_->put(path, std::move(content).value());
    runLoop_->post([completion = std::move(completion), files = files_, path] {
        completion(path);
        // Gone unless the completion has moved it, as on a real machine.
        files->remove(path);
    });
}

void FakeURLSession::downloadTaskWithURL(std::string url, DownloadCompletion completion) {
    const std::lock_guard lock(mutex_);
    urls_.push_back(url);
    if (!url.starts_with("https://") && !url.starts_with("http://")) {
        complete(std::move(completion),
                 urlError(NSURLErrorCode::UnsupportedURL, "only http and https are supported"));
        return;
    }
    const auto rule =
        std::find_if(rules_.begin(), rules_.end(), [&](const Rule& known) { return known.url == url; });
    if (rule == rules_.end()) {
        waiting_.push_back({std::move(url), std::move(completion)});
        return;
    }
    complete(std::move(completion), std::move(rule->content));
    rules_.erase(rule);
}

void FakeURLSession::arrange(Rule rule) {
    const std::lock_guard lock(mutex_);
    const auto waiting = std::find_if(waiting_.begin(), waiting_.end(),
                                      [&](const Waiting& download) { return download.url == rule.url; });
    if (waiting == waiting_.end()) {
        rules_.push_back(std::move(rule));
        return;
    }
    complete(std::move(waiting->completion), std::move(rule.content));
    waiting_.erase(waiting);
}

void FakeURLSession::answer(const std::string& url, int status, std::string content) {
    if (status < 200 || status > 299) {
        fail(url, NSURLErrorCode::BadServerResponse,
             formatted("Expected a status of 200 to 299, got %d", status));
        return;
    }
    arrange({url, std::move(content)});
}

void FakeURLSession::fail(const std::string& url, NSURLErrorCode code, std::string_view description) {
    arrange({url, urlError(code, description)});
}

void FakeURLSession::discardWaiting() {
    // What a completion holds may download while it is destroyed, so it is destroyed without the lock.
    std::deque<Waiting> waiting;
    const std::lock_guard lock(mutex_);
    waiting.swap(waiting_);
}

void FakeURLSession::clearURLs() {
    const std::lock_guard lock(mutex_);
    urls_.clear();
}

std::vector<std::string> FakeURLSession::urls() const {
    const std::lock_guard lock(mutex_);
    return urls_;
}

}  // namespace xel
