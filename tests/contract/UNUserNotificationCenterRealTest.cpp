#include <fstream>

#include "XelPushClient/Linux/LinuxNotificationCenter.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/contract/TemporaryFolder.h"
#include "tests/contract/UNUserNotificationCenterContract.h"

namespace xel::contract {
namespace {

class RealSubject {
public:
    UNUserNotificationCenter& center() { return center_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) {
        loop_->runUntilIdle();
        return done();
    }
    std::string makeFile() {
        std::ofstream(folder_.path() + "/cat.png") << "meow";
        return folder_.path() + "/cat.png";
    }
    std::string missingFile() { return folder_.path() + "/none.png"; }

private:
    TemporaryFolder folder_;
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    LinuxNotificationCenter center_{loop_, std::make_shared<RecordingLogSink>()};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, UNUserNotificationCenterContract, RealSubject);

}  // namespace xel::contract
