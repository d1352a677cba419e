// The two readers of JSON against each other: they take the same documents, and find the same in them. What
// the printer writes both read as what it was.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "tests/fuzz/support/Require.h"
#include "tests/fuzz/support/SameJSON.h"

namespace {

using namespace xel;
using fuzz::require;

class Entries final : public JSONEntryReader {
public:
    void readEntry(std::string_view key, JSONEntryValue& entry) override {
        const auto text = entry.text();
        const auto number = entry.number();
        const bool isTrue = entry.truth();
        const std::optional<std::string> kept(text);
        const Value value = entry.take();
        require(kept.has_value() == value.isString() && (!kept || *kept == *value.asString()),
                "a text is the value's");
        require(number == (value.isBool() ? std::nullopt : value.number()), "a number is the value's");
        require(isTrue == value.truth(), "and so is its truth");
        members.set(std::string(key), value);
    }

    Dictionary members;
};

/// To the kind of each number, which a document may say in more ways than one, and in its order.
std::string written(const Value& value) {
    return printJSON(value, JSONLayout::OneLine);
}

void checkEntries(NSJSONSerialization& reader, std::string_view document, const Result<Value>& whole) {
    Entries entries;
    const bool isObject = whole && whole.value().asDictionary() != nullptr;
    require(reader.readObjectWithData(document, entries) == isObject, "entries are those of an object");
    require(!isObject || entries.members == *whole.value().asDictionary(), "entries are the members");
}

void checkPrinter(NSJSONSerialization& reader, const Value& value) {
    for (const auto layout : {JSONLayout::OneLine, JSONLayout::Pretty}) {
        const std::string text = printJSON(value, layout);
        require(isValidUTF8(text), "what is written is UTF-8");
        const auto again = reader.JSONObjectWithData(text);
        require(again.isOk() && fuzz::isSame(again.value(), value), "what is written is read as it was");
        const auto third = reader.JSONObjectWithData(printJSON(again.value(), layout));
        require(third.isOk() && third.value() == again.value(), "from then on it stays");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Kept from document to document, as the client keeps it.
    static SimdjsonSerialization fast;
    SimpleJSONSerialization simple;
    // An exact copy, so that a look beyond it is noticed.
    const std::vector<char> exact(data, data + size);
    const std::string_view document(exact.data(), exact.size());

    const auto one = fast.JSONObjectWithData(document);
    const auto other = simple.JSONObjectWithData(document);
    require(one.isOk() == other.isOk(), "both take a document, or neither");
    checkEntries(fast, document, one);
    checkEntries(simple, document, other);
    if (!one) {
        require(isValidUTF8(one.error().localizedDescription()), "a refusal has its words");
        return 0;
    }
    require(one.value() == other.value(), "both find the same");
    require(written(one.value()) == written(other.value()), "both find it in the same order");
    require(isPrintableAsJSON(one.value()), "what was read can be written");
    checkPrinter(fast, one.value());
    checkPrinter(simple, one.value());
    return 0;
}
