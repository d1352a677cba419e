#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/ValueCodec.h"

namespace xel {
namespace {

std::string encoded(const Value& value) {
    std::string octets;
    EXPECT_TRUE(appendEncodedValue(value, octets));
    return octets;
}

Value sample() {
    return Dictionary{{"text", "gr\xC3\xBC\xC3\x9F"},
                      {"flags", Array{Value(true), Value(false), Value()}},
                      {"small", -1},
                      {"large", std::numeric_limits<std::int64_t>::min()},
                      {"real", -0.0},
                      {"octets", Data{0, 1, 255}},
                      {"date", dateFromSecondsSince1970(1772357400.25)},
                      {"inner", Dictionary{{"a", Array{}}, {"b", Dictionary{}}}}};
}

Value nested(std::size_t levels) {
    Value value = 1;
    for (std::size_t i = 0; i < levels; ++i) {
        value = Array{std::move(value)};
    }
    return value;
}

TEST(ValueCodec, BringsEveryKindBackEqual) {
    const std::int64_t integers[] = {0,
                                     1,
                                     -1,
                                     63,
                                     64,
                                     -64,
                                     -65,
                                     127,
                                     128,
                                     1LL << 40U,
                                     std::numeric_limits<std::int64_t>::max(),
                                     std::numeric_limits<std::int64_t>::min()};
    for (const std::int64_t integer : integers) {
        EXPECT_EQ(decodeValue(encoded(integer)).value(), Value(integer));
    }
    EXPECT_EQ(decodeValue(encoded(sample())).value(), sample());
    EXPECT_TRUE(std::isnan(*decodeValue(encoded(std::nan(""))).value().number()));
}

TEST(ValueCodec, IsCompact) {
    Array ids;
    for (int i = 0; i < 25; ++i) {
        ids.push_back(Value(std::string(36, 'i')));
    }
    EXPECT_EQ(encoded(ids).size(), 3U + 25U * 38U);
}

TEST(ValueCodec, RefusesEveryPieceOfAValueAndWhatStandsBehindIt) {
    const std::string whole = encoded(sample());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(decodeValue(std::string_view(whole).substr(0, length)).isOk()) << length;
    }
    EXPECT_FALSE(decodeValue(whole + '\0').isOk());
}

TEST(ValueCodec, RefusesWhatNoEncoderWrites) {
    const std::pair<const char*, std::string> cases[] = {
        {"an unknown version", std::string("\x02\x00", 2)},
        {"an unknown tag", "\x01\x0A"},
        {"a negative tag", "\x01\xFF"},
        {"an overlong number", std::string("\x01\x03\x80\x00", 4)},
        {"a number of more than 64 bits", "\x01\x03\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x02"},
        {"a number without an end", "\x01\x03\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},
        {"a length beyond what is there", "\x01\x05\x05text"},
        {"a huge length", "\x01\x05\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"},
        {"a huge count", "\x01\x08\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"},
        {"a huge count of entries", "\x01\x09\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"},
        {"a key given twice", std::string("\x01\x09\x02\x01k\x00\x01k\x00", 9)},
    };
    for (const auto& [what, octets] : cases) {
        const auto decoded = decodeValue(octets);
        EXPECT_FALSE(decoded.isOk()) << what;
    }
}

TEST(ValueCodec, BoundsTheNestingBothWays) {
    EXPECT_EQ(decodeValue(encoded(nested(kDeepestStoredValue))).value(), nested(kDeepestStoredValue));
    std::string octets = "before";
    EXPECT_FALSE(appendEncodedValue(nested(kDeepestStoredValue + 1), octets));
    EXPECT_EQ(octets, "before");
    std::string deep = "\x01";
    for (int i = 0; i < 1'000'000; ++i) {
        deep += "\x08\x01";
    }
    EXPECT_FALSE(decodeValue(deep).isOk());
}

TEST(ValueCodec, SurvivesEveryFlippedBit) {
    const std::string whole = encoded(sample());
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ (1U << bit));
            const auto decoded = decodeValue(damaged);
            if (decoded) {
                // What still reads as a value is one: it can be written again.
                std::string again;
                EXPECT_TRUE(appendEncodedValue(decoded.value(), again));
            }
        }
    }
}

}  // namespace
}  // namespace xel
