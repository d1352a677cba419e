#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/NSURLSession.h"

namespace xel::contract {

/// What every download session owes. A subject is default constructible, runs a server of its own, and has
///     NSURLSession& session();
///     NSRunLoop& loop();
///     bool runUntil(std::function<bool()> done);  // drives the loop until done; false: it never was
///     std::string serve(std::string path, int status, std::string body);  // the URL of that answer
///     std::optional<std::string> contents(std::string path);  // of a file; none when it is not there
///     bool move(std::string from, std::string to);
template <class Subject>
class NSURLSessionContract : public ::testing::Test {
protected:
    using Outcome = std::optional<Result<std::string>>;
    using Inside = std::function<void(const std::string& file)>;

    /// Downloads and waits. Fails the test when the completion comes twice, inside the call or off the loop.
    [[nodiscard]] Outcome download(const std::string& url, const Inside& inside = nullptr) {
        const auto outcome = std::make_shared<Outcome>();
        const auto count = std::make_shared<int>(0);
        subject_.session().downloadTaskWithURL(url, [this, outcome, count, inside](Result<std::string> file) {
            ++*count;
            EXPECT_TRUE(subject_.loop().isCurrent());
            if (file && inside) {
                inside(file.value());
            }
            *outcome = std::move(file);
        });
        EXPECT_EQ(*count, 0) << "completed inside the call";
        EXPECT_TRUE(subject_.runUntil([&] { return outcome->has_value(); }));
        EXPECT_EQ(*count, 1);
        return *outcome;
    }
    static void expectError(const Outcome& outcome, NSURLErrorCode code) {
        ASSERT_TRUE(outcome && !outcome->isOk());
        EXPECT_EQ(outcome->error().domain, NSURLErrorDomain);
        EXPECT_EQ(outcome->error().code, static_cast<std::int64_t>(code))
            << outcome->error().localizedDescription();
    }

    Subject subject_;
};

TYPED_TEST_SUITE_P(NSURLSessionContract);

TYPED_TEST_P(NSURLSessionContract, GivesAFileThatIsGoneAfterwards) {
    for (const auto& content : {std::string("meow"), std::string(), std::string("\0\n\xFF", 3)}) {
        const auto url = this->subject_.serve("/cat", 200, content);
        std::optional<std::string> seen;
        const auto outcome =
            this->download(url, [&](const std::string& file) { seen = this->subject_.contents(file); });
        ASSERT_TRUE(outcome && outcome->isOk());
        EXPECT_EQ(seen, content);
        EXPECT_EQ(this->subject_.contents(outcome->value()), std::nullopt);
    }
}

TYPED_TEST_P(NSURLSessionContract, AMovedFileStays) {
    const auto url = this->subject_.serve("/cat", 200, "meow");
    std::string kept;
    const auto outcome = this->download(url, [&](const std::string& file) {
        kept = file + ".jpg";
        EXPECT_TRUE(this->subject_.move(file, kept));
    });
    EXPECT_EQ(this->subject_.contents(kept), "meow");
}

TYPED_TEST_P(NSURLSessionContract, EachDownloadHasAFileOfItsOwn) {
    const auto url = this->subject_.serve("/cat", 200, "meow");
    std::string first;
    (void)this->download(url, [&](const std::string& file) { first = file; });
    std::string second;
    (void)this->download(url, [&](const std::string& file) {
        second = file;
        EXPECT_TRUE(this->subject_.move(file, file + ".jpg"));
    });
    EXPECT_NE(first, second);
}

TYPED_TEST_P(NSURLSessionContract, AnotherStatusIsAFailure) {
    for (const int status : {404, 403, 500, 304}) {
        const auto url = this->subject_.serve("/none", status, status == 304 ? "" : "<html>no such cat");
        this->expectError(this->download(url), NSURLErrorCode::BadServerResponse);
    }
}

TYPED_TEST_P(NSURLSessionContract, OtherSchemesAreRefused) {
    for (const std::string url : {"file:///etc/passwd", "ftp://127.0.0.1/cat"}) {
        this->expectError(this->download(url), NSURLErrorCode::UnsupportedURL);
    }
}

REGISTER_TYPED_TEST_SUITE_P(NSURLSessionContract, GivesAFileThatIsGoneAfterwards, AMovedFileStays,
                            EachDownloadHasAFileOfItsOwn, AnotherStatusIsAFailure, OtherSchemesAreRefused);

}  // namespace xel::contract
