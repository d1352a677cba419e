#include <gtest/gtest.h>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {
namespace {

TEST(ParseTarget, TakesPathAndQueryApart) {
    RestRequest request;
    parseTarget("/api//installations/a%20b%2Fc?access_token=k%3D1&x=&y&z=1&z=2", request);
    EXPECT_EQ(request.path, (std::vector<std::string>{"api", "installations", "a b/c"}));
    EXPECT_EQ(request.query, (std::map<std::string, std::string>{
                                 {"access_token", "k=1"}, {"x", ""}, {"y", ""}, {"z", "2"}}));
}

TEST(ParseTarget, LeavesABrokenEscapeAsItIs) {
    RestRequest request;
    parseTarget("/a%/%4/%zz/%41", request);
    EXPECT_EQ(request.path, (std::vector<std::string>{"a%", "%4", "%zz", "A"}));
    EXPECT_TRUE(request.query.empty());
}

TEST(ErrorResponse, HoldsStatusAndMessageUnderError) {
    const RestResponse response = makeErrorResponse(404, "gone");
    EXPECT_EQ(response.status, 404U);
    EXPECT_EQ(printJson(response.body), R"({"error":{"status":404,"message":"gone"}})");
}

}  // namespace
}  // namespace xel::sandbox
