#include "XelPushClient/Linux/SimdjsonSerialization.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

#include <simdjson.h>

namespace xel {
namespace {

// The library's document model is used, and not its on-demand interface: the former chooses the instructions
// of the machine that runs it, the latter those of the machine that compiled it, which for a package are the
// plainest.
using simdjson::dom::element;
using simdjson::dom::element_type;

/// Documents beyond this are rare: the memory they took is given back.
constexpr std::size_t kLargestKeptBuffer = 256 * 1024;

NSError errorOf(std::string_view cause) {
    return makeError(kJSONErrorDomain, 1,
                     "the text is not a JSON document that can be read: " + std::string(cause));
}

/// Builds the value. False when the nesting is too deep, which the parser bounds only roughly.
class ValueBuilder {
public:
    [[nodiscard]] bool build(const element& from, Value& to, std::size_t depth) {
        switch (from.type()) {
            case element_type::ARRAY: return buildArray(from, to, depth + 1);
            case element_type::OBJECT: return buildDictionary(from, to, depth + 1);
            case element_type::INT64: to = Value(from.get_int64().value_unsafe()); return true;
            case element_type::UINT64:
                to = Value(static_cast<double>(from.get_uint64().value_unsafe()));
                return true;
            case element_type::DOUBLE: to = Value(from.get_double().value_unsafe()); return true;
            case element_type::STRING: to = Value(from.get_string().value_unsafe()); return true;
            case element_type::BOOL: to = Value(from.get_bool().value_unsafe()); return true;
            case element_type::NULL_VALUE: to = Value(); return true;
        }
        return false;
    }

private:
    [[nodiscard]] bool buildArray(const element& from, Value& to, std::size_t depth) {
        if (depth > SimdjsonSerialization::kDeepestNesting) {
            return false;
        }
        const simdjson::dom::array items = from.get_array().value_unsafe();
        Array result;
        result.reserve(items.size());
        for (const element item : items) {
            if (!build(item, result.emplace_back(), depth)) {
                return false;
            }
        }
        to = Value(std::move(result));
        return true;
    }

    [[nodiscard]] bool buildDictionary(const element& from, Value& to, std::size_t depth) {
        if (depth > SimdjsonSerialization::kDeepestNesting) {
            return false;
        }
        const simdjson::dom::object entries = from.get_object().value_unsafe();
        Dictionary result;
        result.reserve(entries.size());
        for (const auto& [key, item] : entries) {
            Value value;
            if (!build(item, value, depth)) {
                return false;
            }
            result.set(std::string(key), std::move(value));
        }
        to = Value(std::move(result));
        return true;
    }
};

bool isDigit(char octet) {
    return octet >= '0' && octet <= '9';
}

/// Whether a number's text is an integer that 64 bits cannot hold.
bool isHugeInteger(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc::result_out_of_range && end == text.data() + text.size();
}

/// The document with an exponent of nought behind every integer that 64 bits cannot hold: the parser refuses
/// such an integer, but reads the same number as a double.
std::string withHugeIntegersAsDoubles(std::string_view document) {
    std::string result;
    bool isInString = false;
    for (std::size_t at = 0; at < document.size();) {
        const char octet = document[at];
        if (isInString && octet == '\\') {
            result.append(document.substr(at, 2));
            at += 2;
            continue;
        }
        isInString = (octet == '"') != isInString;
        const bool startsNumber = !isInString && (octet == '-' || isDigit(octet));
        if (!startsNumber) {
            result.push_back(octet);
            ++at;
            continue;
        }
        const std::size_t end = std::min(document.find_first_not_of("+-.0123456789eE", at), document.size());
        const auto number = document.substr(at, end - at);
        result.append(number);
        if (isHugeInteger(number)) {
            result.append("e0");
        }
        at = end;
    }
    return result;
}

}  // namespace

class SimdjsonSerialization::Parser {
public:
    [[nodiscard]] simdjson::error_code parse(std::string_view document, element& root) {
        if (const auto error = makeRoom(document.size()); error != simdjson::SUCCESS) {
            return error;
        }
        std::copy(document.begin(), document.end(), padded_.begin());
        std::fill_n(padded_.begin() + static_cast<std::ptrdiff_t>(document.size()),
                    simdjson::SIMDJSON_PADDING, '\0');
        return parser_.parse(padded_.data(), document.size(), false).get(root);
    }

    void giveBackWhatIsLarge() {
        if (padded_.size() > kLargestKeptBuffer) {
            padded_ = {};
            parser_ = simdjson::dom::parser(kLargestCapacity);
            capacity_ = 0;
        }
    }

private:
    [[nodiscard]] simdjson::error_code makeRoom(std::size_t size) {
        if (capacity_ > 0 && size <= capacity_) {
            return simdjson::SUCCESS;
        }
        const std::size_t capacity = std::max<std::size_t>(size + size / 2, 4096);
        padded_.resize(capacity + simdjson::SIMDJSON_PADDING);
        // One level more than allowed: the parser counts a scalar as a level.
        const auto error = parser_.allocate(capacity, kDeepestNesting + 1);
        capacity_ = error == simdjson::SUCCESS ? capacity : 0;
        return error;
    }

    // Room is made beyond what is asked for.
    static constexpr std::size_t kLargestCapacity = 2 * kLargestDocument;

    simdjson::dom::parser parser_{kLargestCapacity};
    std::string padded_;
    std::size_t capacity_ = 0;
};

SimdjsonSerialization::SimdjsonSerialization() : parser_(std::make_unique<Parser>()) {}

SimdjsonSerialization::~SimdjsonSerialization() = default;

Result<Value> SimdjsonSerialization::JSONObjectWithData(std::string_view data) {
    if (data.size() > kLargestDocument) {
        return errorOf("it is longer than " + std::to_string(kLargestDocument) + " octets");
    }
    element root;
    auto error = parser_->parse(data, root);
    if (error == simdjson::NUMBER_ERROR) {
        error = parser_->parse(withHugeIntegersAsDoubles(data), root);
    }
    if (error != simdjson::SUCCESS) {
        parser_->giveBackWhatIsLarge();
        return errorOf(simdjson::error_message(error));
    }
    Value value;
    const bool isBuilt = ValueBuilder().build(root, value, 0);
    parser_->giveBackWhatIsLarge();
    if (!isBuilt) {
        return errorOf("it is nested deeper than " + std::to_string(kDeepestNesting) + " levels");
    }
    return value;
}

}  // namespace xel
