#include "XelPushClient/Testing/FakeNotificationCenter.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Desktop/UNUserNotificationCenterContract.h"

namespace xel::contract {
namespace {

class FakeUNUserNotificationCenterSubject {
public:
    UNUserNotificationCenter& center() { return center_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) {
        loop_->runUntilIdle();
        return done();
    }
    std::string makeFile() {
        files_->put("/pictures/cat.png", "meow");
        return "/pictures/cat.png";
    }
    static std::string missingFile() { return "/pictures/none.png"; }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeFileManager> files_ = std::make_shared<FakeFileManager>();
    FakeNotificationCenter center_{loop_, files_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, UNUserNotificationCenterContract, FakeUNUserNotificationCenterSubject);

}  // namespace xel::contract
