#include "tests/contract/Store/SessionMemoryContract.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::contract {
namespace {

class SqliteSessions {
public:
    std::shared_ptr<SessionMemory> open() { return home_.openMemory(); }
    void setFailingCommits(bool isFailing) { home_.setFailingCommits(isFailing); }

private:
    SqliteHome home_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Sqlite, SessionMemoryContract, SqliteSessions);

}  // namespace xel::contract
