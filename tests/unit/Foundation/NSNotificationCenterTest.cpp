#include <atomic>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/NSNotificationCenter.h"

namespace xel {
namespace {

class Thing : public NSObject {};

class NSNotificationCenterTest : public ::testing::Test {
protected:
    NSNotificationCenter::Block noting(std::string what) {
        return [this, what](const NSNotification&) { heard_.push_back(what); };
    }

    using Heard = std::vector<std::string>;
    NSNotificationCenter center_;
    Thing thing_;
    Thing other_;
    Heard heard_;
};

TEST_F(NSNotificationCenterTest, CallsObserversOfTheNameInTheOrderOfAdding) {
    center_.addObserver("name", nullptr, noting("first"));
    center_.addObserver("another", nullptr, noting("never"));
    center_.addObserver("name", nullptr, noting("second"));
    center_.postNotification({"name", &thing_, {}});
    EXPECT_EQ(heard_, (Heard{"first", "second"}));
}

TEST_F(NSNotificationCenterTest, CallsAnObserverOfAnObjectForThatObjectOnly) {
    center_.addObserver("name", &thing_, noting("thing"));
    center_.postNotification({"name", &other_, {}});
    center_.postNotification({"name", nullptr, {}});
    EXPECT_TRUE(heard_.empty());
    center_.postNotification({"name", &thing_, {}});
    EXPECT_EQ(heard_, (Heard{"thing"}));
}

TEST_F(NSNotificationCenterTest, CarriesDetailsReadBackByTheirType) {
    NotificationInfo info{{"reachable", true}, {"networkType", 2U}, {"text", std::string("t")}};
    EXPECT_EQ(info.size(), 3U);
    ASSERT_NE(info.get<bool>("reachable"), nullptr);
    EXPECT_TRUE(*info.get<bool>("reachable"));
    EXPECT_EQ(info.get<int>("networkType"), nullptr);
    EXPECT_EQ(*info.get<unsigned>("networkType"), 2U);
    EXPECT_EQ(info.get<std::string>("missing"), nullptr);
    EXPECT_TRUE(NotificationInfo().empty());
}

TEST_F(NSNotificationCenterTest, ForgetsARemovedObserver) {
    const auto token = center_.addObserver("name", nullptr, noting("removed"));
    EXPECT_TRUE(center_.hasObserverFor("name"));
    center_.removeObserver(token);
    center_.removeObserver(token);
    center_.removeObserver({});
    EXPECT_FALSE(center_.hasObserverFor("name"));
    center_.postNotification({"name", nullptr, {}});
    EXPECT_TRUE(heard_.empty());
}

TEST_F(NSNotificationCenterTest, GoesOnObservingWhenTheTokenIsDropped) {
    static_cast<void>(center_.addObserver("name", nullptr, noting("kept")));
    center_.postNotification({"name", nullptr, {}});
    EXPECT_EQ(heard_, (Heard{"kept"}));
}

TEST_F(NSNotificationCenterTest, DoesNotCallAnObserverRemovedDuringThePost) {
    NSNotificationCenter::Token second;
    center_.addObserver("name", nullptr, [&](const NSNotification&) { center_.removeObserver(second); });
    second = center_.addObserver("name", nullptr, noting("second"));
    center_.addObserver("name", nullptr, noting("third"));
    center_.postNotification({"name", nullptr, {}});
    EXPECT_EQ(heard_, (Heard{"third"}));
}

TEST_F(NSNotificationCenterTest, LetsAnObserverRemoveItselfAddAndPost) {
    NSNotificationCenter::Token self;
    self = center_.addObserver("name", nullptr, [&](const NSNotification&) {
        center_.removeObserver(self);
        center_.addObserver("name", nullptr, noting("added"));
        heard_.push_back("self");
        center_.postNotification({"inner", nullptr, {}});
    });
    center_.addObserver("inner", nullptr, noting("inner"));
    center_.postNotification({"name", nullptr, {}});
    EXPECT_EQ(heard_, (Heard{"self", "inner"}));
    center_.postNotification({"name", nullptr, {}});
    EXPECT_EQ(heard_, (Heard{"self", "inner", "added"}));
}

TEST_F(NSNotificationCenterTest, LetsAnExceptionOutAndGoesOnWorking) {
    const auto thrower = center_.addObserver(
        "name", nullptr, [](const NSNotification&) { throw std::runtime_error("mistake"); });
    EXPECT_THROW(center_.postNotification({"name", nullptr, {}}), std::runtime_error);
    center_.removeObserver(thrower);
    center_.addObserver("name", nullptr, noting("later"));
    center_.postNotification({"name", nullptr, {}});
    EXPECT_EQ(heard_, (Heard{"later"}));
}

TEST_F(NSNotificationCenterTest, IsUsedFromManyThreadsAtOnce) {
    std::atomic<int> count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const auto token =
                    center_.addObserver("name", nullptr, [&](const NSNotification&) { ++count; });
                center_.postNotification({"name", nullptr, {}});
                center_.removeObserver(token);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_GE(count, 800);
    EXPECT_FALSE(center_.hasObserverFor("name"));
}

}  // namespace
}  // namespace xel
