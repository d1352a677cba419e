#pragma once

#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Linux/Homes/CarriedJournal.h"

namespace xel {

/// Opens or makes the files of a store that this process owns, "<base>.db" and its journal. Of a damaged
/// database a new one is made with what can be told to be right in it, and the journal is carried over into
/// that; what was lost is reported, a line at a time, and the whole of it given out. Errors are
/// `StoreErrorCode`s.
[[nodiscard]] Result<std::unique_ptr<CarriedJournal>> openStore(const std::string& base,
                                                                const CarriedJournal::Report& report,
                                                                std::optional<NSError>& damageReport);

}  // namespace xel
