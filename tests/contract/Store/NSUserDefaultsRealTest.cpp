#include <chrono>
#include <functional>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/NSUserDefaultsContract.h"

namespace xel::contract {
namespace {

class StoredDefaults {
public:
    std::shared_ptr<NSUserDefaults> open() { return home_.open().defaults; }
    bool runUntil(const std::function<bool()>& done) { return done(); }
    void setFailingCommits(bool isFailing) { home_.setFailingCommits(isFailing); }

private:
    HomeOnDisk home_;
};

/// Turns that survive a power cut, which are answered later on the run loop.
class SyncingDefaults {
public:
    std::shared_ptr<NSUserDefaults> open() {
        auto options = home_.options();
        options.durability = Durability::PowerCut;
        options.runLoop = loop_;
        return home_.open(options).defaults;
    }
    bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done() && std::chrono::steady_clock::now() < deadline) {
            loop_->scheduleTimer(std::chrono::milliseconds(1), [this] { loop_->stop(); });
            loop_->run();
        }
        return done();
    }
    void setFailingCommits(bool isFailing) { home_.setFailingCommits(isFailing); }

private:
    HomeOnDisk home_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, NSUserDefaultsContract, StoredDefaults);
INSTANTIATE_TYPED_TEST_SUITE_P(RealSurvivingPowerCuts, NSUserDefaultsContract, SyncingDefaults);

}  // namespace xel::contract
