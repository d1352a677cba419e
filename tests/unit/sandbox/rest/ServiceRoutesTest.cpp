// Verification codes, tags, crash reports and what the developer is shown, as the REST backend answers.

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/relay/EventRecord.h"
#include "sandbox/rest/MessageDesk.h"
#include "sandbox/rest/RestBackend.h"
#include "sandbox/store/ServiceStores.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

using testing::HasSubstr;
using testing::Not;

class ServiceRoutesTest : public testing::Test {
protected:
    RestResponse ask(const std::string& method, const std::string& route, const std::string& body = {}) {
        RestRequest request;
        request.method = method;
        request.body = body;
        parseTarget("/api/" + route + (route.find('?') == std::string::npos ? "?" : "&") + "access_token=key",
                    request);
        std::optional<RestResponse> answer;
        backend_.handle(request, [&answer](RestResponse response) { answer = std::move(response); });
        EXPECT_TRUE(answer) << "no answer";
        return answer.value_or(RestResponse{});
    }
    Json get(const std::string& route) {
        const RestResponse response = ask("GET", route);
        EXPECT_EQ(response.status, 200U) << printJson(response.body);
        return response.body;
    }

    test::TemporaryFolder folder_;
    ServiceStores stores_{folder_.path()};
    std::vector<std::string> lines_;
    ProgressLog log_{[this](std::string_view line) { lines_.emplace_back(line); }};
    MessageDesk desk_{"shop", [](const auto&, const auto& onTaken) { onTaken(true); }};
    RestBackend backend_{{"shop", "key"}, stores_, desk_, log_};
};

TEST_F(ServiceRoutesTest, VerifiesAUserByTheCodeThatTheDeveloperIsShown) {
    EXPECT_EQ(get("verification/requestCode/alice01"), (Json{{"result", true}}));
    const Json codes = get("sandbox/codes")["codes"];
    ASSERT_EQ(codes.size(), 1U);
    EXPECT_EQ(codes[0]["user"], "alice01");
    const std::string code = codes[0]["code"];

    EXPECT_EQ(get("verification/verifyCode/alice01/" + code + "0"), (Json{{"result", false}}));
    EXPECT_EQ(get("verification/verifyCode/alice01/" + code), (Json{{"result", true}}));
    EXPECT_EQ(get("verification/verifyCode/alice01/" + code), (Json{{"result", false}}));
    EXPECT_TRUE(get("sandbox/codes")["codes"].empty());
    ASSERT_FALSE(lines_.empty());
    for (const std::string& line : lines_) {
        EXPECT_THAT(line, Not(HasSubstr(code)));
    }
}

TEST_F(ServiceRoutesTest, TakesAUserIdThatIsPercentEncoded) {
    get("verification/requestCode/a%2Fb%20c%25");
    EXPECT_EQ(get("sandbox/codes")["codes"][0]["user"], "a/b c%");
}

TEST_F(ServiceRoutesTest, CountsTheInstallationsOfATag) {
    EXPECT_EQ(get("installations/addTag/alice01/vip"), (Json{{"count", 0}}));
    const std::string id = ask("POST", "installations", R"({"userId":"alice01"})").body["id"];
    ask("POST", "installations", R"({"userId":"alice01"})");
    ask("POST", "installations", R"({"userId":"bob02"})");
    EXPECT_EQ(get("installations/addTag/alice01/very%20important%2F1"), (Json{{"count", 2}}));
    EXPECT_EQ(stores_.tags.tagsOf(id), Json({"very important/1"}));
    EXPECT_EQ(get("installations/removeTag/alice01/very%20important%2F1"), (Json{{"count", 0}}));
    EXPECT_EQ(stores_.tags.tagsOf(id), Json::array());
}

TEST_F(ServiceRoutesTest, ShowsInstallationsWithTagsAndWithoutTokens) {
    ask("POST", "installations", R"({"userId":"alice01","deviceToken":"c0ffee","deviceModel":"Box"})");
    get("installations/addTag/alice01/vip");
    const Json shown = get("sandbox/installations")["installations"];
    ASSERT_EQ(shown.size(), 1U);
    EXPECT_EQ(shown[0]["userId"], "alice01");
    EXPECT_EQ(shown[0]["deviceModel"], "Box");
    EXPECT_EQ(shown[0]["tags"], Json({"vip"}));
    EXPECT_THAT(printJson(shown), Not(HasSubstr("c0ffee")));
}

TEST_F(ServiceRoutesTest, KeepsACrashReport) {
    const RestResponse kept = ask("POST", "crashReports", R"({"APP_ID":"shop","STACK_TRACE":["a","b"]})");
    ASSERT_EQ(kept.status, 200U);
    EXPECT_EQ(kept.body["id"].get<std::string>().size(), 36U);
    ask("POST", "crashReports", R"({"APP_ID":"shop"})");
    const Json crashes = get("sandbox/crashes")["crashes"];
    ASSERT_EQ(crashes.size(), 2U);
    EXPECT_EQ(crashes[0]["id"], kept.body["id"]);
    EXPECT_EQ(crashes[0]["report"]["STACK_TRACE"], Json({"a", "b"}));
    EXPECT_EQ(get("sandbox/crashes?limit=1")["crashes"].size(), 1U);
}

TEST_F(ServiceRoutesTest, ForgetsTheOldestCrashReports) {
    for (std::int64_t i = 0; i < CrashReportStore::kKept + 3; ++i) {
        stores_.crashes.add(Json{{"n", i}});
    }
    const Json crashes = get("sandbox/crashes?limit=1000")["crashes"];
    ASSERT_EQ(crashes.size(), static_cast<std::size_t>(CrashReportStore::kKept));
    EXPECT_EQ(crashes[0]["report"]["n"], 3);
}

TEST_F(ServiceRoutesTest, ShowsEventsAndReceipts) {
    stores_.events.keep(EventRecord{"e1", "login", "D1", "alice01", R"({"id":"e1"})"});
    stores_.events.keep(ReceiptRecord{"seen", "m1", "alice01", "D1", "1.0"});
    EXPECT_EQ(get("sandbox/events")["events"][0]["id"], "e1");
    EXPECT_EQ(get("sandbox/receipts")["receipts"][0]["messageId"], "m1");
}

TEST_F(ServiceRoutesTest, AnswersFiveHundredWhenAStoreFails) {
    stores_.database.run("DROP TABLE codes");
    EXPECT_EQ(ask("GET", "verification/requestCode/alice01").status, 500U);
    EXPECT_THAT(lastOf(lines_), HasSubstr("service.db"));
}

}  // namespace
}  // namespace xel::sandbox
