#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "tests/contract/System/NSJSONSerializationContract.h"

namespace xel::contract {
namespace {

class SimpleSubject {
public:
    NSJSONSerialization& json() { return json_; }

private:
    SimpleJSONSerialization json_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Simple, NSJSONSerializationContract, SimpleSubject);

}  // namespace xel::contract
