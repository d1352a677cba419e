#include "tools/runs/LogPhrase.h"

namespace xel::tools {

std::optional<std::string_view> textBehind(std::string_view line, std::string_view phrase) {
    const auto found = line.find(phrase);
    if (found == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = line.substr(found + phrase.size());
    rest = rest.substr(0, rest.find('\n'));
    while (rest.ends_with(' ')) {
        rest.remove_suffix(1);
    }
    return rest;
}

}  // namespace xel::tools
