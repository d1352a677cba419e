#include "XelPushClient/Testing/FakeClock.h"
#include "tests/contract/Process/ClockContract.h"

namespace xel::contract {
namespace {

class FakeClockSubject {
public:
    Clock& clock() { return clock_; }
    void letPass(std::chrono::milliseconds time) { loop_->advanceBy(time); }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    FakeClock clock_{loop_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ClockContract, FakeClockSubject);

}  // namespace xel::contract
