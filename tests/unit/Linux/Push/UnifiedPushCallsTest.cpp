#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Push/UnifiedPushCalls.h"
#include "XelPushClient/Linux/Push/WebPushDecryption.h"

namespace xel {
namespace {

using sdbus::Variant;

Variant text(const std::string& value) {
    return Variant(value);
}

TEST(UnifiedPushCalls, ReadAMessage) {
    const Data octets{1, 2, 3};
    const auto message = messageOfCall(
        {{"token", text("T")}, {"message", Variant(octets)}, {"id", text("7")}, {"x", text("y")}});
    ASSERT_TRUE(message);
    EXPECT_EQ(message->token, "T");
    EXPECT_EQ(message->message, octets);
    EXPECT_EQ(message->id, "7");
    EXPECT_EQ(messageOfCall({{"token", text("T")}, {"message", Variant(octets)}, {"id", Variant(7)}})->id,
              "");
}

TEST(UnifiedPushCalls, RefuseWhatIsNoMessage) {
    const std::vector<UnifiedPushArguments> cases = {
        {},
        {{"token", text("T")}},
        {{"message", Variant(Data{1})}},
        {{"token", text("")}, {"message", Variant(Data{1})}},
        {{"token", text(std::string(101, 'x'))}, {"message", Variant(Data{1})}},
        {{"token", Variant(Data{1})}, {"message", Variant(Data{1})}},
        {{"token", text("T")}, {"message", text("x")}},
        {{"token", text("T")}, {"message", Variant(Data())}},
        {{"token", text("T")}, {"message", Variant(Data(kLargestWebPushMessage + 1))}},
    };
    for (const auto& arguments : cases) {
        EXPECT_FALSE(messageOfCall(arguments)) << arguments.size();
    }
}

TEST(UnifiedPushCalls, ReadAnEndpoint) {
    const auto endpoint =
        endpointOfCall({{"token", text("T")}, {"endpoint", text("https://push.example.org/x")}});
    ASSERT_TRUE(endpoint);
    EXPECT_EQ(endpoint->token, "T");
    EXPECT_EQ(endpoint->endpoint, "https://push.example.org/x");
    EXPECT_FALSE(endpointOfCall({{"token", text("T")}, {"endpoint", text("file:///x")}}));
    EXPECT_FALSE(endpointOfCall({{"token", text("T")}, {"endpoint", Variant(true)}}));
    EXPECT_FALSE(endpointOfCall({{"endpoint", text("https://push.example.org/x")}}));
}

TEST(UnifiedPushCalls, TellWhyARegistrationFailed) {
    EXPECT_FALSE(refusalOfAnswer({{"success", text("REGISTRATION_SUCCEEDED")}}));
    const auto known =
        refusalOfAnswer({{"success", text("REGISTRATION_FAILED")}, {"reason", text("NETWORK")}});
    ASSERT_TRUE(known);
    EXPECT_EQ(known->localizedDescription(), "The distributor does not register the host: NETWORK");
    for (const UnifiedPushArguments& answer :
         {UnifiedPushArguments(), UnifiedPushArguments{{"success", Variant(true)}},
          UnifiedPushArguments{{"reason", text("words of its own")}}}) {
        const auto refusal = refusalOfAnswer(answer);
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->localizedDescription(), "The distributor does not register the host");
    }
}

}  // namespace
}  // namespace xel
