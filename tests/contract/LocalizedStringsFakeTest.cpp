#include "XelPushClient/Testing/FakeLocalizedStrings.h"
#include "tests/contract/LocalizedStringsContract.h"

namespace xel::contract {
namespace {

class FakeSubject {
public:
    FakeSubject() { strings_.translate("greeting", "Gr\u00FC\u00DFe"); }
    LocalizedStrings& strings() { return strings_; }

private:
    FakeLocalizedStrings strings_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LocalizedStringsContract, FakeSubject);

}  // namespace xel::contract
