#include "XelPushClient/Testing/FakeLocalizedStrings.h"
#include "tests/contract/System/LocalizedStringsContract.h"

namespace xel::contract {
namespace {

class FakeLocalizedStringsSubject {
public:
    FakeLocalizedStringsSubject() { strings_.translate("greeting", "Gr\u00FC\u00DFe"); }
    LocalizedStrings& strings() { return strings_; }

private:
    FakeLocalizedStrings strings_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LocalizedStringsContract, FakeLocalizedStringsSubject);

}  // namespace xel::contract
