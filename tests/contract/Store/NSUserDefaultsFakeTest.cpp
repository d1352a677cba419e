#include "XelPushClient/Testing/InMemoryUserDefaults.h"
#include "tests/contract/Store/NSUserDefaultsContract.h"

namespace xel::contract {
namespace {

class InMemoryDefaults {
public:
    std::shared_ptr<NSUserDefaults> open() {
        auto opened = InMemoryUserDefaults::open(disk_);
        return opened ? std::shared_ptr<NSUserDefaults>(opened.value()) : nullptr;
    }
    bool runUntil(const std::function<bool()>& done) { return done(); }
    void setFailingCommits(bool isFailing) { disk_->setFailingCommits(isFailing); }

private:
    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, NSUserDefaultsContract, InMemoryDefaults);

}  // namespace xel::contract
