#include "XelPushClient/Testing/FakeThread.h"
#include "tests/contract/Process/NSThreadContract.h"

namespace xel::contract {
namespace {

class FakeNSThreadSubject {
public:
    NSThread& thread() { return thread_; }

private:
    FakeThread thread_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, NSThreadContract, FakeNSThreadSubject);

}  // namespace xel::contract
