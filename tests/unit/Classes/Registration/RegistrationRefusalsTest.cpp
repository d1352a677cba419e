#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using MaybeText = std::optional<std::string>;

/// Refused requests: what the host reads, and that nothing was changed.
class RegistrationRefusalsTest : public RoomsTest {
protected:
    RegistrationRefusalsTest() { addDelegate(); }

    Registration& room() { return rooms_->registration; }

    void expectFailure(std::int64_t code, std::string_view description, std::string_view reason,
                       std::string_view suggestion) {
        ASSERT_TRUE(rooms_->lastFailure.error());
        const NSError& error = *rooms_->lastFailure.error();
        EXPECT_EQ(error.domain, "PushClientErrorDomain");
        EXPECT_EQ(error.code, code);
        EXPECT_EQ(error.localizedDescription(), description);
        EXPECT_EQ(error.localizedFailureReason(), reason);
        EXPECT_EQ(error.localizedRecoverySuggestion(), suggestion);
        EXPECT_THAT(takeHeard(), ElementsAre(formatted("delegate: FailRegisterUser %d", code)));
        EXPECT_FALSE(rooms_->registrationState.isRegistered());
        EXPECT_TRUE(machine_.http->requests().empty());
    }
};

TEST_F(RegistrationRefusalsTest, NameEachMissingCredentialInOrder) {
    struct Row {
        MaybeText appId, apiKey, userName, password;
        std::string reason;
    };
    const std::vector<Row> table = {
        {std::nullopt, "k", "u", "p", "AppId is nil appId value (null) "},
        {"a", "", "u", "p", "apiKey is nil apiKey value  "},
        {"a", "k", " ", "p", "userName is nil userName value   "},
        {"a", "k", "u", std::nullopt, "password is nil appId value (null) "},
        {std::nullopt, "k", "u", "  ", "AppId is nil appId value (null) password is nil appId value    "},
        {"\n", std::nullopt, std::nullopt, std::nullopt,
         "AppId is nil appId value \n apiKey is nil apiKey value (null) userName is nil userName value "
         "(null) password is nil appId value (null) "},
    };
    for (const auto& row : table) {
        EXPECT_FALSE(room().registerApplication(row.appId, row.apiKey, row.userName, row.password));
        expectFailure(-5009, "Could Not Register Application", row.reason, "Fill Registration Requirements");
        EXPECT_FALSE(rooms_->settings.appId() || rooms_->settings.apiKey() || rooms_->settings.password());
    }
}

TEST_F(RegistrationRefusalsTest, RefuseAUserIdThatIsMissingBlankOrInvalid) {
    registerApplication();
    const std::vector<std::pair<MaybeText, std::string>> table = {
        {std::nullopt, "userId is nil appId userId (null) "},
        {"", "userId is nil appId userId  "},
        {"   ", "userId is nil appId userId     "},
        {"ab", ""},
        {"with/slash", ""},
        {"with blank", ""},
    };
    for (const auto& [userId, reason] : table) {
        for (const bool again : {false, true}) {
            EXPECT_FALSE(again ? room().registerAgainWithUserId(userId, {})
                               : room().registerUser(userId, {"news"}));
            expectFailure(-5010, "Could Not Register User Id", reason, "register again with User Id");
            EXPECT_FALSE(rooms_->settings.userId() || rooms_->channels.topics);
        }
    }
}

TEST_F(RegistrationRefusalsTest, RefuseToRegisterAgainWithoutAnIdentity) {
    EXPECT_FALSE(room().registerAgainWithUserId("bob02", {}));
    expectFailure(-5010, "Could Not Register User Id",
                  "userId is nil userId value (null) AppId is nil appId value = (null)",
                  "register again with Complete Options");
    rooms_->settings.setUserId("alice01");
    EXPECT_FALSE(room().registerAgainWithUserId("bob02", {}));
    expectFailure(-5010, "Could Not Register User Id", "AppId is nil appId value = (null)",
                  "register again with Complete Options");
    rooms_->settings.setUserId(" ");
    changeApplication([](auto& application) { application.appId = "shop"; });
    EXPECT_FALSE(room().registerAgainWithUserId("bob02", {}));
    expectFailure(-5010, "Could Not Register User Id", "userId is nil userId value   ",
                  "register again with Complete Options");
}

TEST_F(RegistrationRefusalsTest, RefuseToRegisterAgainWithoutANetwork) {
    identify();
    rooms_->lifecycle.observeReachability();
    machine_.reachability->setNetwork(false, PushClientServerReachabilityNoNetworkFoundType);
    machine_.runUntilIdle();
    (void)takeHeard();
    EXPECT_FALSE(room().registerAgainWithUserId("bob02", {}));
    expectFailure(-5011, "Server Not Reachable Now.", "Server is not reachable",
                  "Register User Again when Server is available.");
    EXPECT_EQ(rooms_->settings.userId(), "alice01");
}

TEST_F(RegistrationRefusalsTest, ReportOneFailureToEverybody) {
    std::vector<std::string> block;
    rooms_->fanout.blocks.registrationHandler = [&](bool registered, const MaybeText& userId,
                                                    const std::optional<NSError>& error) {
        block.push_back(formatted("%d %@ %d", registered, userId, error ? error->code : 0));
    };
    switchLogOn();
    EXPECT_FALSE(room().registerUser("ab", {}));
    EXPECT_THAT(block, ElementsAre("0 (null) -5010"));
    EXPECT_THAT(takeLog(),
                ElementsAre("handleRegistrationFailWithError", "calling registrationHandler for failure"));
}

TEST_F(RegistrationRefusalsTest, StopAtAChannelThatIsNoTopic) {
    registerApplication();
    EXPECT_FALSE(room().registerUser("alice01", {"news", "a/b/c", "sport"}));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailInSubscribe InvalidParameter -5002 Channel 'a/b/c' "
                                         "is not valid"));
    EXPECT_THAT(wantedTopics(),
                ElementsAre("app/a1b2c3/user/alice01/default@1", "app/a1b2c3/user/public/news@1"));
    EXPECT_EQ(onDisk("userChannels"), Value(Dictionary{{"app/a1b2c3/user/alice01/default", 1}}));
    EXPECT_TRUE(machine_.application->tokenRequests().empty());
    EXPECT_FALSE(rooms_->lastFailure.error());
}

TEST_F(RegistrationRefusalsTest, SendNothingWithoutATokenOrAUser) {
    EXPECT_FALSE(room().registerDeviceToServer());
    rooms_->settings.setUserId("alice01");
    EXPECT_FALSE(room().registerDeviceToServer());
    rooms_->token.deviceToken = Data();
    EXPECT_FALSE(room().registerDeviceToServer());
    rooms_->token.deviceToken = Data{1};
    rooms_->settings.setUserId(" ");
    EXPECT_FALSE(room().registerDeviceToServer());
    machine_.runUntilIdle();
    EXPECT_TRUE(machine_.http->requests().empty());
    rooms_->settings.setUserId("alice01");
    EXPECT_TRUE(room().registerDeviceToServer());
}

}  // namespace
}  // namespace xel
