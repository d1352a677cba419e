#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// Whether the text is a token (RFC 9110 section 5.6.2): what a method and a field name are made of.
[[nodiscard]] bool isHeaderToken(std::string_view text);

/// Whether the text may stand behind a field name: no control character but the tab, so that no value can end
/// its line.
[[nodiscard]] bool isHeaderValue(std::string_view text);

/// Name and value of a received field line, without the white space around the value; none for any other
/// line.
[[nodiscard]] std::optional<std::pair<std::string, std::string>> parseHeaderLine(std::string_view line);

/// The header of an answer, line by line as it comes. An interim answer may come first (RFC 9110 section
/// 15.2): its fields are not the answer's.
class CurlHeaderBlock {
public:
    /// So many octets are read at most, those of interim answers included.
    static constexpr std::size_t kLargest = 256UL * 1024;

    /// Takes a line with its end; false when that makes too many octets.
    [[nodiscard]] bool take(std::string_view line);

    /// Whether the empty line that ends it has come.
    [[nodiscard]] bool isWhole() const { return isWhole_; }

    /// The fields in order; none are left.
    [[nodiscard]] HTTPHeaders takeFields() { return std::move(fields_); }

private:
    HTTPHeaders fields_;
    std::size_t octets_ = 0;
    bool isWhole_ = false;
};

}  // namespace xel
