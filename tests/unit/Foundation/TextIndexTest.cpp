#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/TextIndex.h"

namespace xel {
namespace {

/// A list of texts with an index.
class TextIndexTest : public testing::Test {
protected:
    void add(const std::string& text) {
        index_.add(text, texts_.size());
        texts_.push_back(text);
    }
    [[nodiscard]] std::optional<std::size_t> find(std::string_view text) const {
        return index_.find(text, [&](std::size_t at) { return texts_[at] == text; });
    }

    std::vector<std::string> texts_;
    TextIndex index_;
};

TEST_F(TextIndexTest, FindsNothingWhileItIsEmpty) {
    EXPECT_EQ(find("a"), std::nullopt);
    EXPECT_EQ(find(""), std::nullopt);
}

TEST_F(TextIndexTest, FindsEachTextAtItsPositionHoweverManyThereAre) {
    for (int i = 0; i < 5000; ++i) {
        add("text " + std::to_string(i));
    }
    for (std::size_t i = 0; i < texts_.size(); ++i) {
        ASSERT_EQ(find("text " + std::to_string(i)), i);
    }
    EXPECT_EQ(find("text 5000"), std::nullopt);
    EXPECT_EQ(find(""), std::nullopt);
}

TEST_F(TextIndexTest, KeepsWhatItHoldsWhenRoomIsMade) {
    add("a");
    add("");
    index_.reserve(1000);
    index_.reserve(1);
    EXPECT_EQ(find("a"), 0U);
    EXPECT_EQ(find(""), 1U);
}

TEST_F(TextIndexTest, GoesOnLookingWhereAPositionIsNotTheOne) {
    index_.add("a", 0);
    index_.add("a", 1);
    index_.add("a", 2);
    EXPECT_EQ(index_.find("a", [](std::size_t at) { return at == 2; }), 2U);
    EXPECT_EQ(index_.find("a", [](std::size_t) { return false; }), std::nullopt);
}

TEST_F(TextIndexTest, LooksAtHardlyMoreThanTheOneAmongMany) {
    for (int i = 0; i < 5000; ++i) {
        add("app/shop/user/public/channel-" + std::to_string(100'000 + i));
    }
    std::size_t looks = 0;
    for (const std::string& text : texts_) {
        (void)index_.find(text, [&](std::size_t at) {
            ++looks;
            return texts_[at] == text;
        });
    }
    EXPECT_LE(looks, 2 * texts_.size());
}

}  // namespace
}  // namespace xel
