// What an installation's push token holds, and which endpoints the local push service posts to.

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/push/PushToken.h"
#include "tests/unit/sandbox/push/PushExamples.h"

namespace xel::sandbox {
namespace {

using test::hexadecimal;
using test::kExampleAuth;
using test::kExampleEndpoint;
using test::kExampleKey;
using test::pushTokenOf;

TEST(PushToken, HoldsEndpointAndKeys) {
    const auto token = parsePushToken(pushTokenOf(kExampleEndpoint));
    ASSERT_TRUE(token);
    EXPECT_EQ(token->endpoint, kExampleEndpoint);
    EXPECT_EQ(token->receiver.publicKey.size(), 65U);
    EXPECT_EQ(token->receiver.publicKey[0], 4);
    EXPECT_EQ(token->receiver.authSecret.size(), 16U);
}

TEST(PushToken, MayBeInCapitalsAndHoldMore) {
    std::string text =
        hexadecimal(R"({"endpoint":"http://localhost/","publicKey":")" + std::string(kExampleKey) +
                    R"(","auth":")" + kExampleAuth + R"(","more":1})");
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    EXPECT_TRUE(parsePushToken(text));
}

TEST(PushToken, IsNothingElse) {
    const std::string key = kExampleKey;
    const std::string auth = kExampleAuth;
    const auto token = [](const std::string& endpoint, const std::string& publicKey,
                          const std::string& secret) {
        return hexadecimal(R"({"endpoint":)" + endpoint + R"(,"publicKey":)" + publicKey + R"(,"auth":)" +
                           secret + "}");
    };
    const auto quoted = [](const std::string& text) { return '"' + text + '"'; };
    const std::string endpoint = quoted(kExampleEndpoint);
    ASSERT_TRUE(parsePushToken(token(endpoint, quoted(key), quoted(auth))));
    const std::vector<std::pair<const char*, std::string>> cases{
        {"nothing", ""},
        {"the placeholder", hexadecimal("Simulator")},
        {"an odd number of digits", pushTokenOf(kExampleEndpoint) + "0"},
        {"no digits", "zz"},
        {"not in hexadecimal", R"({"endpoint":"http://localhost/"})"},
        {"an array", hexadecimal("[]")},
        {"an empty object", hexadecimal("{}")},
        {"no endpoint", token("\"\"", quoted(key), quoted(auth))},
        {"an endpoint that is no text", token("1", quoted(key), quoted(auth))},
        {"a key that is no text", token(endpoint, "1", quoted(auth))},
        {"a short key", token(endpoint, quoted(key.substr(4)), quoted(auth))},
        {"a key in another alphabet", token(endpoint, quoted("+" + key.substr(1)), quoted(auth))},
        {"a key with padding", token(endpoint, quoted(key + "="), quoted(auth))},
        {"a compressed point", token(endpoint, quoted("A" + key.substr(1)), quoted(auth))},
        {"a short secret", token(endpoint, quoted(key), quoted(auth.substr(4)))},
        {"no secret", token(endpoint, quoted(key), "null")},
    };
    for (const auto& [name, text] : cases) {
        EXPECT_FALSE(parsePushToken(text)) << name;
    }
}

struct EndpointCase {
    const char* url;
    const char* host;
    unsigned port;
    const char* target;
};

TEST(PushEndpoint, IsOfThisMachine) {
    const std::vector<EndpointCase> cases{
        {"http://127.0.0.1:8123/push/ab?x=1", "127.0.0.1", 8123, "/push/ab?x=1"},
        {"http://localhost/p", "localhost", 80, "/p"},
        {"http://127.9.9.9", "127.9.9.9", 80, "/"},
        {"http://[::1]:65535/p", "::1", 65535, "/p"},
        {"http://[::1]?q", "::1", 80, "/?q"},
    };
    for (const auto& wanted : cases) {
        const auto endpoint = parseLoopbackEndpoint(wanted.url);
        ASSERT_TRUE(endpoint) << wanted.url;
        EXPECT_EQ(endpoint->host, wanted.host) << wanted.url;
        EXPECT_EQ(endpoint->port, wanted.port) << wanted.url;
        EXPECT_EQ(endpoint->target, wanted.target) << wanted.url;
    }
}

TEST(PushEndpoint, IsNoOther) {
    for (const std::string& url : {std::string("https://127.0.0.1/p"),
                                   std::string("http://example.org/p"),
                                   std::string("http://10.0.0.1/p"),
                                   std::string("http://localhost.example.org/p"),
                                   std::string("http://127.0.0.1.example.org/p"),
                                   std::string("http://127.0.0.1@example.org/p"),
                                   std::string("http://user@127.0.0.1/p"),
                                   std::string("http://[::ffff:10.0.0.1]/p"),
                                   std::string("http://127.0.0.1:0/p"),
                                   std::string("http://127.0.0.1:65536/p"),
                                   std::string("http://127.0.0.1:/p"),
                                   std::string("http://127.0.0.1:80x/p"),
                                   std::string("http://[::1/p"),
                                   std::string("http://[::1]80/p"),
                                   std::string("http://"),
                                   std::string("http:///p"),
                                   std::string("//127.0.0.1/p"),
                                   std::string("127.0.0.1/p"),
                                   std::string("http://127.0.0.1/p#f"),
                                   std::string("http://127.0.0.1/a b"),
                                   std::string("http://127.0.0.1/a\r\nTTL: 9"),
                                   std::string("http://127.0.0.1/\xC3\xA9"),
                                   "http://127.0.0.1/" + std::string(984, 'x')}) {
        EXPECT_FALSE(parseLoopbackEndpoint(url)) << url;
    }
    EXPECT_TRUE(parseLoopbackEndpoint("http://127.0.0.1/" + std::string(983, 'x')));
}

}  // namespace
}  // namespace xel::sandbox
