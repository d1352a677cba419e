#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include <sys/stat.h>

#include "XelPushClient/Linux/HTTP/CurlURLSession.h"
#include "XelPushClient/Linux/HTTP/MediaFolder.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/HTTP/LoopbackDownloads.h"
#include "tests/contract/HTTP/NSURLSessionContract.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Process/NoDescriptors.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/FileMode.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class CurlDownloadSubject {
public:
    NSURLSession& session() { return session_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) { return driveUntil(*loop_, done); }
    std::string serve(const std::string& path, int status, std::string body) {
        const std::lock_guard lock(mutex_);
        answers_[path] = {status, std::move(body)};
        return server_.url() + path;
    }
    static std::optional<std::string> contents(const std::string& path) { return contentsOf(path); }
    static bool move(const std::string& from, const std::string& to) {
        return ::rename(from.c_str(), to.c_str()) == 0;
    }

private:
    bool answer(const ReceivedRequest& request, HTTPExchange& exchange) {
        std::pair<int, std::string> answer{404, ""};
        {
            const std::lock_guard lock(mutex_);
            if (const auto found = answers_.find(request.url); found != answers_.end()) {
                answer = found->second;
            }
        }
        return exchange.answer(answer.first, answer.second);
    }

    TemporaryFolder folder_;
    std::mutex mutex_;
    std::map<std::string, std::pair<int, std::string>> answers_;
    LocalHTTPServer server_{
        [this](const ReceivedRequest& request, HTTPExchange& exchange) { return answer(request, exchange); }};
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    CurlURLSession session_{loop_, folder_.path() + "/media", loopbackDownloads()};
};

class CurlURLSessionTest : public ::testing::Test {
protected:
    using Outcome = std::optional<Result<std::string>>;

    Outcome download(const std::string& url, const CurlHTTPOptions& options = loopbackDownloads(),
                     const std::function<void(const std::string&)>& inside = nullptr) {
        CurlURLSession session(loop_, mediaFolder(), options);
        Outcome outcome;
        session.downloadTaskWithURL(url, [&](Result<std::string> file) {
            if (file && inside) {
                inside(file.value());
            }
            outcome = std::move(file);
        });
        EXPECT_TRUE(driveUntil(*loop_, [&] { return outcome.has_value(); }));
        return outcome;
    }
    static void expectError(const Outcome& outcome, NSURLErrorCode code) {
        ASSERT_TRUE(outcome && !outcome->isOk());
        EXPECT_EQ(outcome->error().code, static_cast<std::int64_t>(code))
            << outcome->error().localizedDescription();
    }
    [[nodiscard]] std::string mediaFolder() const { return folder_.path() + "/cache/media"; }
    [[nodiscard]] std::size_t fileCount() const {
        std::error_code missing;
        const fs::directory_iterator files(mediaFolder(), missing);
        return static_cast<std::size_t>(std::distance(files, fs::directory_iterator()));
    }

    TemporaryFolder folder_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
};

TEST_F(CurlURLSessionTest, ADownloadThatCannotBeStartedIsAFailureAndTheNextOneIsTriedAnew) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    CurlURLSession session(loop_, mediaFolder(), loopbackDownloads());
    Outcome outcome;
    const auto keep = [&](Result<std::string> file) { outcome = std::move(file); };
    {
        const NoDescriptors limit;
        session.downloadTaskWithURL("http://127.0.0.1:1/", keep);
        EXPECT_FALSE(outcome.has_value()) << "later, on the loop";
        ASSERT_TRUE(driveUntil(*loop_, [&] { return outcome.has_value(); }));
    }
    expectError(outcome, NSURLErrorCode::Unknown);
    EXPECT_NE(outcome->error().localizedDescription().find("no descriptor"), std::string::npos);
    outcome.reset();
    const LocalHTTPServer server(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    session.downloadTaskWithURL(server.url(), keep);
    ASSERT_TRUE(driveUntil(*loop_, [&] { return outcome.has_value(); }));
    EXPECT_TRUE(outcome->isOk());
}

TEST_F(CurlURLSessionTest, FileAndFolderAreForTheUserAlone) {
    const LocalHTTPServer server(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    const mode_t before = ::umask(0);
    bool wasLooked = false;
    (void)download(server.url(), loopbackDownloads(), [&](const std::string& file) {
        wasLooked = true;
        EXPECT_EQ(fs::path(file).parent_path(), mediaFolder());
        EXPECT_EQ(modeOf(file), 0600U);
        EXPECT_EQ(modeOf(mediaFolder()), 0700U);
    });
    ::umask(before);
    EXPECT_TRUE(wasLooked);
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(CurlURLSessionTest, NothingIsPutWhereOthersMayWrite) {
    const LocalHTTPServer server(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    for (const fs::path& folder : {fs::path(mediaFolder()), fs::path(mediaFolder()).parent_path()}) {
        fs::create_directories(mediaFolder());
        fs::permissions(folder, fs::perms(0777));
        const auto outcome = download(server.url());
        ASSERT_TRUE(outcome && !outcome->isOk()) << folder;
        EXPECT_NE(outcome->error().localizedDescription().find(folder.string()), std::string::npos)
            << outcome->error().localizedDescription();
        EXPECT_EQ(fileCount(), 0U);
        fs::permissions(folder, fs::perms(0700));
        EXPECT_TRUE(download(server.url())->isOk()) << folder;
    }
}

TEST_F(CurlURLSessionTest, AnAnswerThatIsTooLargeIsCutAndNothingIsLeft) {
    auto options = loopbackDownloads();
    options.largestAnswer = 1000;
    const std::string body(1001, 'x');
    const LocalHTTPServer announced(
        [&](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, body); });
    expectError(download(announced.url(), options), NSURLErrorCode::DataLengthExceedsMaximum);
    const LocalHTTPServer streamed([&](const ReceivedRequest&, HTTPExchange& exchange) {
        (void)exchange.writeRaw("HTTP/1.1 200 OK\r\n\r\n");
        while (exchange.writeRaw(body)) {}
        return false;
    });
    expectError(download(streamed.url(), options), NSURLErrorCode::DataLengthExceedsMaximum);
    EXPECT_EQ(fileCount(), 0U);
    const LocalHTTPServer fitting(
        [&](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, body.substr(1)); });
    EXPECT_TRUE(download(fitting.url(), options)->isOk());
}

TEST_F(CurlURLSessionTest, AnAnswerThatNeverEndsIsGivenUp) {
    auto options = loopbackDownloads();
    options.totalTimeout = 300ms;
    const LocalHTTPServer server([](const ReceivedRequest&, HTTPExchange& exchange) {
        (void)exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf a cat");
        exchange.waitUntilClientIsGone();
        return false;
    });
    expectError(download(server.url(), options), NSURLErrorCode::TimedOut);
    EXPECT_EQ(fileCount(), 0U) << "the half that came is gone";
}

TEST_F(CurlURLSessionTest, ACutAnswerIsAFailureAndNothingIsLeft) {
    const LocalHTTPServer server([](const ReceivedRequest&, HTTPExchange& exchange) {
        (void)exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf a cat");
        return false;
    });
    expectError(download(server.url()), NSURLErrorCode::NetworkConnectionLost);
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(CurlURLSessionTest, ARedirectMayLeadToAnotherHostWhoseAnswerAloneIsKept) {
    const LocalHTTPServer target(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    const LocalHTTPServer first([&](const ReceivedRequest&, HTTPExchange& exchange) {
        return exchange.answer(302, "moved", {{"Location", target.url() + "/cat"}});
    });
    std::optional<std::string> seen;
    (void)download(first.url(), loopbackDownloads(),
                   [&](const std::string& file) { seen = contentsOf(file); });
    EXPECT_EQ(seen, "meow");
}

TEST_F(CurlURLSessionTest, ARedirectToAnotherSchemeIsRefused) {
    const std::string secret = folder_.path() + "/secret";
    std::ofstream(secret) << "secret";
    for (const auto& target : {"file://" + secret, std::string("ftp://127.0.0.1/cat")}) {
        const LocalHTTPServer server([&](const ReceivedRequest&, HTTPExchange& exchange) {
            return exchange.answer(302, "", {{"Location", target}});
        });
        expectError(download(server.url()), NSURLErrorCode::UnsupportedURL);
    }
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(CurlURLSessionTest, ARedirectOutOfTLSIsRefused) {
    const TestAuthority authority;
    const std::string caFile = folder_.path() + "/ca.pem";
    std::ofstream(caFile) << authority.certificate();
    const LocalHTTPServer plain(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    const LocalHTTPServer secure(
        [&](const ReceivedRequest&, HTTPExchange& exchange) {
            return exchange.answer(302, "", {{"Location", plain.url()}});
        },
        authority.issue());
    auto options = loopbackDownloads();
    options.caFile = caFile;
    expectError(download(secure.url("localhost"), options), NSURLErrorCode::SecureConnectionFailed);
    EXPECT_TRUE(plain.received().empty());
}

TEST_F(CurlURLSessionTest, RedirectsAreBounded) {
    const LocalHTTPServer server([](const ReceivedRequest&, HTTPExchange& exchange) {
        return exchange.answer(302, "", {{"Location", "/again"}});
    });
    expectError(download(server.url()), NSURLErrorCode::HTTPTooManyRedirects);
    EXPECT_EQ(server.received().size(), static_cast<std::size_t>(loopbackDownloads().mostRedirects) + 1);
}

TEST_F(CurlURLSessionTest, AFolderThatCannotBeMadeIsAFailure) {
    const LocalHTTPServer server(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    std::ofstream(folder_.path() + "/cache") << "a file where the folder should be";
    const auto outcome = download(server.url());
    ASSERT_TRUE(outcome && !outcome->isOk());
    EXPECT_NE(outcome->error().localizedDescription().find("/cache"), std::string::npos);
}

TEST_F(CurlURLSessionTest, TheFolderKeepsTheNewestFiles) {
    const LocalHTTPServer server(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); });
    fs::create_directories(mediaFolder());
    std::ofstream(mediaFolder() + "/other") << "not ours";
    const auto now = fs::file_time_type::clock::now();
    for (std::size_t i = 0; i < MediaFolder::kMostFiles + 4; ++i) {
        const std::string path = mediaFolder() + "/media-" + std::to_string(i) + ".jpg";
        std::ofstream(path) << i;
        fs::last_write_time(path, now - std::chrono::minutes(100 - i));
    }
    (void)download(server.url(), loopbackDownloads(),
                   [](const std::string& file) { fs::rename(file, file + ".jpg"); });
    EXPECT_EQ(fileCount(), MediaFolder::kMostFiles + 1);
    EXPECT_TRUE(fs::exists(mediaFolder() + "/other"));
    EXPECT_FALSE(fs::exists(mediaFolder() + "/media-4.jpg"));
    EXPECT_TRUE(fs::exists(mediaFolder() + "/media-5.jpg"));
}

TEST_F(CurlURLSessionTest, NothingIsLeftOfADownloadUnderWayWhenTheSessionGoes) {
    std::atomic<bool> isAsked = false;
    const LocalHTTPServer server([&](const ReceivedRequest&, HTTPExchange& exchange) {
        (void)exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf a cat");
        isAsked = true;
        exchange.waitUntilClientIsGone();
        return false;
    });
    Outcome outcome;
    {
        CurlURLSession session(loop_, mediaFolder(), loopbackDownloads());
        session.downloadTaskWithURL(server.url(),
                                    [&](Result<std::string> file) { outcome = std::move(file); });
        EXPECT_TRUE(driveUntil(*loop_, [&] { return isAsked.load() && fileCount() == 1; }));
    }
    EXPECT_TRUE(driveUntil(*loop_, [&] { return outcome.has_value(); }));
    expectError(outcome, NSURLErrorCode::Cancelled);
    EXPECT_EQ(fileCount(), 0U);
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, NSURLSessionContract, CurlDownloadSubject);

}  // namespace xel::contract
