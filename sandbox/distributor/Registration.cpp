#include "sandbox/distributor/Registration.h"

#include <cstddef>

#include "XelPushClient/Linux/Push/UnifiedPushRules.h"

namespace xel::sandbox {
namespace {

constexpr std::size_t kLongestDescription = 100;

}  // namespace

bool isRegistration(const Registration& asked) {
    return isBusName(asked.service) && isConnectionToken(asked.token) &&
           asked.description.size() <= kLongestDescription;
}

}  // namespace xel::sandbox
