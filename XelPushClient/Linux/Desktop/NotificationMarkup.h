#pragma once

#include <string>
#include <string_view>

namespace xel {

// A notification's texts come from the network and are plain. Servers differ in what they make of a body: one
// with the capability "body-markup" reads it as markup: b, i, u, a and img, the rest of XML's rules with it.

/// The text so that a server that reads markup shows it as it is.
[[nodiscard]] std::string escapedForMarkup(std::string_view text);

/// The text without the tags of the markup's elements (b, i, u, a, img), for a server that would show them.
[[nodiscard]] std::string withoutMarkup(std::string_view text);

}  // namespace xel
