#include "XelPushClient/Testing/FakeReachability.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Network/ReachabilityContract.h"

namespace xel::contract {
namespace {

class FakeReachabilitySubject {
public:
    ReachabilityFactory& factory() { return factory_; }
    void runForAWhile() { loop_->advanceBy(std::chrono::seconds(10)); }
    static const char* whyNot() { return nullptr; }
    void changeNetwork() {
        isReachable_ = !isReachable_;
        factory_.setNetwork(isReachable_, PushClientServerReachabilityCelluarNetworkType);
    }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    FakeReachabilityFactory factory_{loop_};
    bool isReachable_ = true;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ReachabilityContract, FakeReachabilitySubject);

}  // namespace xel::contract
