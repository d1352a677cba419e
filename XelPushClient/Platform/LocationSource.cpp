#include "XelPushClient/Platform/LocationSource.h"

namespace xel {

NSError makeLocationError(LocationErrorCode code, std::string_view description) {
    return makeError(kLocationErrorDomain, static_cast<std::int64_t>(code), description);
}

}  // namespace xel
