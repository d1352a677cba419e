#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/err.h>

#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Linux/Push/WebPushDecryption.h"
#include "tests/unit/Linux/Push/WebPushSender.h"

namespace xel {
namespace {

using namespace std::string_literals;

/// The example of RFC 8291 section 5.
constexpr const char* kExample =
    "DGv6ra1nlYgDCS1FRnbzlwAAEABBBP4z9KsN6nGRTbVYI_c7VJSPQTBtkgcy27mlmlMoZIIgDll6e3vCYLocInmYWAmS6TlzAC8wEqKK"
    "6PBru3jl7A_yl95bQpu6cVPTpK4Mqgkf1CXztLVBSt2Ks3oZwbuwXPXLWyouBWLVWGNWQexSgSxsj_Qulcy4a-fN";
constexpr const char* kExampleContent = "When I grow up, I want to be a watermelon";

WebPushKeys exampleKeys() {
    return WebPushKeys::fromStored(*octetsOfBase64URL("q1dXpw3UpT5VOmu_cf_v6ih07Aems3njxI-JWgLcM94"),
                                   *octetsOfBase64URL("BTBZMqHH6r4Tts7J_aSIgg"))
        .value();
}

/// The content, or the error's code.
std::string outcomeOf(const WebPushKeys& keys, const Data& message) {
    // An exact copy on the heap: a look beyond it is noticed.
    const auto content = decryptWebPush(keys, Data(message));
    EXPECT_EQ(ERR_peek_error(), 0U) << "nothing is left behind for others to find";
    if (content) {
        return "content " + content.value();
    }
    EXPECT_EQ(content.error().domain, kWebPushErrorDomain);
    return content.error().code == static_cast<std::int64_t>(WebPushErrorCode::BadMessage) ? "bad"
           : content.error().code == static_cast<std::int64_t>(WebPushErrorCode::NotForUs) ? "not for us"
                                                                                           : "odd";
}

TEST(WebPushDecryption, ReadsTheExampleOfTheStandard) {
    EXPECT_EQ(outcomeOf(exampleKeys(), *octetsOfBase64URL(kExample)), "content "s + kExampleContent);
}

TEST(WebPushDecryption, RefusesEveryChangedBit) {
    const auto keys = exampleKeys();
    const Data example = *octetsOfBase64URL(kExample);
    for (std::size_t at = 0; at < example.size(); ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            Data changed = example;
            changed[at] = static_cast<std::uint8_t>(changed[at] ^ (1U << bit));
            // A larger record size is no lie about a message of one record.
            const bool isRecordSize = at >= 16 && at < 20;
            const auto outcome = outcomeOf(keys, changed);
            EXPECT_TRUE(isRecordSize ? outcome != "odd" : outcome == "bad" || outcome == "not for us")
                << at << " " << bit << ": " << outcome;
        }
    }
}

TEST(WebPushDecryption, RefusesEveryCut) {
    const auto keys = exampleKeys();
    const Data example = *octetsOfBase64URL(kExample);
    for (std::size_t size = 0; size < example.size(); ++size) {
        const Data cut(example.begin(), example.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(outcomeOf(keys, cut), size <= 86 + 16 ? "bad" : "not for us") << size;
    }
}

TEST(WebPushDecryption, RefusesWhatItsHeaderGivesAway) {
    const Data example = *octetsOfBase64URL(kExample);
    const auto recordSize = [](std::uint32_t size) {
        return [size](Data& message) {
            for (unsigned i = 0; i < 4; ++i) {
                message[16 + i] = static_cast<std::uint8_t>((size >> (24U - 8U * i)) & 0xFFU);
            }
        };
    };
    const auto octet = [](std::size_t at, std::uint8_t value) {
        return [at, value](Data& message) { message[at] = value; };
    };
    const auto record = static_cast<std::uint32_t>(example.size() - 86);
    struct Row {
        std::string what;
        std::function<void(Data&)> change;
        std::string outcome;
    };
    const std::string good = "content "s + kExampleContent;
    const std::vector<Row> table = {
        {"record size 0", recordSize(0), "bad"},
        {"record size 17", recordSize(17), "bad"},
        {"record size 18: more records than one", recordSize(18), "bad"},
        {"record size one short: two records", recordSize(record - 1), "bad"},
        {"record size exact", recordSize(record), good},
        {"record size of the largest number", recordSize(0xFFFFFFFFU), good},
        {"key length 0", octet(20, 0), "bad"},
        {"key length 64", octet(20, 64), "bad"},
        {"key length 66", octet(20, 66), "bad"},
        {"key length 255", octet(20, 255), "bad"},
        {"a compressed point's mark", octet(21, 2), "bad"},
        {"a hybrid point's mark", octet(21, 6), "bad"},
        {"a point off the curve", octet(85, static_cast<std::uint8_t>(example[85] ^ 1U)), "bad"},
        {"the point 0 0", [](Data& m) { std::fill(m.begin() + 22, m.begin() + 86, std::uint8_t{0}); }, "bad"},
        {"coordinates beyond the field",
         [](Data& m) { std::fill(m.begin() + 22, m.begin() + 86, std::uint8_t{0xFF}); }, "bad"},
        {"another salt", octet(0, static_cast<std::uint8_t>(example[0] ^ 1U)), "not for us"},
        {"a changed tag", octet(example.size() - 1, static_cast<std::uint8_t>(example.back() ^ 1U)),
         "not for us"},
    };
    for (const auto& row : table) {
        Data message = example;
        row.change(message);
        EXPECT_EQ(outcomeOf(exampleKeys(), message), row.outcome) << row.what;
    }
}

TEST(WebPushDecryption, WantsOneLastRecord) {
    const auto keys = exampleKeys();
    struct Row {
        std::string what;
        std::string content;
        test::WebPushSending sending;
        std::string outcome;
    };
    const std::vector<Row> table = {
        {"as usual", "hello", {}, "content hello"},
        {"no content", "", {}, "content "},
        {"padding", "hello", {4096, "\x02\0\0\0"s}, "content hello"},
        {"content that ends in zeros", "a\0\0"s, {}, "content a\0\0"s},
        {"content that ends like padding", "a\x02\0"s, {}, "content a\x02\0"s},
        {"octets of every kind", "\xFF\0\x01"s, {}, "content \xFF\0\x01"s},
        {"the delimiter of an earlier record", "hello", {4096, "\x01"}, "bad"},
        {"it, padded", "hello", {4096, "\x01\0\0"s}, "bad"},
        {"another delimiter", "hello", {4096, "\x03"}, "bad"},
        {"no delimiter", "hello", {4096, ""}, "bad"},
        {"nothing but padding", "", {4096, "\0\0\0"s}, "bad"},
        {"the smallest record size that there is", "", {18, "\x02"}, "content "},
    };
    for (const auto& row : table) {
        const auto message =
            test::encryptedForWebPush(keys.publicKey(), keys.authSecret(), row.content, row.sending);
        EXPECT_EQ(outcomeOf(keys, message), row.outcome) << row.what;
    }
}

TEST(WebPushDecryption, TakesAsMuchAsAMessageMayHold) {
    const auto keys = exampleKeys();
    const std::string most(3993, 'x');
    const auto message = test::encryptedForWebPush(keys.publicKey(), keys.authSecret(), most);
    EXPECT_EQ(message.size(), 4096U);
    EXPECT_EQ(outcomeOf(keys, message), "content " + most);
    const auto larger = test::encryptedForWebPush(keys.publicKey(), keys.authSecret(), most + "x");
    EXPECT_EQ(outcomeOf(keys, larger), "bad");
}

TEST(WebPushDecryption, OpensWithTheRightKeysOnly) {
    const auto keys = exampleKeys();
    const auto message = test::encryptedForWebPush(keys.publicKey(), keys.authSecret(), "hello");
    const auto otherSecret = WebPushKeys::fromStored(keys.privateKey(), Data(16, 1)).value();
    EXPECT_EQ(outcomeOf(otherSecret, message), "not for us");
    EXPECT_EQ(outcomeOf(WebPushKeys::make().value(), message), "not for us");
    EXPECT_EQ(outcomeOf(keys, message), "content hello");
}

}  // namespace
}  // namespace xel
