#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Lifeline.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Somebody who gives work away and notes what reaches him.
struct Owner {
    std::shared_ptr<std::vector<std::string>> heard = std::make_shared<std::vector<std::string>>();
    Lifeline<Owner> life{*this};
};

TEST(LifelineTest, CallsTheWorkWithTheOwnerAndTheArguments) {
    Owner owner;
    const std::function<void(const std::string&, int)> block =
        owner.life.guarded([](Owner& self, const std::string& word, int times) {
            self.heard->push_back(word + " " + std::to_string(times));
        });
    block("first", 1);
    block("second", 2);
    EXPECT_THAT(*owner.heard, ElementsAre("first 1", "second 2"));
}

TEST(LifelineTest, DropsTheWorkOfAnOwnerThatHasGone) {
    auto owner = std::make_unique<Owner>();
    const auto heard = owner->heard;
    // Looks at nothing of its owner, so that work that is not dropped is told and does not crash.
    const std::function<void()> block =
        owner->life.guarded([heard](Owner& /*gone*/) { heard->emplace_back("reached"); });
    const std::function<void()> copy = block;
    const auto token = owner->life.token();
    EXPECT_FALSE(token.expired());
    owner.reset();
    block();
    copy();
    EXPECT_THAT(*heard, IsEmpty());
    EXPECT_TRUE(token.expired());
}

TEST(LifelineTest, LetsItsOwnerGoInsideTheWork) {
    auto owner = std::make_unique<Owner>();
    const auto heard = owner->heard;
    const std::function<void()> block = owner->life.guarded([&](Owner& self) {
        self.heard->emplace_back("reached");
        const auto token = self.life.token();
        owner.reset();
        heard->emplace_back(token.expired() ? "gone" : "still there");
    });
    block();
    block();
    EXPECT_THAT(*heard, ElementsAre("reached", "gone"));
}

TEST(LifelineTest, DropsTheWorkAfterItsEndWhileTheOwnerStays) {
    Owner owner;
    const std::function<void()> block =
        owner.life.guarded([](Owner& self) { self.heard->emplace_back("reached"); });
    owner.life.end();
    block();
    EXPECT_THAT(*owner.heard, IsEmpty());
    EXPECT_TRUE(owner.life.token().expired());
}

}  // namespace
}  // namespace xel
