#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "XelPushClient/Platform/NSURLSession.h"
#include "XelPushClient/Testing/FakeFileManager.h"

namespace xel {

class NSRunLoop;

/// Downloads what the test arranges, into the fake files. A download that nothing is arranged for waits.
/// Thread: `downloadTaskWithURL` from any thread, everything else on the run loop; completions are posted to
/// the run loop.
class FakeURLSession final : public NSURLSession {
public:
    FakeURLSession(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<FakeFileManager> files);
    ~FakeURLSession() override;
    FakeURLSession(const FakeURLSession&) = delete;
    FakeURLSession& operator=(const FakeURLSession&) = delete;

    void downloadTaskWithURL(std::string url, DownloadCompletion completion) override;

    /// The outcome of one download of that URL: the oldest that waits, otherwise the next. A status other
    /// than 200 to 299 is a failure, as the port says.
    void answer(const std::string& url, int status, std::string content);
    void fail(const std::string& url, NSURLErrorCode code, std::string_view description);
    /// Drops waiting downloads without an outcome, as the end of a process does.
    void discardWaiting();

    /// The URLs asked for so far, in order.
    [[nodiscard]] std::vector<std::string> urls() const;
    void clearURLs();

private:
    struct Rule {
        std::string url;
        Result<std::string> content;
    };
    struct Waiting {
        std::string url;
        DownloadCompletion completion;
    };

    void arrange(Rule rule);
    void complete(DownloadCompletion completion, Result<std::string> content);

    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<FakeFileManager> files_;
    mutable std::mutex mutex_;
    std::vector<std::string> urls_;
    std::deque<Waiting> waiting_;
    std::deque<Rule> rules_;
    std::size_t fileCount_ = 0;
};

}  // namespace xel
