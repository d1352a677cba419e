// Which waiting messages become push messages, and what the endpoint's answer does.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/push/PushDesk.h"
#include "sandbox/push/WebPushEncryption.h"
#include "sandbox/store/Database.h"
#include "sandbox/store/InstallationStore.h"
#include "tests/unit/sandbox/TemporaryFolder.h"
#include "tests/unit/sandbox/push/PushExamples.h"

namespace xel::sandbox {
namespace {

using test::kExampleAuth;
using test::kExampleEndpoint;
using test::pushTokenOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class PushDeskTest : public testing::Test {
protected:
    std::string install(const std::string& user, const std::string& token) {
        return installations_.add(Json{{"userId", user}, {"deviceToken", token}})["id"];
    }
    void wait(const std::string& user, const std::string& device, const Json& message) {
        desk_.messageWaits(user, device, printJson(message));
    }
    void answer(const PushAnswer& answer) {
        ASSERT_FALSE(posted_.empty());
        const auto onAnswer = std::move(posted_.front().second);
        posted_.pop_front();
        onAnswer(answer);
    }
    bool hasToken(const std::string& device) { return installations_.find(device)->contains("deviceToken"); }

    test::TemporaryFolder folder_;
    Database database_{folder_.path() / "service.db"};
    InstallationStore installations_{database_};
    std::vector<std::string> lines_;
    ProgressLog log_{[this](std::string_view line) { lines_.emplace_back(line); }};
    std::deque<std::pair<OutgoingPush, std::function<void(const PushAnswer&)>>> posted_;
    std::int64_t now_{1'000'000};
    PushDesk desk_{installations_, log_,
                   [this](const OutgoingPush& push, std::function<void(const PushAnswer&)> onAnswer) {
                       posted_.emplace_back(push, std::move(onAnswer));
                   },
                   [this] { return now_; }};
};

TEST_F(PushDeskTest, PostsAnEncryptedMessageToTheEndpoint) {
    const std::string device = install("alice01", pushTokenOf(kExampleEndpoint));
    wait("alice01", device, Json{{"id", "m1"}, {"messageBody", "secret words"}});
    ASSERT_THAT(posted_, SizeIs(1));
    const OutgoingPush& push = posted_[0].first;
    EXPECT_EQ(push.endpoint.host, "127.0.0.1");
    EXPECT_EQ(push.endpoint.port, 8123);
    EXPECT_EQ(push.endpoint.target, "/push/0123456789abcdef");
    EXPECT_EQ(push.timeToLive, PushDesk::kLongestLife);
    EXPECT_GT(push.body.size(), kPushBodyOverhead);
    EXPECT_THAT(push.body, Not(HasSubstr("secret words")));
    answer({201, {}});
    EXPECT_THAT(lines_, Contains("push message for device " + device + ", of message m1: sent"));
    EXPECT_TRUE(hasToken(device));
}

TEST_F(PushDeskTest, PostsNothingForWhoHasNoToken) {
    wait("alice01", "unknown", Json{{"id", "m1"}, {"messageBody", "hi"}});
    wait("alice01", install("alice01", test::hexadecimal("Simulator")),
         Json{{"id", "m1"}, {"messageBody", "hi"}});
    // The device is bob's by now; alice's session lives on.
    wait("alice01", install("bob02", pushTokenOf(kExampleEndpoint)),
         Json{{"id", "m1"}, {"messageBody", "hi"}});
    EXPECT_THAT(posted_, IsEmpty());
    EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(PushDeskTest, PostsNothingForALiveOrExpiredMessageOrForNone) {
    const std::string device = install("alice01", pushTokenOf(kExampleEndpoint));
    wait("alice01", device, Json{{"id", "m1"}, {"live", true}});
    wait("alice01", device, Json{{"id", "m2"}, {"expireTime", 1'000'000}});
    wait("alice01", device, Json{{"id", "m3"}, {"expireTime", "999999"}});
    desk_.messageWaits("alice01", device, "no message");
    EXPECT_THAT(posted_, IsEmpty());
}

TEST_F(PushDeskTest, AsksTheEndpointToKeepAMessageForAsLongAsItLives) {
    const std::string device = install("alice01", pushTokenOf(kExampleEndpoint));
    const std::vector<std::pair<Json, std::int64_t>> cases{
        {1'000'001, 1}, {1'030'000.0, 30}, {"1030500", 31}, {9e300, 86400}, {"soon", 86400}};
    for (const auto& [expiry, seconds] : cases) {
        wait("alice01", device, Json{{"id", expiry.dump()}, {"expireTime", expiry}});
        ASSERT_THAT(posted_, SizeIs(1)) << expiry;
        EXPECT_EQ(posted_[0].first.timeToLive.count(), seconds) << expiry;
        answer({201, {}});
    }
}

TEST_F(PushDeskTest, SendsAMessageOnceToADevice) {
    const std::string first = install("alice01", pushTokenOf(kExampleEndpoint));
    const std::string second = install("alice01", pushTokenOf(kExampleEndpoint));
    for (const std::string& device : {first, first, second}) {
        wait("alice01", device, Json{{"id", "m1"}});
    }
    answer({201, {}});
    answer({201, {}});
    EXPECT_THAT(posted_, IsEmpty());
}

TEST_F(PushDeskTest, SendsOneAfterTheOtherAndDropsWhatIsTooMuch) {
    const std::string device = install("alice01", pushTokenOf(kExampleEndpoint));
    for (std::size_t i = 0; i < PushDesk::kMostWaiting + 2; ++i) {
        wait("alice01", device, Json{{"id", std::to_string(i)}});
        ASSERT_THAT(posted_, SizeIs(1));
    }
    EXPECT_THAT(lines_, Contains(HasSubstr("too many are on their way")));
    std::size_t count = 0;
    while (!posted_.empty()) {
        ASSERT_THAT(posted_, SizeIs(1));
        answer({201, {}});
        ++count;
    }
    EXPECT_EQ(count, PushDesk::kMostWaiting + 1);
}

TEST_F(PushDeskTest, PostsToThisMachineOnlyAndSaysSo) {
    const std::string device = install("alice01", pushTokenOf("https://push.example.org/x"));
    wait("alice01", device, Json{{"id", "m1"}});
    EXPECT_THAT(posted_, IsEmpty());
    EXPECT_THAT(lines_, Contains(HasSubstr("to http endpoints of this machine only")));
}

TEST_F(PushDeskTest, TellsOfAKeyThatIsNone) {
    const std::string offTheCurve = "B" + std::string(85, 'A') + "Q";
    const std::string device = install("alice01", pushTokenOf(kExampleEndpoint, offTheCurve, kExampleAuth));
    wait("alice01", device, Json{{"id", "m1"}});
    EXPECT_THAT(posted_, IsEmpty());
    EXPECT_THAT(lines_, Contains(HasSubstr("no point on the curve")));
}

struct AnswerCase {
    PushAnswer answer;
    bool keepsToken;
    const char* line;
};

TEST_F(PushDeskTest, ForgetsTheTokenOfAnEndpointThatIsGone) {
    const std::vector<AnswerCase> cases{{{404, {}}, false, "forgotten"},
                                        {{410, {}}, false, "forgotten"},
                                        {{400, {}}, true, "answers 400"},
                                        {{413, {}}, true, "answers 413"},
                                        {{301, {}}, true, "answers 301"},
                                        {{503, {}}, true, "answers 503"},
                                        {{0, "cannot connect"}, true, "cannot connect"},
                                        {{204, {}}, true, "sent"}};
    for (const AnswerCase& wanted : cases) {
        const std::string device = install("alice01", pushTokenOf(kExampleEndpoint));
        lines_.clear();
        wait("alice01", device, Json{{"id", "m1"}});
        answer(wanted.answer);
        EXPECT_EQ(hasToken(device), wanted.keepsToken) << wanted.answer.status;
        EXPECT_THAT(lines_, Contains(HasSubstr(wanted.line)));
        EXPECT_EQ((*installations_.find(device))["userId"], "alice01");
    }
}

TEST_F(PushDeskTest, KeepsATokenThatIsNewerThanTheAnswer) {
    const std::string device = install("alice01", pushTokenOf(kExampleEndpoint));
    wait("alice01", device, Json{{"id", "m1"}});
    installations_.replace(
        device, Json{{"userId", "alice01"}, {"deviceToken", pushTokenOf("http://127.0.0.1:8123/push/new")}});
    answer({404, {}});
    EXPECT_TRUE(hasToken(device));
}

}  // namespace
}  // namespace xel::sandbox
