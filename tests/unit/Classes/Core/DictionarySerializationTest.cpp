#include <limits>

#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kComplaint = "#### Could not serialization dictionary to Data ####";

Dictionary deep(int levels) {
    Dictionary dictionary;
    for (int i = 1; i < levels; ++i) {
        dictionary = Dictionary{{"a", std::move(dictionary)}};
    }
    return dictionary;
}

class DictionarySerializationTest : public RoomsTest {};

TEST_F(DictionarySerializationTest, PrintsOneMemberALineWithTwoBlanksAnIndent) {
    switchLogOn();
    const Dictionary dictionary{{"a", 1}, {"b", Dictionary{{"c", "d"}}}};
    EXPECT_EQ(serializeToDict(dictionary, rooms_->log),
              "{\n  \"a\" : 1,\n  \"b\" : {\n    \"c\" : \"d\"\n  }\n}");
    EXPECT_EQ(toJsonString(dictionary, rooms_->log), serializeToDict(dictionary, rooms_->log));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(DictionarySerializationTest, AnswersNothingForNothing) {
    switchLogOn();
    EXPECT_EQ(serializeToDict(std::optional<Dictionary>(), rooms_->log), std::nullopt);
    EXPECT_EQ(toJsonString(std::nullopt, rooms_->log), std::nullopt);
    EXPECT_THAT(takeLog(), IsEmpty()) << "a missing dictionary is no failure";
}

TEST_F(DictionarySerializationTest, RefusesWhatJSONCannotCarry) {
    switchLogOn();
    const Dictionary unusable[] = {
        {{"a", std::numeric_limits<double>::quiet_NaN()}},
        {{"a", std::numeric_limits<double>::infinity()}},
        {{"a", Array{Value(-std::numeric_limits<double>::infinity())}}},
        {{"a", "\xC3\x28"}},
        {{"a\xFF", 1}},
        {{"a", "\xED\xA0\x80"}},
        {{"a", Data{1}}},
        {{"a", dateFromSecondsSince1970(1)}},
        deep(65),
    };
    for (const auto& dictionary : unusable) {
        EXPECT_EQ(serializeToDict(dictionary, rooms_->log), std::nullopt);
        EXPECT_THAT(takeLog(), ElementsAre(kComplaint));
        EXPECT_EQ(toJsonString(dictionary, rooms_->log), "") << "no octets read as no text";
        EXPECT_THAT(takeLog(), ElementsAre(kComplaint));
    }
    EXPECT_TRUE(serializeToDict(deep(64), rooms_->log).has_value());
}

TEST_F(DictionarySerializationTest, CarriesEveryTextThatIsOne) {
    for (const std::string text : {"", "\"\\\n", "gr\xC3\xBC\xC3\x9F", "\xF0\x9F\x90\xA7"}) {
        const auto octets = serializeToDict(Dictionary{{"a", text}}, rooms_->log);
        ASSERT_TRUE(octets.has_value());
        const auto read = machine_.json->JSONObjectWithData(*octets);
        ASSERT_TRUE(read.isOk());
        EXPECT_EQ(*read.value().asDictionary()->find("a"), Value(text));
    }
    const std::string withNul("a\0b", 3);
    EXPECT_EQ(serializeToDict(Dictionary{{"a", withNul}}, rooms_->log), "{\n  \"a\" : \"a\\u0000b\"\n}");
}

}  // namespace
}  // namespace xel
