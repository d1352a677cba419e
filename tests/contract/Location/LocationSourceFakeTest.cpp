#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeLocationSource.h"
#include "tests/contract/Location/LocationSourceContract.h"

namespace xel::contract {
namespace {

class FakeLocationSourceSubject {
public:
    static const char* whyNot() { return nullptr; }
    LocationSource& source() { return source_; }
    NSRunLoop& runLoop() { return *loop_; }
    const Clock& clock() { return *clock_; }
    bool runUntil(const std::function<bool()>& condition) {
        loop_->runUntilIdle();
        return condition();
    }
    void runForAWhile() { loop_->advanceBy(std::chrono::seconds(10)); }
    void moveTo(double latitude, double longitude) { source_.standAt({latitude, longitude}); }
    void endService() {
        source_.fail(makeLocationError(LocationErrorCode::NoService, "the service has gone"));
    }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>(loop_);
    FakeLocationSource source_{loop_, clock_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LocationSourceContract, FakeLocationSourceSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LocatedSourceContract, FakeLocationSourceSubject);

}  // namespace xel::contract
