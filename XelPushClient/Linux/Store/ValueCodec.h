#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// The stored form of a `Value`: one octet for the version, then the value. A value is a tag and its content:
/// lengths and counts are unsigned LEB128, integers the same in zigzag form, doubles and dates (seconds since
/// 1970) eight octets of IEEE 754, the lowest first; a dictionary is its count and then keys and values in
/// its order.
///
/// Every kind comes back equal. Nesting is bounded at `kDeepestStoredValue` both ways.
inline constexpr std::size_t kDeepestStoredValue = 100;

/// Appends the stored form. False, with the output as it was, for a value that is nested too deeply.
[[nodiscard]] bool appendEncodedValue(const Value& value, std::string& output);

/// Reads a stored form, strictly: an unknown version or tag, an overlong number, a length or count beyond
/// what is there, a key given twice, octets left over are all errors (`StoreErrorCode::Damaged`), and nothing
/// is allocated on the word of a count.
[[nodiscard]] Result<Value> decodeValue(std::string_view octets);

/// The stored form of a table of topics: a dictionary of topics and qualities of service, in its order. Back
/// it is missing for anything else.
[[nodiscard]] std::string encodeTopics(const TopicTable& topics);
[[nodiscard]] std::optional<TopicTable> decodeTopics(std::string_view octets);

}  // namespace xel
