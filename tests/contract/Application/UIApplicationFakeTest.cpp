#include <memory>
#include <utility>

#include "XelPushClient/Testing/FakeApplication.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Application/UIApplicationContract.h"

namespace xel::contract {
namespace {

class FakeUIApplicationSubject {
public:
    UIApplication& application() { return *bare_; }
    void drop() { held_.reset(); }
    bool isDropped() { return weak_.expired(); }
    void runUntilIdle() { loop_->runUntilIdle(); }
    void resignActive() { bare_->willResignActive(); }
    void enterBackground() { bare_->didEnterBackground(); }
    void enterForeground() { bare_->willEnterForeground(); }
    void becomeActive() { bare_->didBecomeActive(); }
    void terminate() { bare_->willTerminate(); }
    void useUpBackgroundTime() { bare_->expireBackgroundTasks(); }
    bool hasBackgroundTasks() { return !bare_->runningBackgroundTaskNames().empty(); }
    void allowTypes(std::uint32_t types) { bare_->setAllowedTypes(types); }
    void giveToken(Data token) { bare_->answerWithToken(std::move(token)); }
    void changeToken(const Data& token) { bare_->changeToken(token); }
    void receive(Dictionary payload) { bare_->receiveRemoteNotification(std::move(payload)); }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeApplication> held_ = std::make_shared<FakeApplication>(loop_);
    std::weak_ptr<FakeApplication> weak_ = held_;
    FakeApplication* bare_ = held_.get();
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, UIApplicationContract, FakeUIApplicationSubject);

}  // namespace xel::contract
