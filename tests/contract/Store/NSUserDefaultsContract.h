#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel::contract {

/// What every defaults store owes. A subject is default constructible, stands for one place on a disk that
/// holds nothing at first, and has
/// - `std::shared_ptr<NSUserDefaults> open()`: opens the store there; null while another object owns it;
/// - `bool runUntil(std::function<bool()> done)`: drives the home's run loop until done; false: it never was;
/// - `void setFailingCommits(bool isFailing)`: while set, nothing can be stored there.
template <class Subject>
class NSUserDefaultsContract : public ::testing::Test {
protected:
    void SetUp() override {
        defaults_ = subject_.open();
        ASSERT_NE(defaults_, nullptr);
    }

    /// Closes the store and opens it again, as a new process does.
    void reopen() {
        defaults_.reset();
        defaults_ = subject_.open();
        ASSERT_NE(defaults_, nullptr);
    }

    /// The answer of `synchronizeTurn`, or nothing when it never came.
    [[nodiscard]] std::optional<bool> synchronizeTurn() {
        int answers = 0;
        bool answer = false;
        defaults_->synchronizeTurn([&](bool isStored) {
            ++answers;
            answer = isStored;
        });
        const bool isAnswered = subject_.runUntil([&] { return answers > 0; });
        EXPECT_EQ(answers, 1);
        return isAnswered ? std::optional<bool>(answer) : std::nullopt;
    }

    static Dictionary everyKindOfValue() {
        Dictionary all;
        all.set("null", nullptr);
        all.set("yes", true);
        all.set("no", false);
        all.set("one", 1);
        all.set("smallest", std::numeric_limits<std::int64_t>::min());
        all.set("largest", std::numeric_limits<std::int64_t>::max());
        all.set("fraction", 0.1);
        all.set("whole double", 2.0);
        all.set("huge", 1.0e300);
        all.set("empty text", "");
        all.set("text", "gr\xC3\xBC\xC3\x9F \"dich\"\n\xF0\x9F\x90\xA7");
        all.set("text with a null", std::string("a\0b", 3));
        all.set("octets", Data{0, 1, 0xFF, 0x80});
        all.set("no octets", Data{});
        all.set("date", dateFromMillisecondsSince1970(1772357400123.0));
        all.set("date before 1970", dateFromSecondsSince1970(-86400.5));
        all.set("empty array", Array{});
        all.set("array", Array{Value(1), Value("two"), Value(Array{Value(3.5)})});
        all.set("empty dictionary", Dictionary{});
        all.set("dictionary", Dictionary{{"inner", Dictionary{{"deepest", Data{7}}}}});
        return all;
    }

    Subject subject_;
    std::shared_ptr<NSUserDefaults> defaults_;
};

TYPED_TEST_SUITE_P(NSUserDefaultsContract);

TYPED_TEST_P(NSUserDefaultsContract, HoldsNothingAtFirst) {
    EXPECT_EQ(this->defaults_->objectForKey("userId"), std::nullopt);
    EXPECT_FALSE(this->defaults_->boolForKey("flag"));
    EXPECT_EQ(this->defaults_->integerForKey("count"), 0);
    EXPECT_EQ(this->defaults_->stringForKey("text"), std::nullopt);
    EXPECT_EQ(this->defaults_->dictionaryForKey("table"), std::nullopt);
}

TYPED_TEST_P(NSUserDefaultsContract, ReadsTheLatestWriteBeforeItIsStored) {
    this->defaults_->setObject("userId", "alice01");
    EXPECT_EQ(this->defaults_->stringForKey("userId"), "alice01");
    this->defaults_->setObject("userId", "bob");
    EXPECT_EQ(this->defaults_->stringForKey("userId"), "bob");
    this->defaults_->removeObject("userId");
    EXPECT_EQ(this->defaults_->stringForKey("userId"), std::nullopt);
}

TYPED_TEST_P(NSUserDefaultsContract, FindsWhatWasSynchronizedAfterReopening) {
    this->defaults_->setObject("userId", "alice01");
    this->defaults_->setObject("AppLaunchCount", 3);
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->stringForKey("userId"), "alice01");
    EXPECT_EQ(this->defaults_->integerForKey("AppLaunchCount"), 3);
    this->defaults_->removeObject("userId");
    this->defaults_->setObject("AppLaunchCount", 4);
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->stringForKey("userId"), std::nullopt);
    EXPECT_EQ(this->defaults_->integerForKey("AppLaunchCount"), 4);
}

TYPED_TEST_P(NSUserDefaultsContract, StoresEveryKindOfValueWhole) {
    const auto all = this->everyKindOfValue();
    for (const auto& [name, value] : all) {
        this->defaults_->setObject("value of " + name, value);
    }
    this->defaults_->setObject("all", all);
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    for (const auto& [name, value] : all) {
        const auto stored = this->defaults_->objectForKey("value of " + name);
        ASSERT_TRUE(stored.has_value()) << name;
        EXPECT_EQ(*stored, value) << name;
    }
    EXPECT_EQ(this->defaults_->objectForKey("all"), Value(all));
}

TYPED_TEST_P(NSUserDefaultsContract, KeepsTheOrderOfADictionarysKeys) {
    Dictionary table;
    for (const auto* key : {"zebra", "apple", "mango", "beta"}) {
        table.set(key, 1);
    }
    this->defaults_->setObject("table", table);
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    const auto stored = this->defaults_->dictionaryForKey("table");
    ASSERT_TRUE(stored.has_value());
    std::string keys;
    for (const auto& [key, value] : *stored) {
        keys += key + " ";
    }
    EXPECT_EQ(keys, "zebra apple mango beta ");
}

TYPED_TEST_P(NSUserDefaultsContract, TellsKeysApartExactly) {
    this->defaults_->setObject("key", 1);
    this->defaults_->setObject("Key", 2);
    this->defaults_->setObject("key ", 3);
    this->defaults_->setObject("", 4);
    this->defaults_->setObject("%", 5);
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->integerForKey("key"), 1);
    EXPECT_EQ(this->defaults_->integerForKey("Key"), 2);
    EXPECT_EQ(this->defaults_->integerForKey("key "), 3);
    EXPECT_EQ(this->defaults_->integerForKey(""), 4);
    EXPECT_EQ(this->defaults_->integerForKey("%"), 5);
}

TYPED_TEST_P(NSUserDefaultsContract, ReadsAValueOfAnotherKindAsAbsent) {
    this->defaults_->setObject("text", "12");
    this->defaults_->setObject("number", 2.75);
    EXPECT_EQ(this->defaults_->integerForKey("text"), 0);
    EXPECT_FALSE(this->defaults_->boolForKey("text"));
    EXPECT_EQ(this->defaults_->integerForKey("number"), 2);
    EXPECT_TRUE(this->defaults_->boolForKey("number"));
    EXPECT_EQ(this->defaults_->stringForKey("number"), std::nullopt);
    EXPECT_EQ(this->defaults_->arrayForKey("number"), std::nullopt);
}

TYPED_TEST_P(NSUserDefaultsContract, SynchronizesWithNothingToStore) {
    EXPECT_TRUE(this->defaults_->synchronize());
    EXPECT_TRUE(this->defaults_->synchronize());
    this->defaults_->removeObject("never set");
    EXPECT_TRUE(this->defaults_->synchronize());
}

TYPED_TEST_P(NSUserDefaultsContract, StoresATurnAndAnswersOnce) {
    this->defaults_->setObject("messageIds", Array{Value("m1"), Value("m2")});
    EXPECT_EQ(this->synchronizeTurn(), true);
    this->reopen();
    const auto stored = this->defaults_->arrayForKey("messageIds");
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(*stored, (Array{Value("m1"), Value("m2")}));
}

TYPED_TEST_P(NSUserDefaultsContract, StoresWhatASlidingListOfIdsBecomes) {
    Array ids;
    for (int turn = 0; turn < 40; ++turn) {
        ids.push_back(Value("message-" + std::to_string(turn)));
        if (ids.size() > 25) {
            ids.erase(ids.begin());
        }
        this->defaults_->setObject("messageIds", ids);
        ASSERT_EQ(this->synchronizeTurn(), true) << "turn " << turn;
    }
    this->reopen();
    EXPECT_EQ(this->defaults_->objectForKey("messageIds"), Value(ids));
    this->defaults_->removeObject("messageIds");
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->objectForKey("messageIds"), std::nullopt);
}

TYPED_TEST_P(NSUserDefaultsContract, AppendsToAnArrayAndDropsWhatIsTooMuch) {
    using Texts = std::vector<std::string_view>;
    struct Step {
        Texts appended;
        std::size_t mostKept;
        Array wanted;
    };
    // One after the other, each behind a new opening.
    const std::vector<Step> steps{
        {{"a", "b"}, 3, Array{Value("a"), Value("b")}},
        {{}, 3, Array{Value("a"), Value("b")}},
        {{"c", "d"}, 3, Array{Value("b"), Value("c"), Value("d")}},
        {{"e", "f", "g", "h"}, 3, Array{Value("f"), Value("g"), Value("h")}},
        {{"a text that no small string holds", "i"},
         2,
         Array{Value("a text that no small string holds"), Value("i")}},
        {{"j"}, 0, Array{}},
        {{"k"}, 25, Array{Value("k")}},
    };
    for (const auto& [appended, mostKept, wanted] : steps) {
        this->defaults_->appendToArray("messageIds", appended, mostKept);
        EXPECT_EQ(this->defaults_->arrayForKey("messageIds"), wanted);
        EXPECT_EQ(this->synchronizeTurn(), true);
        this->reopen();
        EXPECT_EQ(this->defaults_->arrayForKey("messageIds"), wanted);
    }
}

TYPED_TEST_P(NSUserDefaultsContract, AppendsToAnythingElseAsToAnEmptyArray) {
    const std::string_view text = "a";
    for (const Value& other : {Value("text"), Value(7), Value(Dictionary{{"a", 1}})}) {
        this->defaults_->setObject("messageIds", other);
        this->defaults_->appendToArray("messageIds", {&text, 1}, 25);
        EXPECT_EQ(this->defaults_->objectForKey("messageIds"), Value(Array{Value("a")}));
    }
    // What is in an array and no text is kept, and dropped in its turn.
    this->defaults_->setObject("messageIds", Array{Value(1), Value(Array{})});
    this->defaults_->appendToArray("messageIds", {&text, 1}, 2);
    ASSERT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->objectForKey("messageIds"), Value(Array{Value(Array{}), Value("a")}));
}

TYPED_TEST_P(NSUserDefaultsContract, KeepsWhatWasAppendedWhileNothingCouldBeStored) {
    for (const std::string_view text : {"a", "b", "c"}) {
        this->subject_.setFailingCommits(text == "b");
        this->defaults_->appendToArray("messageIds", {&text, 1}, 25);
        EXPECT_EQ(this->synchronizeTurn(), text != "b");
    }
    this->reopen();
    EXPECT_EQ(this->defaults_->objectForKey("messageIds"), Value(Array{Value("a"), Value("b"), Value("c")}));
}

TYPED_TEST_P(NSUserDefaultsContract, RefusesASecondOwner) {
    EXPECT_EQ(this->subject_.open(), nullptr);
    this->defaults_->setObject("userId", "alice01");
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->stringForKey("userId"), "alice01");
}

TYPED_TEST_P(NSUserDefaultsContract, KeepsWhatCouldNotBeStoredAndTriesItAgain) {
    this->defaults_->setObject("userId", "alice01");
    ASSERT_TRUE(this->defaults_->synchronize());
    this->subject_.setFailingCommits(true);
    this->defaults_->setObject("userId", "bob");
    EXPECT_FALSE(this->defaults_->synchronize());
    EXPECT_EQ(this->defaults_->stringForKey("userId"), "bob");
    EXPECT_EQ(this->synchronizeTurn(), false);
    this->subject_.setFailingCommits(false);
    EXPECT_TRUE(this->defaults_->synchronize());
    this->reopen();
    EXPECT_EQ(this->defaults_->stringForKey("userId"), "bob");
}

REGISTER_TYPED_TEST_SUITE_P(NSUserDefaultsContract, HoldsNothingAtFirst, ReadsTheLatestWriteBeforeItIsStored,
                            FindsWhatWasSynchronizedAfterReopening, StoresEveryKindOfValueWhole,
                            KeepsTheOrderOfADictionarysKeys, TellsKeysApartExactly,
                            ReadsAValueOfAnotherKindAsAbsent, SynchronizesWithNothingToStore,
                            StoresATurnAndAnswersOnce, StoresWhatASlidingListOfIdsBecomes,
                            AppendsToAnArrayAndDropsWhatIsTooMuch, AppendsToAnythingElseAsToAnEmptyArray,
                            KeepsWhatWasAppendedWhileNothingCouldBeStored, RefusesASecondOwner,
                            KeepsWhatCouldNotBeStoredAndTriesItAgain);

}  // namespace xel::contract
