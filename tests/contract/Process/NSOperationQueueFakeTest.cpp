#include "XelPushClient/Testing/FakeOperationQueue.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Process/NSOperationQueueContract.h"

namespace xel::contract {
namespace {

class FakeNSOperationQueueSubject {
public:
    NSOperationQueueFactory& factory() { return factory_; }
    bool runUntil(const std::function<bool()>& done) {
        loop_->runUntilIdle();
        return done();
    }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    FakeOperationQueueFactory factory_{loop_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, NSOperationQueueContract, FakeNSOperationQueueSubject);

}  // namespace xel::contract
