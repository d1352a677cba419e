#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "tests/FirstAndLast.h"

namespace xel::contract {

/// Keeps the entries that it is handed.
class EntryRecorder final : public JSONEntryReader {
public:
    void readEntry(std::string_view key, JSONEntryValue& value) override {
        entries.emplace_back(key, value.take());
    }

    std::vector<std::pair<std::string, Value>> entries;
};

/// What every JSON reader owes. A subject is default constructible and has
///     NSJSONSerialization& json();
template <class Subject>
class NSJSONSerializationContract : public ::testing::Test {
protected:
    [[nodiscard]] Result<Value> read(std::string_view text) {
        return subject_.json().JSONObjectWithData(text);
    }

    static std::string nested(int levels) {
        const auto count = static_cast<std::size_t>(levels);
        return std::string(count, '[') + std::string(count, ']');
    }

    struct Case {
        std::string_view text;
        Value value;
    };

    Subject subject_;
};

TYPED_TEST_SUITE_P(NSJSONSerializationContract);

TYPED_TEST_P(NSJSONSerializationContract, ReadsEveryKindOfValueAtTheTop) {
    const std::vector<typename TestFixture::Case> cases{
        {"null", nullptr},
        {"true", true},
        {"false", false},
        {" \t\r\n7 \n", 7},
        {"\"text\"", "text"},
        {"\"\"", ""},
        {"[]", Array{}},
        {"{}", Dictionary{}},
        {"[1,[2,{\"a\":null}]]", Array{Value(1), Value(Array{Value(2), Value(Dictionary{{"a", nullptr}})})}},
        {R"({"id":"m1","n":1.5,"on":true})", Dictionary{{"id", "m1"}, {"n", 1.5}, {"on", true}}},
    };
    for (const auto& [text, value] : cases) {
        const auto read = this->read(text);
        ASSERT_TRUE(read.isOk()) << text;
        EXPECT_EQ(read.value(), value) << text;
    }
}

TYPED_TEST_P(NSJSONSerializationContract, ReadsWholeNumbersOf64BitsAsIntegersAndOthersAsDoubles) {
    const std::vector<typename TestFixture::Case> cases{
        {"0", std::int64_t{0}},
        {"-1", -1},
        {"9223372036854775807", std::int64_t{9223372036854775807}},
        {"-9223372036854775808", std::int64_t{-9223372036854775807 - 1}},
        {"9223372036854775808", 9223372036854775808.0},
        {"18446744073709551615", 18446744073709551615.0},
        {"18446744073709551616", 18446744073709551616.0},
        {"-9223372036854775809", -9223372036854775809.0},
        {"123456789012345678901234567890", 123456789012345678901234567890.0},
        {"1.0", 1.0},
        {"1e3", 1000.0},
        {"-2.5E-2", -0.025},
        {"1772357400123", std::int64_t{1772357400123}},
    };
    for (const auto& [text, value] : cases) {
        const auto read = this->read(text);
        ASSERT_TRUE(read.isOk()) << text;
        EXPECT_EQ(read.value().isInteger(), value.isInteger()) << text;
        EXPECT_EQ(read.value(), value) << text;
    }
}

TYPED_TEST_P(NSJSONSerializationContract, ReadsEscapes) {
    const std::vector<typename TestFixture::Case> cases{
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("\u0041\u00fc\u20AC")", "A\xC3\xBC\xE2\x82\xAC"},
        {R"("\ud83d\udc27")", "\xF0\x9F\x90\xA7"},
        {R"("a\u0000b")", std::string("a\0b", 3)},
        {"\"gr\xC3\xBC\xC3\x9F\"", "gr\xC3\xBC\xC3\x9F"},
        {R"({"\u0061b":1})", Dictionary{{"ab", 1}}},
    };
    for (const auto& [text, value] : cases) {
        const auto read = this->read(text);
        ASSERT_TRUE(read.isOk()) << text;
        EXPECT_EQ(read.value(), value) << text;
    }
}

TYPED_TEST_P(NSJSONSerializationContract, KeepsTheOrderOfKeysAndTheLastOfEqualOnes) {
    const auto read = this->read(R"({"z":1,"a":2,"m":3,"a":4})");
    ASSERT_TRUE(read.isOk());
    const auto* object = read.value().asDictionary();
    ASSERT_NE(object, nullptr);
    std::string keys;
    for (const auto& [key, value] : *object) {
        keys += key;
    }
    EXPECT_EQ(keys, "zam");
    ASSERT_NE(object->find("a"), nullptr);
    EXPECT_EQ(*object->find("a"), Value(4));
}

TYPED_TEST_P(NSJSONSerializationContract, AnswersAnErrorForEverythingElse) {
    const std::vector<std::string> texts{"",
                                         "  ",
                                         "{",
                                         "}",
                                         "[",
                                         "[1",
                                         "[1,",
                                         "[1,]",
                                         "[,1]",
                                         "{\"a\"}",
                                         "{\"a\":}",
                                         "{\"a\":1,}",
                                         "{a:1}",
                                         "{1:2}",
                                         "{'a':1}",
                                         "nul",
                                         "tru",
                                         "NULL",
                                         "True",
                                         "nullx",
                                         "1 2",
                                         "[] []",
                                         "{}x",
                                         "// comment\n1",
                                         "[1 2]",
                                         "{\"a\" 1}",
                                         "01",
                                         "-",
                                         "-01",
                                         "+1",
                                         "1.",
                                         ".5",
                                         "1e",
                                         "1e+",
                                         "0x10",
                                         "NaN",
                                         "Infinity",
                                         "-Infinity",
                                         "1a",
                                         "\"",
                                         "\"abc",
                                         "\"\\\"",
                                         "\"\\x\"",
                                         "\"\\u12\"",
                                         "\"\\u12g4\"",
                                         "\"\\ud800\"",
                                         "\"\\udc00\"",
                                         "\"\\ud800\\u0041\"",
                                         "\"\\ud800\\ud800\"",
                                         "\"a\nb\"",
                                         "\"a\tb\"",
                                         std::string("\"a\0b\"", 5),
                                         std::string("1\0", 2),
                                         "\xEF\xBB\xBF{}",
                                         "1,",
                                         ":1"};
    for (const auto& text : texts) {
        EXPECT_FALSE(this->read(text).isOk()) << "\"" << text << "\"";
    }
}

TYPED_TEST_P(NSJSONSerializationContract, RefusesOctetsThatAreNotUTF8) {
    const std::vector<std::string> octets{
        "\xFF",             // no such octet
        "\x80",             // a continuation that continues nothing
        "\xC3",             // cut short
        "\xC3(",            // not continued
        "\xC0\xAF",         // longer than the shortest form
        "\xE0\x80\xAF",     // likewise
        "\xED\xA0\x80",     // a surrogate
        "\xF4\x90\x80\x80"  // above U+10FFFF
    };
    for (const auto& octet : octets) {
        EXPECT_FALSE(this->read("\"" + octet + "\"").isOk());
        EXPECT_FALSE(this->read("{\"" + octet + "\":1}").isOk());
        EXPECT_FALSE(this->read("[1]" + octet).isOk());
    }
}

TYPED_TEST_P(NSJSONSerializationContract, Reads64LevelsAndNotOneMore) {
    EXPECT_TRUE(this->read(this->nested(64)).isOk());
    EXPECT_FALSE(this->read(this->nested(65)).isOk());
    std::string objects;
    for (int i = 0; i < 64; ++i) {
        objects += "{\"a\":";
    }
    const std::string closing(64, '}');
    EXPECT_TRUE(this->read(objects + "1" + closing).isOk());
    EXPECT_FALSE(this->read(objects + "{}" + closing).isOk());
    EXPECT_FALSE(this->read(std::string(1'000'000, '[')).isOk());
}

TYPED_TEST_P(NSJSONSerializationContract, ReadsOneDocumentAfterAnother) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(this->read("{\"broken\":").isOk());
        const auto read = this->read("{\"n\":" + std::to_string(i) + "}");
        ASSERT_TRUE(read.isOk());
        EXPECT_EQ(read.value(), Value(Dictionary{{"n", i}}));
    }
    const std::string large = "[\"" + std::string(300'000, 'x') + "\"]";
    const auto read = this->read(large);
    ASSERT_TRUE(read.isOk());
    EXPECT_EQ(firstOf(*read.value().asArray()).asString()->size(), 300'000U);
}

TYPED_TEST_P(NSJSONSerializationContract, ReadsAViewIntoLargerMemoryToItsEndOnly) {
    const std::string memory = "{\"a\":12345}garbage";
    EXPECT_TRUE(this->read(std::string_view(memory).substr(0, 11)).isOk());
    EXPECT_FALSE(this->read(std::string_view(memory).substr(0, 10)).isOk());
    const auto number = this->read(std::string_view(memory).substr(5, 2));
    ASSERT_TRUE(number.isOk());
    EXPECT_EQ(number.value(), Value(12));
}

TYPED_TEST_P(NSJSONSerializationContract, ReadsManyKeysInReasonableTime) {
    std::string text = "{";
    for (int i = 0; i < 20'000; ++i) {
        text += (i == 0 ? "\"k" : ",\"k") + std::to_string(i) + "\":" + std::to_string(i);
    }
    const auto read = this->read(text + "}");
    ASSERT_TRUE(read.isOk());
    const auto* object = read.value().asDictionary();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->size(), 20'000U);
    EXPECT_EQ(*object->find("k19999"), Value(19'999));
}

TYPED_TEST_P(NSJSONSerializationContract, HandsTheEntriesOfAnObjectOverInTheirOrder) {
    EntryRecorder recorder;
    EXPECT_TRUE(this->subject_.json().readObjectWithData(
        R"({"z":1,"a":{"deep":[true]},"text":"gr\u00fc\u00df"})", recorder));
    ASSERT_EQ(recorder.entries.size(), 3U);
    EXPECT_EQ(recorder.entries[0], std::pair(std::string("z"), Value(1)));
    EXPECT_EQ(recorder.entries[1],
              std::pair(std::string("a"), Value(Dictionary{{"deep", Array{Value(true)}}})));
    EXPECT_EQ(recorder.entries[2], std::pair(std::string("text"), Value("gr\xC3\xBC\xC3\x9F")));
}

/// What each entry says of itself before it is taken whole: "key text t", "key number n", "key true".
class EntryDescriber final : public JSONEntryReader {
public:
    void readEntry(std::string_view key, JSONEntryValue& value) override {
        std::string line(key);
        if (const auto text = value.text()) {
            line += " text " + std::string(*text);
        }
        if (const auto number = value.number()) {
            line += " number " + std::to_string(*number);
        }
        lines.push_back(line + (value.truth() ? " true" : ""));
    }

    std::vector<std::string> lines;
};

TYPED_TEST_P(NSJSONSerializationContract, SaysOfAnEntryWhatItIs) {
    EntryDescriber describer;
    EXPECT_TRUE(this->subject_.json().readObjectWithData(
        R"({"a":"t\n","b":"","c":7,"d":-0.5,"e":0,"f":true,"g":false,"h":null,"i":[1],"j":{"k":1},)"
        R"("l":18446744073709551615,"m":99999999999999999999})",
        describer));
    EXPECT_EQ(describer.lines,
              (std::vector<std::string>{"a text t\n", "b text ", "c number 7.000000 true",
                                        "d number -0.500000 true", "e number 0.000000", "f true", "g", "h",
                                        "i", "j", "l number 18446744073709551616.000000 true",
                                        "m number 100000000000000000000.000000 true"}));
}

TYPED_TEST_P(NSJSONSerializationContract, HandsTheLastOfEqualKeysOverLast) {
    EntryRecorder recorder;
    EXPECT_TRUE(this->subject_.json().readObjectWithData(R"({"a":1,"a":2})", recorder));
    ASSERT_FALSE(recorder.entries.empty());
    EXPECT_EQ(recorder.entries.back(), std::pair(std::string("a"), Value(2)));
}

TYPED_TEST_P(NSJSONSerializationContract, HandsNothingOverOfWhatIsNoObject) {
    for (const std::string_view text : {"", "7", "[1]", "null", "{\"a\":1", "{\"a\":1}{}", "{\"a\":\xFF}"}) {
        EntryRecorder recorder;
        EXPECT_FALSE(this->subject_.json().readObjectWithData(text, recorder)) << text;
        EXPECT_TRUE(recorder.entries.empty()) << text;
    }
}

TYPED_TEST_P(NSJSONSerializationContract, RefusesAnObjectWhoseEntriesAreNestedTooDeep) {
    EntryRecorder recorder;
    EXPECT_TRUE(this->subject_.json().readObjectWithData("{\"a\":" + this->nested(63) + "}", recorder));
    EXPECT_FALSE(this->subject_.json().readObjectWithData("{\"a\":" + this->nested(64) + "}", recorder));
    // Also where the reader does not take them.
    EntryDescriber describer;
    EXPECT_TRUE(this->subject_.json().readObjectWithData("{\"a\":" + this->nested(63) + "}", describer));
    EXPECT_FALSE(this->subject_.json().readObjectWithData("{\"a\":" + this->nested(64) + "}", describer));
    EXPECT_FALSE(
        this->subject_.json().readObjectWithData(R"({"a":{"b":)" + this->nested(63) + "}}", describer));
}

REGISTER_TYPED_TEST_SUITE_P(NSJSONSerializationContract, ReadsEveryKindOfValueAtTheTop,
                            ReadsWholeNumbersOf64BitsAsIntegersAndOthersAsDoubles, ReadsEscapes,
                            KeepsTheOrderOfKeysAndTheLastOfEqualOnes, AnswersAnErrorForEverythingElse,
                            RefusesOctetsThatAreNotUTF8, Reads64LevelsAndNotOneMore,
                            ReadsOneDocumentAfterAnother, ReadsAViewIntoLargerMemoryToItsEndOnly,
                            ReadsManyKeysInReasonableTime, HandsTheEntriesOfAnObjectOverInTheirOrder,
                            SaysOfAnEntryWhatItIs, HandsTheLastOfEqualKeysOverLast,
                            HandsNothingOverOfWhatIsNoObject, RefusesAnObjectWhoseEntriesAreNestedTooDeep);

}  // namespace xel::contract
