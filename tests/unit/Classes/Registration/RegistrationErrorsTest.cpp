#include <gtest/gtest.h>

#include "XelPushClient/Classes/Registration/RegistrationErrors.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {
namespace {

TEST(RegistrationErrors, CarryDescriptionReasonAndSuggestion) {
    const auto error = makeRegistrationError(kPushClientFailRegisterUserErrorCode, "what", "why", "how on");
    EXPECT_EQ(error.domain, "PushClientErrorDomain");
    EXPECT_EQ(error.code, -5010);
    EXPECT_EQ(error.localizedDescription(), "what");
    EXPECT_EQ(error.localizedFailureReason(), "why");
    EXPECT_EQ(error.localizedRecoverySuggestion(), "how on");
}

TEST(RegistrationErrors, AreMappedByTheIncomingCode) {
    struct Row {
        std::int64_t incoming;
        std::int64_t reported;
        bool isTransient;
    };
    const std::vector<Row> table = {
        {-1001, -5012, true},  {-1004, -5012, true},  {-1005, -5012, true},  {-1009, -5030, true},
        {-1011, -5012, false}, {-1020, -5012, false}, {-1003, -1003, false}, {-1, -1, false},
        {404, 404, false},     {0, 0, false},         {-5009, -5009, false}, {-1200, -1200, false},
    };
    for (const auto& row : table) {
        NSError incoming = makeError("whatever", row.incoming, "details");
        incoming.userInfo.set("more", 3);
        const auto mapped = mapRegistrationError(incoming);
        EXPECT_EQ(mapped.error.code, row.reported) << row.incoming;
        EXPECT_EQ(mapped.isTransient, row.isTransient) << row.incoming;
        EXPECT_EQ(mapped.error.userInfo, incoming.userInfo) << row.incoming;
        EXPECT_EQ(mapped.error.domain, row.incoming == row.reported ? "whatever" : "PushClientErrorDomain");
    }
}

TEST(RegistrationErrors, RecogniseAnUnknownInstallationByTheBody) {
    const std::vector<std::pair<std::string, bool>> table = {
        {R"({"error":{"status":404}})", true},
        {R"({"error":{"status":404,"message":"Unknown"},"more":1})", true},
        {R"({"error":{"status":404.0}})", true},
        {R"({"error":{"status":500}})", false},
        {R"({"error":{"status":"404"}})", false},
        {R"({"error":{}})", false},
        {R"({"error":404})", false},
        {R"({"status":404})", false},
        {R"([404])", false},
        {"404 not found", false},
        {"", false},
    };
    SimpleJSONSerialization json;
    for (const auto& [body, isUnknown] : table) {
        NSError error = makeError("NSURLErrorDomain", -1011, "bad answer");
        error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, body);
        EXPECT_EQ(saysInstallationIsUnknown(error, json), isUnknown) << body;
    }
    EXPECT_FALSE(saysInstallationIsUnknown(makeError("NSURLErrorDomain", -1011, "bad answer"), json));
}

}  // namespace
}  // namespace xel
