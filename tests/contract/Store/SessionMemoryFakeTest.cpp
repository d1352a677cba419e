#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/contract/Store/SessionMemoryContract.h"

namespace xel::contract {
namespace {

template <bool kStoresRemovalsLate>
class InMemorySessions {
public:
    std::shared_ptr<SessionMemory> open() {
        auto memory = std::make_shared<InMemorySessionMemory>(disk_);
        memory->setStoresRemovalsLate(kStoresRemovalsLate);
        return memory;
    }
    void setFailingCommits(bool isFailing) { disk_->setFailingCommits(isFailing); }

private:
    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
};

}  // namespace

using PromptInMemory = InMemorySessions<false>;
using LateInMemory = InMemorySessions<true>;
INSTANTIATE_TYPED_TEST_SUITE_P(InMemoryStoringAtOnce, SessionMemoryContract, PromptInMemory);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemoryStoringLate, SessionMemoryContract, LateInMemory);

}  // namespace xel::contract
