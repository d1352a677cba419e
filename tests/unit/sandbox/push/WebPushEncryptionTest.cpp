// The body of a push message, against the example of RFC 8291 (section 5 and appendix A).

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Linux/Push/WebPushDecryption.h"
#include "XelPushClient/Linux/Push/WebPushKeys.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/push/WebPushEncryption.h"

namespace xel::sandbox {
namespace {

using testing::HasSubstr;

std::string decoded(const std::string& text) {
    const auto bytes = octetsOfBase64URL(text);
    EXPECT_TRUE(bytes) << text;
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

std::string encoded(const std::string& bytes) {
    return base64URLOf(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

const std::string kText = "When I grow up, I want to be a watermelon";

PushReceiver exampleReceiver() {
    return {
        decoded("BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH6SRpkNtoIAiw4"),
        decoded("BTBZMqHH6r4Tts7J_aSIgg")};
}

PushSenderKeys exampleSender() {
    return {
        decoded("yfWPiYE-n46HLnH0KqZOF1fJJU3MYrct3AELtAQ-oRw"),
        decoded("BP4z9KsN6nGRTbVYI_c7VJSPQTBtkgcy27mlmlMoZIIgDll6e3vCYLocInmYWAmS6TlzAC8wEqKK6PBru3jl7A8"),
        decoded("DGv6ra1nlYgDCS1FRnbzlw")};
}

TEST(WebPushEncryption, MakesTheBodyOfTheExample) {
    EXPECT_EQ(encoded(encryptPushMessage(exampleReceiver(), exampleSender(), kText)),
              "DGv6ra1nlYgDCS1FRnbzlwAAEABBBP4z9KsN6nGRTbVYI_c7VJSPQTBtkgcy27mlmlMoZIIgDll6e3vCYLoc"
              "InmYWAmS6TlzAC8wEqKK6PBru3jl7A_yl95bQpu6cVPTpK4Mqgkf1CXztLVBSt2Ks3oZwbuwXPXLWyouBWLV"
              "WGNWQexSgSxsj_Qulcy4a-fN");
}

TEST(WebPushEncryption, IsReadByAClient) {
    const auto keys = WebPushKeys::make();
    ASSERT_TRUE(keys);
    const auto& own = keys.value();
    const PushReceiver receiver{std::string(own.publicKey().begin(), own.publicKey().end()),
                                std::string(own.authSecret().begin(), own.authSecret().end())};
    for (const std::string& text : {kText, std::string(), std::string(kLargestPushText, '\x02')}) {
        const std::string body = encryptPushMessage(receiver, makePushSenderKeys(), text);
        const auto read = decryptWebPush(own, std::vector<std::uint8_t>(body.begin(), body.end()));
        ASSERT_TRUE(read);
        EXPECT_EQ(read.value(), text);
    }
}

TEST(WebPushEncryption, FillsALargestBodyAndNotOneByteMore) {
    const std::string longest(kLargestPushText, 'x');
    EXPECT_EQ(encryptPushMessage(exampleReceiver(), exampleSender(), longest).size(), kLargestPushBody);
    EXPECT_THROW(encryptPushMessage(exampleReceiver(), exampleSender(), longest + 'x'), SandboxError);
    EXPECT_EQ(encryptPushMessage(exampleReceiver(), exampleSender(), "").size(), kPushBodyOverhead);
}

TEST(WebPushEncryption, MakesOtherKeysAndAnotherSaltForEachMessage) {
    const PushSenderKeys first = makePushSenderKeys();
    const PushSenderKeys second = makePushSenderKeys();
    EXPECT_NE(first.privateKey, second.privateKey);
    EXPECT_NE(first.publicKey, second.publicKey);
    EXPECT_NE(first.salt, second.salt);
    // They fit: what the library checks when it takes them in.
    EXPECT_EQ(encryptPushMessage(exampleReceiver(), first, kText).size(), kText.size() + kPushBodyOverhead);
}

struct BadKeysCase {
    std::string name;
    std::function<void(PushReceiver&, PushSenderKeys&)> spoil;
    std::string says;
};

class WebPushBadKeys : public testing::TestWithParam<BadKeysCase> {};

TEST_P(WebPushBadKeys, AreRefused) {
    PushReceiver receiver = exampleReceiver();
    PushSenderKeys sender = exampleSender();
    GetParam().spoil(receiver, sender);
    try {
        encryptPushMessage(receiver, sender, kText);
        ADD_FAILURE() << "taken";
    } catch (const SandboxError& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().says));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Each, WebPushBadKeys,
    testing::Values(
        BadKeysCase{"ShortPoint", [](auto& receiver, auto&) { receiver.publicKey.pop_back(); }, "65 bytes"},
        BadKeysCase{"NoPoint", [](auto& receiver, auto&) { receiver.publicKey.clear(); }, "65 bytes"},
        BadKeysCase{"OffTheCurve", [](auto& receiver, auto&) { receiver.publicKey.back() ^= 1; },
                    "no point on the curve"},
        BadKeysCase{"AnotherForm", [](auto& receiver, auto&) { receiver.publicKey.front() = 5; },
                    "no point on the curve"},
        BadKeysCase{"ShortAuth", [](auto& receiver, auto&) { receiver.authSecret.pop_back(); }, "16 bytes"},
        BadKeysCase{"LongAuth", [](auto& receiver, auto&) { receiver.authSecret += 'x'; }, "16 bytes"},
        BadKeysCase{"ShortPrivateKey", [](auto&, auto& sender) { sender.privateKey.pop_back(); }, "32 bytes"},
        BadKeysCase{"ShortSenderPoint", [](auto&, auto& sender) { sender.publicKey.pop_back(); }, "65 bytes"},
        BadKeysCase{"SenderOffTheCurve", [](auto&, auto& sender) { sender.publicKey.back() ^= 1; },
                    "none of the curve"},
        BadKeysCase{"LongSalt", [](auto&, auto& sender) { sender.salt += 'x'; }, "16 bytes"}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace xel::sandbox
