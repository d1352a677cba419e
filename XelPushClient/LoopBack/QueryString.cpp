#include "XelPushClient/LoopBack/QueryString.h"

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

void appendPair(std::string& query, const std::string& name, const std::string* value) {
    if (!query.empty()) {
        query += '&';
    }
    // Encoded by the callers, because the brackets of inner names stay as they are.
    query += name;
    if (value != nullptr) {
        query += '=';
        query += encodeUrlString(*value);
    }
}

void appendValue(std::string& query, const std::string& name, const Value& value);

struct PairWriter {
    std::string& query;
    const std::string& name;

    void text(const std::string& value) const { appendPair(query, name, &value); }

    void operator()(std::monostate) const { appendPair(query, name, nullptr); }
    void operator()(bool value) const { text(value ? "1" : "0"); }
    void operator()(std::int64_t value) const { text(printJSON(value, JSONLayout::OneLine)); }
    void operator()(double value) const { text(printJSON(value, JSONLayout::OneLine)); }
    void operator()(const std::string& value) const { text(value); }
    void operator()(const Data& value) const { text(hexadecimal(value)); }
    void operator()(Date value) const { text(std::to_string(wholeMillisecondsSince1970(value))); }
    void operator()(const Array& value) const {
        for (const Value& element : value) {
            appendValue(query, name + "[]", element);
        }
    }
    void operator()(const Dictionary& value) const {
        for (const auto& [key, inner] : value) {
            appendValue(query, name + '[' + encodeUrlString(key) + ']', inner);
        }
    }
};

void appendValue(std::string& query, const std::string& name, const Value& value) {
    value.visit(PairWriter{query, name});
}

}  // namespace

std::string queryString(const Dictionary& parameters) {
    std::string query;
    for (const auto& [key, value] : parameters) {
        appendValue(query, encodeUrlString(key), value);
    }
    return query;
}

}  // namespace xel
