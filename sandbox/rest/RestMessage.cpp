#include "sandbox/rest/RestMessage.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "sandbox/relay/Hexadecimal.h"

namespace xel::sandbox {
namespace {

std::string decodePercent(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            if (const std::optional<char> byte = byteOfHexDigits(text[i + 1], text[i + 2])) {
                decoded += *byte;
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

// Calls `take` with each piece of `text` between separators.
template <typename Take>
void forEachPiece(std::string_view text, char separator, Take take) {
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        take(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

}  // namespace

RestResponse makeErrorResponse(unsigned status, const std::string& message) {
    return RestResponse{status, Json{{"error", Json{{"status", status}, {"message", message}}}}};
}

void parseTarget(std::string_view target, RestRequest& request) {
    const std::size_t mark = target.find('?');
    forEachPiece(target.substr(0, mark), '/', [&request](std::string_view piece) {
        if (!piece.empty()) {
            request.path.push_back(decodePercent(piece));
        }
    });
    if (mark == std::string_view::npos) {
        return;
    }
    forEachPiece(target.substr(mark + 1), '&', [&request](std::string_view piece) {
        const std::size_t equals = piece.find('=');
        std::string value =
            equals == std::string_view::npos ? std::string() : decodePercent(piece.substr(equals + 1));
        request.query.insert_or_assign(decodePercent(piece.substr(0, equals)), std::move(value));
    });
}

}  // namespace xel::sandbox
