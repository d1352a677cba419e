#include <ostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlRedirects.h"

namespace xel {
namespace {

HTTPRequest requestTo(const std::string& url, const std::string& method = "POST") {
    return {
        .method = method, .url = url, .headers = {{"Content-Type", "a/b"}, {"X-Token", "t"}}, .body = "b"};
}

class CurlRedirectsTest : public testing::Test {
protected:
    Result<bool> follow(long status, const std::string& target) {
        return redirects_.follow(request_, origin_, status, target);
    }

    CurlHTTPOptions options_;
    CurlRedirects redirects_{options_};
    HTTPRequest request_ = requestTo("https://rest.example/a");
    URLOrigin origin_ = *originOfURL(request_.url);
};

struct MethodCase {
    long status;
    const char* method;
    const char* next;
};

void PrintTo(const MethodCase& each, std::ostream* out) {
    *out << each.method << " answered with " << each.status;
}

class RedirectedMethod : public testing::TestWithParam<MethodCase> {};

TEST_P(RedirectedMethod, IsAsHTTPSays) {
    const CurlHTTPOptions options;
    CurlRedirects redirects(options);
    HTTPRequest request = requestTo("https://rest.example/a", GetParam().method);
    URLOrigin origin = *originOfURL(request.url);
    const auto followed = redirects.follow(request, origin, GetParam().status, "https://rest.example/b");
    ASSERT_TRUE(followed && followed.value());
    EXPECT_EQ(request.method, GetParam().next);
    EXPECT_EQ(request.url, "https://rest.example/b");
    const bool becameGet = request.method != GetParam().method;
    EXPECT_EQ(request.body, becameGet ? "" : "b");
    EXPECT_EQ(request.headers.size(), becameGet ? 1U : 2U) << "what tells of the body goes with it";
}

INSTANTIATE_TEST_SUITE_P(All, RedirectedMethod,
                         testing::Values(MethodCase{301, "POST", "GET"}, MethodCase{302, "POST", "GET"},
                                         MethodCase{303, "POST", "GET"}, MethodCase{303, "PUT", "GET"},
                                         MethodCase{301, "PUT", "PUT"}, MethodCase{307, "POST", "POST"},
                                         MethodCase{308, "POST", "POST"}, MethodCase{303, "HEAD", "HEAD"}));

TEST_F(CurlRedirectsTest, LeavesARedirectToAnotherOriginAsTheAnswer) {
    for (const char* target : {"https://other.example/", "https://rest.example:444/", "http://rest.example/",
                               "file:///etc/passwd", "no url"}) {
        const auto followed = follow(302, target);
        ASSERT_TRUE(followed) << target;
        EXPECT_FALSE(followed.value()) << target;
        EXPECT_EQ(request_.url, "https://rest.example/a");
    }
}

TEST_F(CurlRedirectsTest, FollowsToAnotherOriginWhereTheOptionsSaySo) {
    options_.followsToOtherOrigins = true;
    const auto followed = follow(307, "https://other.example/b");
    ASSERT_TRUE(followed && followed.value());
    EXPECT_EQ(origin_, *originOfURL("https://other.example/"));
}

struct RefusedTarget {
    const char* target;
    NSURLErrorCode code;
};

TEST_F(CurlRedirectsTest, RefusesOriginsThatNoRedirectMayLeadTo) {
    options_.followsToOtherOrigins = true;
    for (const auto& [target, code] :
         {RefusedTarget{"no url", NSURLErrorCode::BadServerResponse},
          RefusedTarget{"ftp://rest.example/", NSURLErrorCode::UnsupportedURL},
          RefusedTarget{"http://rest.example/", NSURLErrorCode::SecureConnectionFailed}}) {
        const auto followed = follow(302, target);
        ASSERT_FALSE(followed) << target;
        EXPECT_EQ(followed.error().code, static_cast<std::int64_t>(code)) << target;
    }
}

TEST_F(CurlRedirectsTest, GivesUpAfterTheMostThatTheOptionsAllow) {
    options_.mostRedirects = 2;
    EXPECT_TRUE(follow(307, "https://rest.example/b"));
    EXPECT_TRUE(follow(307, "https://rest.example/c"));
    const auto followed = follow(307, "https://rest.example/d");
    ASSERT_FALSE(followed);
    EXPECT_EQ(followed.error().code, static_cast<std::int64_t>(NSURLErrorCode::HTTPTooManyRedirects));
}

}  // namespace
}  // namespace xel
