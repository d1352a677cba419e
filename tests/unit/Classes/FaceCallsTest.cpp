#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Foundation/DictionaryReading.h"
#include "XelPushClient/Testing/FakeMachine.h"

// Which calls of the face compile, which do not, and what those mean that could be read in two ways.

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using RegistrationBlock = PushClientRegistrationHandlerBlock;
using CodeBlock = PushClientVerificationHandlerBlock;

// ---- A text that must be there is no nullptr, and a missing one is no matter of luck.

template <class M>
concept SubscribesToNullptr = requires(M& push) {
    push.subscribe(nullptr);
};
template <class M>
concept SubscribesToTwoTextsInBraces = requires(M& push) {
    push.subscribe({"news", "sport"});
};
template <class M>
concept SubscribesToAMissingText = requires(M& push, std::optional<std::string> text) {
    push.subscribe(text);
};
template <class M>
concept SubscribesToAListWithNullptr = requires(M& push) {
    push.subscribeList({"news", nullptr});
};
template <class M>
concept SubscribesToOneTextAsAList = requires(M& push) {
    push.subscribeList("news");
};
template <class M>
concept UnsubscribesFromNullptr = requires(M& push) {
    push.unsubscribe(nullptr);
};
template <class M>
concept NamesEventsByNullptr = requires(M& push) {
    push.subscribeEvent(nullptr);
}
|| requires(M& push) {
    push.unsubscribeEvent(nullptr);
}
|| requires(M& push) {
    push.publishEvent(nullptr, {});
};
template <class M>
concept StoresSettingsOfNullptr = requires(M& push) {
    push.updateNotificationSettings(nullptr, "ping", true);
}
|| requires(M& push) {
    push.updateNotificationSettings("news", nullptr, true);
}
|| requires(M& push) {
    push.notificationSettingsFor(nullptr);
};
template <class M>
concept RequestsThePathNullptr = requires(M& push) {
    push.requestMethod("GET", nullptr);
};
template <class M>
concept FetchesNullptr = requires(M& push) {
    push.downloadDataForUrlString(nullptr, "image", nullptr);
}
|| requires(M& push) {
    push.loadAttachmentForUrlString("x", nullptr, nullptr);
}
|| requires {
    M::fileExtensionForMediaType(nullptr);
};
static_assert(!SubscribesToNullptr<PushClientManager>);
static_assert(!SubscribesToTwoTextsInBraces<PushClientManager>);
static_assert(!SubscribesToAMissingText<PushClientManager>);
static_assert(!SubscribesToAListWithNullptr<PushClientManager>);
static_assert(!SubscribesToOneTextAsAList<PushClientManager>);
static_assert(!UnsubscribesFromNullptr<PushClientManager>);
static_assert(!NamesEventsByNullptr<PushClientManager>);
static_assert(!StoresSettingsOfNullptr<PushClientManager>);
static_assert(!RequestsThePathNullptr<PushClientManager>);
static_assert(!FetchesNullptr<PushClientManager>);

/// Whatever a host has at hand.
template <class M, class T>
concept TakesTextsAs = requires(M& push, const T& text) {
    push.subscribe(text);
    push.subscribe(text, {.live = true});
    push.subscribeList({text, text});
    push.unsubscribe(text);
    push.subscribeEvent(text);
    push.subscribeEvent(text, text);
    push.subscribeEvent(text, text, {.live = true});
    push.subscribeEvent(text, {.live = true});
    push.unsubscribeEvent(text);
    push.unsubscribeEvent(text, text);
    push.updateNotificationSettings(text, text, true);
    push.notificationSettingsFor(text);
    push.publish(text, text);
    push.publish(text, text, text);
    push.publishEvent(text, {{text, text}}, {.stateful = true});
    push.markAsRead(text);
    push.registerApplication(text, text, text, text);
    push.registerUser(text);
    push.registerUser(text, {text});
    push.registerUser(text, {text}, RegistrationBlock());
    push.registerAgainWithUserId(text, {text});
    push.setUserId(text);
    push.setClientVersion(text);
    push.requestVerificationCode(text, text);
    push.verifyUserCode(text, text);
    push.addTag(text);
    push.requestMethod(text, text, {{text, 1}});
    push.downloadDataForUrlString(text, text, nullptr);
};
static_assert(TakesTextsAs<PushClientManager, char[5]>);
static_assert(TakesTextsAs<PushClientManager, const char*>);
static_assert(TakesTextsAs<PushClientManager, std::string>);
static_assert(TakesTextsAs<PushClientManager, std::string_view>);
static_assert(!TakesTextsAs<PushClientManager, Value>, "a value may be of any kind: ask it for its text");

/// Where a missing text has a meaning.
template <class M, class T>
concept TakesMissingTextsAs = requires(M& push, T missing, CodeBlock codeBlock) {
    push.setUserId(missing);
    push.setDeviceId(missing);
    push.setClientVersion(missing);
    push.registerApplication(missing, missing, missing, missing);
    push.registerUser(missing);
    push.registerAgainWithUserId(missing);
    push.unsubscribeEvent("login", missing);
    push.subscribeEvent("login", missing);
    push.subscribeEvent("login", missing, {.live = true});
    push.publish(missing, missing);
    push.publish(missing, missing, missing);
    push.markAsRead(missing);
    push.messageDismissed(missing);
    push.requestVerificationCode(missing);
    push.requestVerificationCode("u", missing);
    push.requestVerificationCode("u", missing, codeBlock);
    push.verifyUserCode(missing, missing);
    push.addTag(missing);
    push.requestMethod(missing, "path");
};
static_assert(TakesMissingTextsAs<PushClientManager, std::nullptr_t>);
static_assert(TakesMissingTextsAs<PushClientManager, std::nullopt_t>);
static_assert(TakesMissingTextsAs<PushClientManager, std::optional<std::string>>);

// ---- A text literal is no bool.

template <class M>
concept SwitchesByAText = requires(M& push) {
    M::setDevelopment("no");
}
|| requires(M& push) {
    push.setEnableLog("no");
}
|| requires(M& push) {
    push.setDeliveryChannelEnabeled("no");
}
|| requires(M& push) {
    push.setUsingSSLConnection("no");
}
|| requires(M& push) {
    push.setEnableLocationOnLaunch("no");
}
|| requires(M& push) {
    push.updateNotificationSettings("news", "ping", "no");
};
template <class M>
concept SwitchesByAnAddress = requires(M& push, bool* address) {
    push.setEnableLog(address);
};
template <class M>
concept TakesATextForLive = requires(M& push) {
    push.subscribe("news", "X9");
}
|| requires(M& push) {
    push.subscribe("news", {.live = "X9"});
}
|| requires(M& push) {
    push.subscribeEvent("login", {.live = "X9"});
}
|| requires(M& push) {
    push.subscribeEvent("login", "X9", "live");
}
|| requires(M& push) {
    push.publishEvent("login", {}, "live");
};
template <class M>
concept TakesABareBool = requires(M& push) {
    push.subscribe("news", true);
}
|| requires(M& push) {
    push.subscribeEvent("login", true);
}
|| requires(M& push) {
    push.unsubscribeEvent("login", true);
}
|| requires(M& push) {
    push.publishEvent("login", {}, true);
};
template <class M>
concept SwitchesByABool = requires(M& push) {
    M::setDevelopment(false);
    push.setEnableLog(false);
    push.setDeliveryChannelEnabeled(false);
    push.setUsingSSLConnection(false);
    push.setEnableLocationOnLaunch(false);
    push.updateNotificationSettings("news", "ping", false);
};
static_assert(!SwitchesByAText<PushClientManager>);
static_assert(!SwitchesByAnAddress<PushClientManager>);
static_assert(!TakesATextForLive<PushClientManager>);
static_assert(!TakesABareBool<PushClientManager>);
static_assert(SwitchesByABool<PushClientManager>);

// ---- Braces mean one thing.

template <class M>
concept TakesBraces = requires(M& push) {
    push.registerUser("alice01", {});
    push.registerUser("alice01", {"news", "sport"});
    push.registerUser("alice01", {}, RegistrationBlock());
    push.registerUser("alice01", nullptr);
    push.registerUser("alice01",
                      [](bool, const std::optional<std::string>&, const std::optional<NSError>&) {});
    push.requestVerificationCode("u", {});
    push.requestVerificationCode("u", [](bool, const std::optional<NSError>&) {});
    push.subscribeEvent("login", {});
    push.unsubscribeEvent("login", {});
    push.publishEvent("login", {});
    push.publishEvent("login", {{"a", {{"b", 1}}}});
    push.publishEvent("login", std::nullopt);
    push.publish({.messageBody = "text", .channel = "news"});
    push.setUserInfo({{"tier", "gold"}});
    push.requestMethod("POST", "things", {{"a", 1}});
};
static_assert(TakesBraces<PushClientManager>);

template <class M>
concept TakesATextAsChannels = requires(M& push) {
    push.registerUser("alice01", "news");
};
template <class M>
concept TakesFieldsOfAMessageByTheirOrder = requires(M& push) {
    push.publish({"news", "text"});
}
|| requires(M& push) {
    push.publish({"text"});
};
template <class M>
concept TakesATextAsData = requires(M& push) {
    push.publishEvent("login", "text");
};
template <class M>
concept TakesNullptrAmongChannels = requires(M& push) {
    push.registerUser("alice01", {"news", nullptr});
};
static_assert(!TakesATextAsChannels<PushClientManager>);
static_assert(!TakesFieldsOfAMessageByTheirOrder<PushClientManager>);
static_assert(!TakesATextAsData<PushClientManager>);
static_assert(!TakesNullptrAmongChannels<PushClientManager>);

// ---- What they mean.

class FaceCallsTest : public testing::Test {
protected:
    FaceCallsTest() : manager_(machine_.machine(), machine_.makeHome()) {
        manager_.addDelegate(delegate_);
        manager_.registerApplication("shop", "key", "user", "secret");
    }

    struct Delegate : PushClientManagerDelegate {
        void pushClientManagerDidFailInPublish(const NSError& error) override {
            failures.push_back(error.localizedDescription());
        }
        std::vector<std::string> failures;
    };

    FakeMachine machine_;
    std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>();
    PushClientManager manager_;
};

TEST_F(FaceCallsTest, ABracedListNamesTheChannelsOfAUser) {
    EXPECT_TRUE(manager_.registerUser("alice01", {"news", std::string_view("private/orders")}));
    EXPECT_THAT(manager_.deviceSubscriptions(), ElementsAre("private/default", "news", "private/orders"));
}

TEST_F(FaceCallsTest, EmptyBracesAreAUserWithoutChannels) {
    EXPECT_TRUE(manager_.registerUser("alice01", {}));
    EXPECT_EQ(manager_.userId(), "alice01");
    EXPECT_THAT(manager_.deviceSubscriptions(), ElementsAre("private/default"));
}

TEST_F(FaceCallsTest, NullptrIsAnAbsentHandlerWithoutWhichNobodyIsRegistered) {
    EXPECT_FALSE(manager_.registerUser("alice01", nullptr));
    EXPECT_EQ(manager_.userId(), std::nullopt);
}

TEST_F(FaceCallsTest, ATextThatIsMissingAtRunTimeIsReportedAsMissing) {
    const char* unset = nullptr;
    EXPECT_FALSE(manager_.registerUser(unset));
    ASSERT_TRUE(manager_.failureError());
    EXPECT_EQ(manager_.failureError()->code, kPushClientFailRegisterUserErrorCode);
    EXPECT_FALSE(manager_.registerApplication("shop", unset, nullptr, "secret"));
    EXPECT_EQ(manager_.failureError()->code, kPushClientFailRegisterApplicationErrorCode);
}

TEST_F(FaceCallsTest, NoMediaLeavesTheVerificationHandlerWhatItIs) {
    int heard = 0;
    manager_.setVerificationHandler([&](bool, const std::optional<NSError>&) { ++heard; });
    EXPECT_FALSE(manager_.requestVerificationCode(" ", {}));
    EXPECT_FALSE(manager_.requestVerificationCode(" ", nullptr));
    EXPECT_EQ(heard, 2);
    EXPECT_FALSE(manager_.requestVerificationCode(" ", CodeBlock()));
    EXPECT_EQ(heard, 2) << "an empty block takes the handler away";
}

TEST_F(FaceCallsTest, EmptyBracesAreAnEventWithoutDataAndNulloptIsMissingData) {
    manager_.setDeviceId("D1");
    EXPECT_TRUE(manager_.publishEvent("login", {}));
    EXPECT_THAT(delegate_->failures, IsEmpty());
    EXPECT_FALSE(manager_.publishEvent("login", std::nullopt));
    EXPECT_THAT(delegate_->failures, ElementsAre("data parameter should have value."));
}

TEST_F(FaceCallsTest, EmptyBracesEmptyTheUserInfoAndAMissingOneIsIgnored) {
    manager_.setUserInfo({{"tier", "gold"}});
    manager_.setUserInfo(std::nullopt);
    EXPECT_EQ(manager_.userInfo(), (Dictionary{{"tier", "gold"}}));
    manager_.setUserInfo({});
    EXPECT_EQ(manager_.userInfo(), Dictionary());
}

TEST_F(FaceCallsTest, AClientVersionCanBeTakenBack) {
    const auto ofTheBundle = manager_.clientVersion();
    manager_.setClientVersion("9.9");
    EXPECT_EQ(manager_.clientVersion(), "9.9");
    manager_.setClientVersion(std::nullopt);
    EXPECT_EQ(manager_.clientVersion(), ofTheBundle);
    EXPECT_EQ(manager_.getClientVersionFromAppPlist(), ofTheBundle);
}

TEST_F(FaceCallsTest, NamesCanBeLookedAtBeforeTheyAreUsedAndNothingIsReported) {
    EXPECT_TRUE(PushClientManager::isUserIdValid("alice01"));
    EXPECT_FALSE(PushClientManager::isUserIdValid("al"));
    EXPECT_FALSE(PushClientManager::isUserIdValid(nullptr));
    EXPECT_TRUE(PushClientManager::isChannelValid("a/b/c")) << "the rule is of the characters alone";
    EXPECT_FALSE(PushClientManager::isChannelValid("a b"));
    EXPECT_TRUE(PushClientManager::checkUserId("alice01"));
    EXPECT_FALSE(PushClientManager::checkUserId("al\x07ice"));
    EXPECT_TRUE(PushClientManager::checkChannel("private/orders"));
    EXPECT_FALSE(PushClientManager::checkChannel("a/b/c"));
    EXPECT_EQ(manager_.failureError(), std::nullopt);
}

TEST_F(FaceCallsTest, TheDevicesKnownByNameAreADictionary) {
    EXPECT_EQ(PushClientManager::deviceModelList().size(), 66U);
    EXPECT_EQ(textUnder(PushClientManager::deviceModelList(), "iPhone9,3"), "iPhone 7");
    EXPECT_EQ(PushClientManager::getConnectionTypeFromStatusBar(), std::nullopt);
}

}  // namespace
}  // namespace xel
