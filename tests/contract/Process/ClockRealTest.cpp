#include <thread>

#include "XelPushClient/Linux/System/SystemClock.h"
#include "tests/contract/Process/ClockContract.h"

namespace xel::contract {
namespace {

class SystemSubject {
public:
    Clock& clock() { return clock_; }
    void letPass(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

private:
    SystemClock clock_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(System, ClockContract, SystemSubject);

}  // namespace xel::contract
