// The distributor's endpoints, by the rules of HTTP.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/distributor/PushServer.h"

namespace xel::sandbox {
namespace {

struct RequestCase {
    const char* name;
    PushRequest request;
    unsigned status;
    std::optional<int> granted{};
};

TEST(PushRequestRules, AnswerEachRequest) {
    const std::string largest(4096, 'x');
    const std::vector<RequestCase> cases{
        {"a message", {"POST", "/push/e1", "60", "m"}, 201, 60},
        {"a largest message", {"POST", "/push/e1", "60", largest}, 201, 60},
        {"one byte more", {"POST", "/push/e1", "60", largest + "x"}, 413},
        {"no byte", {"POST", "/push/e1", "60", ""}, 400},
        {"no TTL", {"POST", "/push/e1", {}, "m"}, 201, 0},
        {"a TTL of 0", {"POST", "/push/e1", "0", "m"}, 201, 0},
        {"a TTL beyond the longest", {"POST", "/push/e1", "86401", "m"}, 201, 86400},
        {"a TTL beyond every number", {"POST", "/push/e1", "99999999999999999999999", "m"}, 201, 86400},
        {"a negative TTL", {"POST", "/push/e1", "-1", "m"}, 400},
        {"a TTL that is no number", {"POST", "/push/e1", "soon", "m"}, 400},
        {"an empty TTL", {"POST", "/push/e1", "", "m"}, 400},
        {"an unknown endpoint", {"POST", "/push/e2", "60", "m"}, 404},
        {"an unknown endpoint and a long message", {"POST", "/push/e2", "60", largest + "x"}, 404},
        {"no endpoint", {"POST", "/push/", "60", "m"}, 404},
        {"another path", {"POST", "/e1", "60", "m"}, 404},
        {"something behind the endpoint", {"POST", "/push/e1/x", "60", "m"}, 404},
        {"discovery", {"GET", "/push/e1", {}, {}}, 200},
        {"discovery of nothing", {"GET", "/push/e2", {}, {}}, 404},
        {"another method", {"PUT", "/push/e1", "60", "m"}, 405},
    };
    for (const RequestCase& wanted : cases) {
        int taken = 0;
        const PushResponse response = answerPushRequest(
            wanted.request, [](const std::string& endpoint) { return endpoint == "e1"; },
            [&](const std::string& endpoint, const std::string& body, std::chrono::seconds timeToLive) {
                ++taken;
                EXPECT_EQ(endpoint, "e1");
                EXPECT_EQ(body, wanted.request.body);
                EXPECT_EQ(timeToLive.count(), wanted.granted.value_or(-1)) << wanted.name;
                return true;
            });
        EXPECT_EQ(response.status, wanted.status) << wanted.name;
        EXPECT_EQ(taken, wanted.status == 201 ? 1 : 0) << wanted.name;
        EXPECT_EQ(response.timeToLive.has_value(), wanted.granted.has_value()) << wanted.name;
        EXPECT_EQ(response.allow.empty(), wanted.status != 405) << wanted.name;
    }
}

TEST(PushRequestRules, LetAnEndpointBeDiscovered) {
    const auto response = answerPushRequest(
        {"GET", "/push/e1", {}, {}}, [](const auto&) { return true; }, nullptr);
    EXPECT_EQ(response.body, R"({"unifiedpush":{"version":1}})");
}

}  // namespace
}  // namespace xel::sandbox
