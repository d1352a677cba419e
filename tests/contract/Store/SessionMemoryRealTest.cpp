#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/SessionMemoryContract.h"

namespace xel::contract {
namespace {

class StoredSessions {
public:
    std::shared_ptr<SessionMemory> open() { return home_.open().memory; }
    void setFailingCommits(bool isFailing) { home_.setFailingCommits(isFailing); }

private:
    HomeOnDisk home_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, SessionMemoryContract, StoredSessions);

}  // namespace xel::contract
