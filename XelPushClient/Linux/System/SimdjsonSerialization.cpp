#include "XelPushClient/Linux/System/SimdjsonSerialization.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <new>
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
constexpr std::size_t kLargestKeptText = 256 * 1024;

NSError errorOf(std::string_view cause) {
    return makeError(kJSONErrorDomain, 1,
                     "the text is not a JSON document that can be read: " + std::string(cause));
}

/// Builds the value in its place. False when the nesting is too deep, which the parser bounds only roughly.
[[nodiscard]] bool build(const element& from, Value& to, std::size_t depth);

[[nodiscard]] bool buildArray(const simdjson::dom::array& from, Array& to, std::size_t depth) {
    if (depth > SimdjsonSerialization::kDeepestNesting) {
        return false;
    }
    to.reserve(from.size());
    for (const element item : from) {
        if (!build(item, to.emplace_back(), depth)) {
            return false;
        }
    }
    return true;
}

[[nodiscard]] bool buildDictionary(const simdjson::dom::object& from, Dictionary& to, std::size_t depth) {
    if (depth > SimdjsonSerialization::kDeepestNesting) {
        return false;
    }
    to.reserve(from.size());
    for (const auto& [key, item] : from) {
        if (!build(item, to.at(key), depth)) {
            return false;
        }
    }
    return true;
}

bool build(const element& from, Value& to, std::size_t depth) {
    switch (from.type()) {
        case element_type::ARRAY:
            return buildArray(from.get_array().value_unsafe(), to.emplace<Array>(), depth + 1);
        case element_type::OBJECT:
            return buildDictionary(from.get_object().value_unsafe(), to.emplace<Dictionary>(), depth + 1);
        case element_type::INT64: to.emplace<std::int64_t>(from.get_int64().value_unsafe()); return true;
        // Beyond the largest integer, so read as other huge ones are.
        case element_type::UINT64:
            to.emplace<double>(static_cast<double>(from.get_uint64().value_unsafe()));
            return true;
        case element_type::DOUBLE: to.emplace<double>(from.get_double().value_unsafe()); return true;
        case element_type::STRING: to.emplace<std::string>(from.get_string().value_unsafe()); return true;
        case element_type::BOOL: to.emplace<bool>(from.get_bool().value_unsafe()); return true;
        case element_type::NULL_VALUE: to = Value(); return true;
    }
    return false;
}

[[nodiscard]] bool isNestedTooDeep(const element& item, std::size_t depth) {
    const auto isAnyTooDeep = [depth](const auto& items, auto itemOf) {
        return std::any_of(items.begin(), items.end(),
                           [&](const auto& each) { return isNestedTooDeep(itemOf(each), depth + 1); });
    };
    switch (item.type()) {
        case element_type::ARRAY:
            return depth + 1 > SimdjsonSerialization::kDeepestNesting ||
                   isAnyTooDeep(item.get_array().value_unsafe(), [](const element& each) { return each; });
        case element_type::OBJECT:
            return depth + 1 > SimdjsonSerialization::kDeepestNesting ||
                   isAnyTooDeep(item.get_object().value_unsafe(),
                                [](const simdjson::dom::key_value_pair& each) { return each.value; });
        default: return false;
    }
}

/// A top-level value, straight from the parsed document.
class ParsedValue final : public JSONEntryValue {
public:
    explicit ParsedValue(const element& item) : item_(item) {}

    [[nodiscard]] std::optional<std::string_view> text() const override {
        return item_.type() == element_type::STRING ? std::optional(item_.get_string().value_unsafe())
                                                    : std::nullopt;
    }
    [[nodiscard]] std::optional<double> number() const override {
        switch (item_.type()) {
            case element_type::INT64: return static_cast<double>(item_.get_int64().value_unsafe());
            case element_type::UINT64: return static_cast<double>(item_.get_uint64().value_unsafe());
            case element_type::DOUBLE: return item_.get_double().value_unsafe();
            default: return std::nullopt;
        }
    }
    [[nodiscard]] bool truth() const override {
        return item_.type() == element_type::BOOL ? item_.get_bool().value_unsafe()
                                                  : number().value_or(0.0) != 0.0;
    }
    [[nodiscard]] Value take() override {
        Value value;
        isTaken_ = true;
        isTooDeep_ = !build(item_, value, 1);
        return value;
    }

    /// Also when nobody took it.
    [[nodiscard]] bool isTooDeep() const {
        const bool holdsOthers = item_.is_array() || item_.is_object();
        return isTaken_ ? isTooDeep_ : holdsOthers && isNestedTooDeep(item_, 1);
    }

private:
    const element item_;
    bool isTaken_ = false;
    bool isTooDeep_ = false;
};

[[nodiscard]] bool readEntries(const simdjson::dom::object& from, JSONEntryReader& reader) {
    for (const auto& [key, item] : from) {
        ParsedValue value(item);
        reader.readEntry(key, value);
        if (value.isTooDeep()) {
            return false;
        }
    }
    return true;
}

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
        auto error = parseOnce(document, root);
        if (error == simdjson::NUMBER_ERROR) {
            error = parseOnce(withHugeIntegersAsDoubles(document), root);
        }
        // Nothing is known of the document then: it must not pass for one that cannot be read.
        if (error == simdjson::MEMALLOC) {
            throw std::bad_alloc();
        }
        return error;
    }

    void giveBackWhatIsLarge() {
        if (padded_.size() > kLargestKeptText) {
            padded_ = {};
            parser_ = simdjson::dom::parser(kLargestCapacity);
            capacity_ = 0;
        }
    }

private:
    [[nodiscard]] simdjson::error_code parseOnce(std::string_view document, element& root) {
        if (const auto error = makeRoom(document.size()); error != simdjson::SUCCESS) {
            return error;
        }
        std::copy(document.begin(), document.end(), padded_.begin());
        std::fill_n(padded_.begin() + static_cast<std::ptrdiff_t>(document.size()),
                    simdjson::SIMDJSON_PADDING, '\0');
        // The parser reads a little beyond a document's end; with the padding here it need not copy it
        // once more.
        return parser_.parse(padded_.data(), document.size(), false).get(root);
    }

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
    if (const auto error = parser_->parse(data, root); error != simdjson::SUCCESS) {
        parser_->giveBackWhatIsLarge();
        return errorOf(simdjson::error_message(error));
    }
    Value value;
    const bool isBuilt = build(root, value, 0);
    parser_->giveBackWhatIsLarge();
    if (!isBuilt) {
        return errorOf("it is nested deeper than " + std::to_string(kDeepestNesting) + " levels");
    }
    return value;
}

bool SimdjsonSerialization::readObjectWithData(std::string_view data, JSONEntryReader& reader) {
    element root;
    const bool isObject = data.size() <= kLargestDocument &&
                          parser_->parse(data, root) == simdjson::SUCCESS &&
                          root.type() == element_type::OBJECT;
    const bool isRead = isObject && readEntries(root.get_object().value_unsafe(), reader);
    parser_->giveBackWhatIsLarge();
    return isRead;
}

}  // namespace xel
