#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/DelegateList.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DelegateListTest : public testing::Test {
protected:
    using Delegate = DelegateList::Delegate;

    void set(const Delegate& delegate) { list_.setDelegate(delegate, {}); }
    void add(const Delegate& delegate) { list_.addDelegate(delegate, {}); }

    DelegateList list_;
    const Delegate a_ = std::make_shared<PushClientManagerDelegate>();
    const Delegate b_ = std::make_shared<PushClientManagerDelegate>();
    const Delegate c_ = std::make_shared<PushClientManagerDelegate>();
};

TEST_F(DelegateListTest, KeepsEachDelegateOnceInOrder) {
    add(a_);
    add(b_);
    add(a_);
    EXPECT_THAT(list_.delegates(), ElementsAre(a_, b_));
    list_.removeDelegate(a_.get());
    list_.removeDelegate(c_.get());
    EXPECT_THAT(list_.delegates(), ElementsAre(b_));
    list_.removeAllDelegates();
    EXPECT_THAT(list_.delegates(), IsEmpty());
}

TEST_F(DelegateListTest, IgnoresANullDelegate) {
    add(nullptr);
    EXPECT_THAT(list_.delegates(), IsEmpty());
}

TEST_F(DelegateListTest, HoldsDelegatesStronglyAndThePrimaryOneWeakly) {
    auto delegate = std::make_shared<PushClientManagerDelegate>();
    const std::weak_ptr<PushClientManagerDelegate> life = delegate;
    set(std::exchange(delegate, nullptr));
    EXPECT_FALSE(life.expired());
    list_.removeAllDelegates();
    EXPECT_TRUE(life.expired());
    EXPECT_EQ(list_.delegate(), nullptr);
}

TEST_F(DelegateListTest, LeavesThePreviousPrimaryOneInTheList) {
    set(a_);
    EXPECT_EQ(list_.delegate(), a_);
    set(b_);
    EXPECT_EQ(list_.delegate(), b_);
    EXPECT_THAT(list_.delegates(), ElementsAre(a_, b_));
}

TEST_F(DelegateListTest, RemovesThePrimaryOneForOneThatIsInTheListAlready) {
    add(b_);
    set(a_);
    set(b_);
    EXPECT_EQ(list_.delegate(), a_) << "the primary one is left as it was";
    EXPECT_THAT(list_.delegates(), ElementsAre(b_));
}

TEST_F(DelegateListTest, SetsNoPrimaryOneFromTheListWhenThereWasNone) {
    add(b_);
    set(b_);
    EXPECT_EQ(list_.delegate(), nullptr);
    EXPECT_THAT(list_.delegates(), ElementsAre(b_));
}

TEST_F(DelegateListTest, ChangesNothingForThePrimaryOneItself) {
    set(a_);
    set(a_);
    EXPECT_THAT(list_.delegates(), ElementsAre(a_));
    list_.removeDelegate(a_.get());
    set(a_);
    EXPECT_EQ(list_.delegate(), a_);
    EXPECT_THAT(list_.delegates(), IsEmpty());
}

TEST_F(DelegateListTest, EmptiesAListOfOneForANullPrimaryOne) {
    set(a_);
    set(nullptr);
    EXPECT_EQ(list_.delegate(), nullptr);
    EXPECT_THAT(list_.delegates(), IsEmpty());
}

TEST_F(DelegateListTest, EmptiesAListOfOneOtherThanThePrimaryOneToo) {
    add(b_);
    set(nullptr);
    EXPECT_THAT(list_.delegates(), IsEmpty());
}

TEST_F(DelegateListTest, LeavesAListOfTwoForANullPrimaryOne) {
    set(a_);
    set(b_);
    set(nullptr);
    EXPECT_EQ(list_.delegate(), nullptr);
    EXPECT_THAT(list_.delegates(), ElementsAre(a_, b_));
}

TEST_F(DelegateListTest, RefusesEveryChangeWhileItIsWalked) {
    set(a_);
    const std::vector<std::function<void()>> changes = {
        [&] { add(b_); },
        [&] { list_.removeDelegate(a_.get()); },
        [&] { list_.removeAllDelegates(); },
        [&] { set(b_); },
        [&] { set(nullptr); },
    };
    for (const auto& change : changes) {
        list_.forEach([&](auto& /*delegate*/, const auto& /*operations*/) {
            EXPECT_THROW(change(), DelegateListChangedError);
        });
        EXPECT_THAT(list_.delegates(), ElementsAre(a_));
        EXPECT_EQ(list_.delegate(), a_);
    }
}

TEST_F(DelegateListTest, TakesWhatChangesNothingWhileItIsWalked) {
    const auto walked = [&](const std::function<void()>& call) {
        const auto before = list_.delegates();
        const auto primaryBefore = list_.delegate();
        list_.forEach([&](auto& /*delegate*/, const auto& /*operations*/) { EXPECT_NO_THROW(call()); });
        EXPECT_EQ(list_.delegates(), before);
        EXPECT_EQ(list_.delegate(), primaryBefore);
    };
    set(a_);
    add(b_);
    walked([&] { add(b_); });
    walked([&] { add(nullptr); });
    walked([&] { list_.removeDelegate(c_.get()); });
    walked([&] { set(a_); });
    list_.removeDelegate(a_.get());
    add(c_);
    walked([&] { set(b_); });
    set(nullptr);
    walked([&] { set(nullptr); });
    walked([&] { set(b_); });
}

TEST_F(DelegateListTest, MayBeChangedAgainAfterAWalkThatThrew) {
    add(a_);
    EXPECT_THROW(list_.forEach([](auto&, const auto&) { throw std::runtime_error("host"); }),
                 std::runtime_error);
    add(b_);
    EXPECT_THAT(list_.delegates(), ElementsAre(a_, b_));
}

TEST_F(DelegateListTest, CallsOnlyThoseThatRespond) {
    list_.addDelegate(a_, DelegateOperations().insert(DelegateOperation::DidSubscribed));
    list_.addDelegate(b_, DelegateOperations().insert(DelegateOperation::DidUnsubscribed));
    list_.addDelegate(c_, DelegateOperations().insert(DelegateOperation::DidSubscribed));
    std::vector<PushClientManagerDelegate*> called;
    list_.forEachResponding(DelegateOperation::DidSubscribed,
                            [&](auto& delegate) { called.push_back(&delegate); });
    EXPECT_THAT(called, ElementsAre(a_.get(), c_.get()));
}

}  // namespace
}  // namespace xel
