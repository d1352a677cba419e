#include "XelPushClient/Linux/HTTP/CurlWorker.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>

#include "XelPushClient/Linux/HTTP/CurlErrors.h"
#include "XelPushClient/Linux/HTTP/CurlTransfer.h"
#include "XelPushClient/Linux/Process/BackgroundThread.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

namespace {

/// libcurl ends its own waits at the next deadline of a transfer; this is only for when there is none.
constexpr int kLongestWaitMilliseconds = 600'000;
constexpr long kMostConnectionsToOneHost = 6;

void prepareLibrary() {
    static const CURLcode outcome = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (outcome != CURLE_OK) {
        throw std::runtime_error("libcurl cannot be started");
    }
}

struct MultiCleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

}  // namespace

/// What the thread works on. Shared with it, so that it may outlive a worker that is dropped on that thread.
class CurlWorker::Core {
public:
    Core(std::weak_ptr<NSRunLoop> runLoop, CurlHTTPOptions options)
        : runLoop_(std::move(runLoop)), options_(std::move(options)), multi_(curl_multi_init()) {
        if (multi_ == nullptr) {
            throw std::runtime_error("libcurl cannot be started");
        }
        // Without descriptors libcurl does without being woken, and would sleep through requests and the end.
        if (curl_multi_wakeup(multi_.get()) != CURLM_OK) {
            throw std::runtime_error(
                "libcurl cannot be started: it has no descriptor to be woken by (perhaps too many "
                "files are open)");
        }
        curl_multi_setopt(multi_.get(), CURLMOPT_MAX_HOST_CONNECTIONS, kMostConnectionsToOneHost);
    }

    void add(HTTPRequest request, HTTPTransport::Completion completion, std::shared_ptr<CurlBodySink> sink) {
        {
            const std::lock_guard lock(mutex_);
            waiting_.push_back(std::make_unique<CurlTransfer>(std::move(request), std::move(completion),
                                                              options_, std::move(sink)));
        }
        curl_multi_wakeup(multi_.get());
    }

    void stop() {
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
        }
        curl_multi_wakeup(multi_.get());
    }

    void run() {
        while (startWaiting()) {
            int running = 0;
            curl_multi_perform(multi_.get(), &running);
            if (!concludeFinished()) {
                curl_multi_poll(multi_.get(), nullptr, 0, kLongestWaitMilliseconds, nullptr);
            }
        }
        cancelEverything();
    }

private:
    /// As many as may be under way: libcurl goes through all that it was given each time that something
    /// happens to one of them. False when the transport is being dropped.
    bool startWaiting() {
        const std::size_t most = options_.mostAtOnce == 0 ? SIZE_MAX : options_.mostAtOnce;
        while (true) {
            std::unique_ptr<CurlTransfer> next;
            {
                const std::lock_guard lock(mutex_);
                if (isStopping_) {
                    return false;
                }
                if (waiting_.empty() || running_.size() >= most) {
                    return true;
                }
                next = std::move(waiting_.front());
                waiting_.pop_front();
            }
            orFail(*next, [&] { start(next); });
        }
    }

    void start(std::unique_ptr<CurlTransfer>& transfer) {
        if (const auto error = transfer->prepare()) {
            deliver(*transfer, *error);
            return;
        }
        CURL* handle = transfer->handle();
        CurlTransfer& started = *running_.emplace(handle, std::move(transfer)).first->second;
        if (!setGoing(started)) {
            running_.erase(handle);
        }
    }

    /// False when libcurl does not take the transfer, which has failed then.
    bool setGoing(CurlTransfer& transfer) {
        const CURLMcode code = curl_multi_add_handle(multi_.get(), transfer.handle());
        if (code == CURLM_OK) {
            return true;
        }
        orFail(transfer, [&] {
            deliver(transfer,
                    makeURLError(NSURLErrorCode::Unknown, std::string("The request could not be started: ") +
                                                              curl_multi_strerror(code)));
        });
        return false;
    }

    /// What concerns one transfer, and fails with that alone, such as for want of memory: the thread serves
    /// others too.
    template <class Work>
    void orFail(CurlTransfer& transfer, Work work) {
        try {
            work();
        } catch (const std::exception& error) {
            try {
                deliver(transfer, makeURLError(NSURLErrorCode::Unknown,
                                               std::string("The request has failed: ") + error.what()));
            } catch (const std::exception&) {
                return;  // not even memory to say so
            }
        }
    }

    /// True when one is through: a redirect may have sent it out again, or another one may take its place.
    bool concludeFinished() {
        bool isAnyThrough = false;
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
            if (message->msg != CURLMSG_DONE) {
                continue;
            }
            CURL* handle = message->easy_handle;
            const CURLcode code = message->data.result;  // gone with the next call
            curl_multi_remove_handle(multi_.get(), handle);
            const auto transfer = running_.find(handle);
            bool isOver = true;
            orFail(*transfer->second, [&] {
                if (auto outcome = transfer->second->conclude(code)) {
                    deliver(*transfer->second, std::move(*outcome));
                } else {
                    isOver = false;
                }
            });
            // A handle that is through starts again by being added anew.
            if (isOver || !setGoing(*transfer->second)) {
                running_.erase(transfer);
            }
            isAnyThrough = true;
        }
        return isAnyThrough;
    }

    void cancelEverything() {
        const auto cancel = [this](CurlTransfer& transfer) {
            orFail(transfer, [&] {
                deliver(transfer, makeURLError(NSURLErrorCode::Cancelled, "The request was cancelled"));
            });
        };
        for (const auto& [handle, transfer] : running_) {
            curl_multi_remove_handle(multi_.get(), handle);
            cancel(*transfer);
        }
        running_.clear();
        std::deque<std::unique_ptr<CurlTransfer>> waiting;
        {
            const std::lock_guard lock(mutex_);
            waiting.swap(waiting_);
        }
        for (const auto& transfer : waiting) {
            cancel(*transfer);
        }
    }

    void deliver(CurlTransfer& transfer, Result<HTTPResponse> outcome) {
        // Shared, because a posted block is copyable and an answer may be large.
        auto kept = std::make_shared<Result<HTTPResponse>>(std::move(outcome));
        auto completion = transfer.takeCompletion();
        const auto runLoop = runLoop_.lock();
        // There is no completion any more when an earlier attempt to post it has failed.
        if (runLoop == nullptr || completion == nullptr) {
            return;
        }
        runLoop->post([completion = std::move(completion), kept] { completion(std::move(*kept)); });
    }

    std::weak_ptr<NSRunLoop> runLoop_;
    CurlHTTPOptions options_;
    std::unique_ptr<CURLM, MultiCleanup> multi_;
    std::mutex mutex_;
    std::deque<std::unique_ptr<CurlTransfer>> waiting_;
    bool isStopping_ = false;
    std::map<CURL*, std::unique_ptr<CurlTransfer>> running_;
};

CurlWorker::CurlWorker(std::weak_ptr<NSRunLoop> runLoop, CurlHTTPOptions options) {
    prepareLibrary();
    core_ = std::make_shared<Core>(std::move(runLoop), std::move(options));
    thread_ = startBackgroundThread("xel-http", [core = core_] { core->run(); });
}

CurlWorker::~CurlWorker() {
    core_->stop();
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

void CurlWorker::add(HTTPRequest request, HTTPTransport::Completion completion,
                     std::shared_ptr<CurlBodySink> sink) {
    core_->add(std::move(request), std::move(completion), std::move(sink));
}

}  // namespace xel
