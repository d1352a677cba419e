#pragma once

#include <cstdint>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// Domain of the errors of a home's store; the codes are `StoreErrorCode`, the description says which file.
inline constexpr std::string_view kStoreErrorDomain = "Store";

enum class StoreErrorCode : std::int64_t {
    InUse = 1,        ///< another process, or another home of this one, owns the store
    Damaged = 2,      ///< what is stored cannot be read as what it should be
    NewerSchema = 3,  ///< written by a newer version of this library; left as it is
    NotAStore = 4,    ///< a database of another program; left as it is
    CannotOpen = 5,
    WriteFailed = 6
};

[[nodiscard]] inline NSError makeStoreError(StoreErrorCode code, std::string_view description) {
    return makeError(kStoreErrorDomain, static_cast<std::int64_t>(code), description);
}

}  // namespace xel
