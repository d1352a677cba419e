#include <set>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Linux/Push/WebPushKeys.h"

namespace xel {
namespace {

const Data kSecret(WebPushKeys::kAuthSecretSize, 7);

TEST(WebPushKeys, AreNewEachTime) {
    std::set<Data> seen;
    for (int i = 0; i < 20; ++i) {
        const auto keys = WebPushKeys::make();
        ASSERT_TRUE(keys.isOk());
        EXPECT_EQ(keys.value().publicKey().size(), 65U);
        EXPECT_EQ(keys.value().publicKey().front(), 4) << "an uncompressed point";
        EXPECT_EQ(keys.value().privateKey().size(), 32U);
        EXPECT_EQ(keys.value().authSecret().size(), 16U);
        EXPECT_TRUE(seen.insert(keys.value().publicKey()).second);
        EXPECT_TRUE(seen.insert(keys.value().authSecret()).second);
    }
}

TEST(WebPushKeys, ComeBackFromWhatWasKept) {
    const auto keys = WebPushKeys::make();
    ASSERT_TRUE(keys.isOk());
    const auto again = WebPushKeys::fromStored(keys.value().privateKey(), keys.value().authSecret());
    ASSERT_TRUE(again.isOk());
    EXPECT_EQ(again.value().publicKey(), keys.value().publicKey());
    EXPECT_EQ(again.value().authSecret(), keys.value().authSecret());
}

TEST(WebPushKeys, DeriveThePublicKey) {
    // RFC 8291 section 5.
    const auto keys =
        WebPushKeys::fromStored(*octetsOfBase64URL("q1dXpw3UpT5VOmu_cf_v6ih07Aems3njxI-JWgLcM94"), kSecret);
    ASSERT_TRUE(keys.isOk());
    EXPECT_EQ(base64URLOf(keys.value().publicKey()),
              "BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH6SRpkNtoIAiw4");
}

TEST(WebPushKeys, AreRefusedWhenTheyAreNone) {
    const Data order = *octetsOfBase64URL("_____wAAAAD__________7zm-q2nF56E87nKwvxjJVE");
    Data belowOrder = order;
    --belowOrder.back();
    const Data good(32, 1);
    struct Row {
        std::string what;
        Data privateKey;
        Data authSecret;
        bool isGood;
    };
    const std::vector<Row> table = {
        {"good", good, kSecret, true},
        {"zero", Data(32, 0), kSecret, false},
        {"the curve's order", order, kSecret, false},
        {"one below it", belowOrder, kSecret, true},
        {"beyond it", Data(32, 0xFF), kSecret, false},
        {"no key", {}, kSecret, false},
        {"a short key", Data(31, 1), kSecret, false},
        {"a long key", Data(33, 1), kSecret, false},
        {"no secret", good, {}, false},
        {"a short secret", good, Data(15, 1), false},
        {"a long secret", good, Data(17, 1), false},
    };
    for (const auto& row : table) {
        const auto keys = WebPushKeys::fromStored(row.privateKey, row.authSecret);
        EXPECT_EQ(keys.isOk(), row.isGood) << row.what;
        if (!keys.isOk()) {
            EXPECT_EQ(keys.error().domain, kWebPushErrorDomain) << row.what;
            EXPECT_EQ(keys.error().code, static_cast<std::int64_t>(WebPushErrorCode::BadKeys)) << row.what;
        }
    }
}

}  // namespace
}  // namespace xel
