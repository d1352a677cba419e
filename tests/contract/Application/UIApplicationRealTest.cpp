#include <memory>
#include <optional>
#include <utility>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/contract/Application/UIApplicationContract.h"

namespace xel::contract {
namespace {

/// Has one token to give, or none.
class TokenOfTheTest : public PushTokenSource {
public:
    explicit TokenOfTheTest(std::shared_ptr<NSRunLoop> loop) : loop_(std::move(loop)) {}
    void requestToken(Answer answer) override {
        loop_->post([answer = std::move(answer), token = token_] { answer(token); });
    }
    void attachStore(const std::shared_ptr<NSUserDefaults>& /*store*/) override {}
    void setToken(Data token) { token_ = std::move(token); }

private:
    std::shared_ptr<NSRunLoop> loop_;
    Result<Data> token_ = makeError("TokenOfTheTest", 1, "there is none");
};

/// On virtual time, which leaves nothing of the application out.
class LinuxApplicationSubject {
public:
    LinuxApplicationSubject() { bare_->setPushTokenSource(source_); }

    UIApplication& application() { return *bare_; }
    void drop() { held_.reset(); }
    bool isDropped() { return weak_.expired(); }
    void runUntilIdle() { loop_->runUntilIdle(); }
    void resignActive() { bare_->willResignActive(); }
    void enterBackground() { bare_->enterBackground(); }
    void enterForeground() { bare_->willEnterForeground(); }
    void becomeActive() { bare_->becomeActive(); }
    void terminate() { bare_->willTerminate(); }
    void useUpBackgroundTime() { loop_->advanceBy(LinuxApplication::kBackgroundTime); }
    bool hasBackgroundTasks() { return bare_->hasBackgroundTasks(); }
    void allowTypes(std::uint32_t types) { bare_->setAllowedNotificationTypes(types); }
    void giveToken(Data token) { source_->setToken(std::move(token)); }
    void changeToken(const Data& token) { bare_->pushTokenHasChanged(token); }
    void receive(Dictionary payload) { bare_->receiveRemoteNotification(std::move(payload)); }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<TokenOfTheTest> source_ = std::make_shared<TokenOfTheTest>(loop_);
    std::shared_ptr<LinuxApplication> held_ =
        std::make_shared<LinuxApplication>(LinuxApplication::Surroundings{
            loop_, std::make_shared<FakeClock>(loop_), std::make_shared<RecordingLogSink>(), 0xFFFFFFFF});
    std::weak_ptr<LinuxApplication> weak_ = held_;
    LinuxApplication* bare_ = held_.get();
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, UIApplicationContract, LinuxApplicationSubject);

}  // namespace xel::contract
