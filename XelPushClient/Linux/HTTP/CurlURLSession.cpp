#include "XelPushClient/Linux/HTTP/CurlURLSession.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <unistd.h>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Linux/HTTP/CurlErrors.h"
#include "XelPushClient/Linux/HTTP/CurlURL.h"
#include "XelPushClient/Linux/HTTP/CurlWorker.h"
#include "XelPushClient/Linux/HTTP/MediaFolder.h"
#include "XelPushClient/Linux/Network/NameLookup.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Platform/NSFileManager.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

namespace {

/// The file that a body goes to. It is made with the first octets, and removed with this object at the
/// latest.
class DownloadedFile final : public CurlBodySink {
public:
    explicit DownloadedFile(std::shared_ptr<const MediaFolder> folder) : folder_(std::move(folder)) {}
    DownloadedFile(const DownloadedFile&) = delete;
    DownloadedFile& operator=(const DownloadedFile&) = delete;
    ~DownloadedFile() override { remove(); }

    /// Whoever wants to keep the file has moved it by then.
    void remove() {
        if (!path_.empty()) {
            ::unlink(path_.c_str());
            path_.clear();
        }
    }

    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] bool take(std::string_view octets) override {
        if (!make()) {
            return false;
        }
        while (!octets.empty()) {
            const ssize_t written = ::write(descriptor_.number(), octets.data(), octets.size());
            if (written < 0 && errno != EINTR) {
                const std::string reason = std::generic_category().message(errno);
                failure_ = makeFileError(NSFileErrorCode::WriteUnknown,
                                         formatted("cannot write to %@: %@", path_, reason));
                return false;
            }
            octets.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        }
        return true;
    }

    [[nodiscard]] bool finish() override {
        // An answer without a body is an empty file.
        const bool isMade = make();
        descriptor_ = FileDescriptor();
        return isMade;
    }

    [[nodiscard]] std::optional<NSError> failure() const override { return failure_; }

private:
    [[nodiscard]] bool make() {
        if (!path_.empty()) {
            return true;
        }
        auto made = folder_->makeFile();
        if (!made) {
            failure_ = made.error();
            return false;
        }
        path_ = std::move(made.value().path);
        descriptor_ = std::move(made.value().descriptor);
        return true;
    }

    std::shared_ptr<const MediaFolder> folder_;
    std::string path_;
    FileDescriptor descriptor_;
    std::optional<NSError> failure_;
};

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

std::string restHost(const Endpoints& endpoints) {
    // In production each application has a host of its own, below the one that all share and in its network.
    const auto origin =
        originOfURL(isDevelopment() ? endpoints.kLoopBackLocalSSLAddress
                                    : formatted(endpoints.kLoopBackSSLAddress, endpoints.kBrokerAddress));
    return origin ? origin->host : std::string();
}

bool liesIn(const std::string& host, NetworkKind kind) {
    if (const auto literal = networkKindOfLiteral(host)) {
        return *literal == kind;
    }
    if (isLoopbackHost(host)) {
        return kind == NetworkKind::Loopback;
    }
    const auto addresses = lookUpName(host).addresses;
    return std::any_of(addresses.begin(), addresses.end(), [kind](const boost::asio::ip::address& address) {
        return networkKindOf(*boost::asio::ip::tcp::endpoint(address, 0).data()) == kind;
    });
}

}  // namespace

CurlHTTPOptions downloadOptions() {
    CurlHTTPOptions options;
    options.mostAtOnce = 0;  // or hosts that are silent would keep others waiting
    options.largestAnswer = 32UL * 1024 * 1024;
    options.totalTimeout = std::chrono::minutes(2);
    options.followsToOtherOrigins = true;
    options.mayReach = [](NetworkKind) { return false; };
    return options;
}

CurlURLSession::CurlURLSession(std::weak_ptr<NSRunLoop> runLoop, std::string folder, CurlHTTPOptions options)
    : runLoop_(std::move(runLoop)),
      folder_(std::make_shared<const MediaFolder>(std::move(folder))),
      options_(std::move(options)) {}

CurlURLSession::~CurlURLSession() = default;

CurlWorker& CurlURLSession::worker() {
    const std::lock_guard lock(mutex_);
    if (worker_ == nullptr) {
        worker_ = std::make_unique<CurlWorker>(runLoop_, options_);
    }
    return *worker_;
}

void CurlURLSession::failLater(DownloadCompletion completion, std::string_view why) const {
    if (const auto runLoop = runLoop_.lock()) {
        runLoop->post([completion = std::move(completion),
                       error = makeURLError(NSURLErrorCode::Unknown,
                                            "The download cannot be started: " + std::string(why))] {
            completion(error);
        });
    }
}

void CurlURLSession::downloadTaskWithURL(std::string url, DownloadCompletion completion) {
    HTTPRequest request;
    request.method = "GET";
    request.url = std::move(url);
    auto file = std::make_shared<DownloadedFile>(folder_);
    CurlWorker* started = nullptr;
    try {
        started = &worker();
    } catch (const std::exception& error) {
        // For want of a thread or a descriptor; the next download asks for them again.
        failLater(std::move(completion), error.what());
        return;
    }
    started->add(
        std::move(request),
        [file, completion = std::move(completion)](const Result<HTTPResponse>& outcome) {
            // When the completion has returned, or thrown: the transfer on the other thread may hold the
            // object a little longer.
            const OnLeaving removal([&file] { file->remove(); });
            if (!outcome) {
                completion(outcome.error());
            } else if (!isSuccess(outcome.value().status)) {
                completion(makeURLError(
                    NSURLErrorCode::BadServerResponse,
                    formatted("Expected a status of 200 to 299, got %d", outcome.value().status)));
            } else {
                completion(file->path());
            }
        },
        file);
}

std::function<bool(NetworkKind)> networksOfService(Endpoints endpoints) {
    return [endpoints = std::move(endpoints)](NetworkKind kind) { return liesIn(restHost(endpoints), kind); };
}

}  // namespace xel
