#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTTopics.h"

using namespace std::string_view_literals;

namespace xel {
namespace {

struct RefusedText {
    std::string_view text;
    std::string_view reason;
};

constexpr RefusedText kRefused[] = {
    {"a\0b"sv, "holds the character U+0000"},
    {"\x01", "holds the control character U+0001"},
    {"a\nb", "holds the control character U+000A"},
    {"\x1F", "holds the control character U+001F"},
    {"\x7F", "holds the control character U+007F"},
    {"news\xC2\x80", "holds the control character U+0080"},
    {"\xC2\x9F", "holds the control character U+009F"},
    {"\xEF\xB7\x90", "holds the non-character U+FDD0"},
    {"\xEF\xB7\xAF", "holds the non-character U+FDEF"},
    {"\xEF\xBF\xBE", "holds the non-character U+FFFE"},
    {"\xEF\xBF\xBF", "holds the non-character U+FFFF"},
    {"\xF0\x9F\xBF\xBE", "holds the non-character U+1FFFE"},
    {"\xF4\x8F\xBF\xBF", "holds the non-character U+10FFFF"},
    {"\xED\xA0\x80", "is not UTF-8"},
    {"caf\xC3", "is not UTF-8"},
};

constexpr std::string_view kSendable[] = {
    "a",
    " ~",
    "caf\xC3\xA9",
    "\xC2\xA0",          // U+00A0, behind the second range of controls
    "\xEF\xB7\x8F",      // U+FDCF and...
    "\xEF\xB7\xB0",      // ...U+FDF0, around the block
    "\xEF\xBB\xBF",      // U+FEFF, a mark of byte order
    "\xEF\xBF\xBD",      // U+FFFD
    "\xF0\x9F\x98\x80",  // U+1F600
};

TEST(SendableNames, AreRefusedForWhatBrokersMayEndTheConnectionOn) {
    for (const RefusedText& refused : kRefused) {
        EXPECT_FALSE(isSendableText(refused.text)) << refused.reason;
        EXPECT_FALSE(isSendableTopicName(refused.text)) << refused.reason;
        EXPECT_FALSE(isSendableTopicFilter(refused.text)) << refused.reason;
        EXPECT_EQ(reasonNotSendable(refused.text), refused.reason);
    }
    for (const std::string_view text : kSendable) {
        EXPECT_TRUE(isSendableText(text)) << text;
        EXPECT_TRUE(isSendableTopicName(text)) << text;
        EXPECT_TRUE(isSendableTopicFilter(text)) << text;
    }
}

TEST(SendableNames, AreAtMostAsLongAsMQTTCanSay) {
    EXPECT_TRUE(isSendableTopicFilter(std::string(65'535, 'x')));
    const std::string tooLong(65'536, 'x');
    EXPECT_FALSE(isSendableTopicFilter(tooLong));
    EXPECT_EQ(reasonNotSendable(tooLong), "has 65536 octets, more than the 65535 that MQTT can say");
}

TEST(SendableNames, KeepTheRulesOfNamesAndFilters) {
    EXPECT_TRUE(isSendableTopicFilter("a/#"));
    EXPECT_FALSE(isSendableTopicName("a/#"));
    EXPECT_FALSE(isSendableTopicFilter("a/#/b"));
    EXPECT_EQ(reasonNotSendable("a/#/b"), "holds a wildcard where none may stand");
    EXPECT_EQ(reasonNotSendable(""), "is empty");
}

TEST(SendableNames, AreShownInOneShortLine) {
    EXPECT_EQ(shownName("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(shownName("a\nb\0c\xFF"sv), "a<U+000A>b<U+0000>c\xEF\xBF\xBD");
    EXPECT_EQ(shownName("a\xEF\xBF\xBE"), "a<U+FFFE>");
    EXPECT_EQ(shownName(std::string(500, 'x')), std::string(120, 'x') + "...");
    EXPECT_EQ(
        makeNotSendableError("a\x07").localizedDescription(),
        "the topic 'a<U+0007>' cannot be sent, because brokers may end the connection on it: it holds the "
        "control character U+0007");
}

TEST(SendableNames, OfAConnectAreRefusedAsABrokerWould) {
    MQTTSessionParameters parameters;
    parameters.clientId = "shop/alice/d1";
    parameters.userName = "user";
    EXPECT_TRUE(isSendableConnect(parameters));
    parameters.password = "\xFF\x01 a password is octets";
    EXPECT_TRUE(isSendableConnect(parameters));
    parameters.password = std::string(65'536, 'p');
    EXPECT_FALSE(isSendableConnect(parameters));
    EXPECT_EQ(
        makeIdentityError(parameters).localizedDescription(),
        "connection not attempted: not authorized: the password has more octets than the 65535 that MQTT "
        "can say");
    parameters.userName = "\xFF";
    EXPECT_FALSE(isSendableConnect(parameters));
    EXPECT_EQ(makeIdentityError(parameters).localizedDescription(),
              "connection not attempted: not authorized: the user name '\xEF\xBF\xBD' is not UTF-8");
    parameters.clientId = "shop/ali\x01/d1";
    EXPECT_FALSE(isSendableConnect(parameters));
    const NSError error = makeIdentityError(parameters);
    EXPECT_EQ(error.code, 5);
    EXPECT_EQ(
        error.localizedDescription(),
        "connection not attempted: not authorized: the client id 'shop/ali<U+0001>/d1' holds the control "
        "character U+0001");
    parameters.clientId = "";
    parameters.userName = "user";
    parameters.password = "";
    EXPECT_FALSE(isSendableConnect(parameters)) << "a kept session needs a client id";
    EXPECT_EQ(makeIdentityError(parameters).localizedDescription(),
              "connection not attempted: not authorized: the client id '' is empty");
    parameters.cleanSession = true;
    EXPECT_TRUE(isSendableConnect(parameters));
}

}  // namespace
}  // namespace xel
