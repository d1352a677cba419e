#pragma once

#include <cstddef>
#include <memory>

#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

/// Domain of the errors of JSON documents; the description says what is wrong.
inline constexpr std::string_view kJSONErrorDomain = "JSON";

/// JSON by simdjson, whose parser and buffers are kept for the next document.
///
/// Beside the port's rules: a document is at most `kLargestDocument` octets long, and a number whose size a
/// double cannot hold is an error. Thread: as the port says; one object, one thread.
class SimdjsonSerialization final : public NSJSONSerialization {
public:
    static constexpr std::size_t kLargestDocument = 4 * 1024 * 1024;
    static constexpr std::size_t kDeepestNesting = 64;

    SimdjsonSerialization();
    ~SimdjsonSerialization() override;

    [[nodiscard]] Result<Value> JSONObjectWithData(std::string_view data) override;
    [[nodiscard]] bool readObjectWithData(std::string_view data, JSONEntryReader& reader) override;

private:
    class Parser;
    std::unique_ptr<Parser> parser_;
};

}  // namespace xel
