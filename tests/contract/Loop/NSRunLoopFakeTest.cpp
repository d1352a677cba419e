#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Loop/NSRunLoopContract.h"

namespace xel::contract {
namespace {

class FakeRunLoopSubject {
public:
    NSRunLoop& loop() { return loop_; }

private:
    FakeRunLoop loop_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, NSRunLoopContract, FakeRunLoopSubject);

}  // namespace xel::contract
