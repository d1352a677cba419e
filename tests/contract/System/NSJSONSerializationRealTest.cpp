#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "tests/contract/System/NSJSONSerializationContract.h"

namespace xel::contract {
namespace {

class SimdjsonSubject {
public:
    NSJSONSerialization& json() { return json_; }

private:
    SimdjsonSerialization json_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Simdjson, NSJSONSerializationContract, SimdjsonSubject);

}  // namespace xel::contract
