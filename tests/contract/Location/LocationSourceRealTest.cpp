#include <chrono>

#include "XelPushClient/Linux/Location/GeoClueLocationSource.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/System/SystemClock.h"
#include "tests/contract/Location/LocationSourceContract.h"
#include "tests/contract/Loop/DrivenLoop.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

/// A machine without a system bus, on which every start is refused: there is nothing to move and no service
/// to end. With a real service the contract is among the integration tests.
class NoServiceSubject {
public:
    static const char* whyNot() { return nullptr; }
    LocationSource& source() { return source_; }
    NSRunLoop& runLoop() { return *loop_; }
    const Clock& clock() { return clock_; }
    bool runUntil(const std::function<bool()>& condition) { return driveUntil(*loop_, condition, 5s); }
    void runForAWhile() {
        loop_->scheduleTimer(50ms, [this] { loop_->stop(); });
        loop_->run();
    }
    static void moveTo(double /*latitude*/, double /*longitude*/) {}
    static void endService() {}

private:
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    SystemClock clock_;
    GeoClueLocationSource source_{loop_, GeoClueOptions{"unix:path=/nonexistent/bus", "xelpush-test"}};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(NoService, LocationSourceContract, NoServiceSubject);

}  // namespace xel::contract
