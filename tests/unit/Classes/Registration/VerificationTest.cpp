#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VerificationTest : public RoomsTest {
protected:
    void SetUp() override {
        registerApplication();
        addDelegate();
        rooms_->fanout.blocks.verificationHandler = [this](bool sent, const std::optional<NSError>& error) {
            heard_->push_back(formatted("sent %d %d", sent, error ? error->code : 0));
        };
        rooms_->fanout.blocks.verifiyUserCodeHandler = [this](bool verified,
                                                              const std::optional<NSError>& error) {
            heard_->push_back(formatted("verified %d %d", verified, error ? error->code : 0));
        };
    }
    [[nodiscard]] std::string lastURL() const { return lastOf(machine_.http->requests()).url; }
};

TEST_F(VerificationTest, BuildsItsPathsFromWhatItWasGiven) {
    EXPECT_TRUE(rooms_->verification.requestVerificationCode("a/b c&"));
    EXPECT_TRUE(lastURL().ends_with("/api/verification/requestCode/a%2Fb%20c%26?access_token=key"))
        << lastURL();
    EXPECT_TRUE(rooms_->verification.verifyUserCode("a&b", "1%202"));
    EXPECT_TRUE(lastURL().ends_with("/api/verification/verifyCode/a&b/1%202?access_token=key")) << lastURL();
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "GET");
    EXPECT_EQ(lastOf(machine_.http->requests()).body, "");
}

TEST_F(VerificationTest, ReadsTheOutcomeFromTheAnswer) {
    const struct {
        const char* answer;
        bool wanted;
    } kCases[] = {
        {R"({"result":true})", true},
        {R"({"result":1})", true},
        {R"({"result":0.5})", true},
        {R"({"result":false})", false},
        {R"({"result":0})", false},
        {R"({"result":null})", false},
        {R"({"result":{}})", false},
        {R"({"results":1})", false},
        {"{}", false},
        {"[]", false},
        {"true", false},
        {"null", false},
    };
    for (const auto& test : kCases) {
        machine_.http->answer("GET", "requestCode/alice01", 200, test.answer);
        machine_.http->answer("GET", "verifyCode/alice01/1", 200, test.answer);
        EXPECT_TRUE(rooms_->verification.requestVerificationCode("alice01"));
        EXPECT_TRUE(rooms_->verification.verifyUserCode("alice01", "1"));
        machine_.runUntilIdle();
        EXPECT_THAT(takeHeard(),
                    ElementsAre("delegate: SentVerificationCode", test.wanted ? "sent 1 0" : "sent 0 0",
                                test.wanted ? "delegate: VerifyUserCode 1" : "delegate: VerifyUserCode 0",
                                test.wanted ? "verified 1 0" : "verified 0 0"))
            << test.answer;
    }
    EXPECT_EQ(rooms_->lastFailure.error(), std::nullopt);
}

TEST_F(VerificationTest, MapsErrorsByTheirCode) {
    const struct {
        NSURLErrorCode code;
        std::int64_t reported;
    } kCases[] = {
        {NSURLErrorCode::TimedOut, -5012},
        {NSURLErrorCode::CannotConnectToHost, -5012},
        {NSURLErrorCode::NetworkConnectionLost, -5012},
        {NSURLErrorCode::BadServerResponse, -5012},
        {NSURLErrorCode::DataNotAllowed, -5012},
        {NSURLErrorCode::NotConnectedToInternet, -5030},
        {NSURLErrorCode::CannotFindHost, -1003},
        {NSURLErrorCode::Cancelled, -999},
        {NSURLErrorCode::ServerCertificateUntrusted, -1202},
    };
    for (const auto& test : kCases) {
        machine_.http->fail("GET", "requestCode/alice01", test.code, "why");
        machine_.http->fail("GET", "verifyCode/alice01/1", test.code, "why");
        rooms_->verification.requestVerificationCode("alice01");
        rooms_->verification.verifyUserCode("alice01", "1");
        machine_.runUntilIdle();
        EXPECT_THAT(takeHeard(),
                    ElementsAre(formatted("delegate: FailSentVerificationCode %d", test.reported),
                                formatted("sent 0 %d", test.reported),
                                formatted("delegate: FailInVerifyUserCode %d", test.reported),
                                formatted("verified 0 %d", test.reported)));
        EXPECT_EQ(rooms_->lastFailure.error()->code, static_cast<std::int64_t>(test.code))
            << "what is kept is not mapped";
        EXPECT_FALSE(rooms_->registrationState.isPending());
    }
}

TEST_F(VerificationTest, KeepsTheDetailsOfAMappedError) {
    std::optional<NSError> reported;
    rooms_->fanout.blocks.verificationHandler = [&](bool, const std::optional<NSError>& error) {
        reported = error;
    };
    machine_.http->answer("GET", "requestCode/alice01", 500, "body");
    rooms_->verification.requestVerificationCode("alice01");
    machine_.runUntilIdle();
    ASSERT_TRUE(reported.has_value());
    EXPECT_EQ(reported->domain, "PushClientErrorDomain");
    EXPECT_EQ(reported->code, -5012);
    EXPECT_EQ(reported->userInfo, rooms_->lastFailure.error()->userInfo);
    EXPECT_EQ(reported->localizedRecoverySuggestion(), "body");
}

TEST_F(VerificationTest, RefusesInItsOrder) {
    const std::optional<std::string> missing;
    const struct {
        bool hasKey;
        std::optional<std::string> user;
        std::optional<std::string> code;
        std::int64_t wanted;
        const char* description;
    } kCases[] = {
        {true, missing, "1", 5014, "userId is nil or empty"},
        {true, " \n", "1", 5014, "userId is nil or empty"},
        {false, "", missing, 5014, "userId is nil or empty"},
        {true, "alice01", missing, 5014, "userCode is nil or empty"},
        {false, "alice01", "\t", 5014, "userCode is nil or empty"},
        {false, "alice01", "1", -5001, "You are not Initialized yet"},
    };
    for (const auto& test : kCases) {
        changeApplication([&](auto& application) {
            application.apiKey = test.hasKey ? std::optional<std::string>("key") : std::nullopt;
        });
        EXPECT_FALSE(rooms_->verification.verifyUserCode(test.user, test.code));
        EXPECT_THAT(takeHeard(), ElementsAre(formatted("delegate: FailInVerifyUserCode %d", test.wanted),
                                             formatted("verified 0 %d", test.wanted)));
        EXPECT_EQ(rooms_->lastFailure.error(),
                  makeError("PushClientErrorDomain", test.wanted, test.description));
    }
    for (const auto& user : {missing, std::optional<std::string>(""), std::optional<std::string>("  ")}) {
        EXPECT_FALSE(rooms_->verification.requestVerificationCode(user)) << "also without a key";
        EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailSentVerificationCode -5013", "sent 0 -5013"));
        EXPECT_EQ(rooms_->lastFailure.error(),
                  makeError("PushClientErrorDomain", -5013, "userId is nil or empty"));
    }
    EXPECT_FALSE(rooms_->verification.requestVerificationCode("alice01"));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailInVerifyUserCode -5001", "verified 0 -5001"));
    EXPECT_THAT(machine_.http->requests(), IsEmpty());
}

}  // namespace
}  // namespace xel
