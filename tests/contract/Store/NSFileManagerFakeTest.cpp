#include "XelPushClient/Testing/FakeFileManager.h"
#include "tests/contract/Store/NSFileManagerContract.h"

namespace xel::contract {
namespace {

class FakeNSFileManagerSubject {
public:
    NSFileManager& files() { return files_; }
    static std::string folder() { return "/folder"; }
    std::optional<std::string> contents(const std::string& path) { return files_.contents(path); }

private:
    FakeFileManager files_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, NSFileManagerContract, FakeNSFileManagerSubject);

}  // namespace xel::contract
