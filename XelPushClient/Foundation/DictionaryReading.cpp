#include "XelPushClient/Foundation/DictionaryReading.h"

#include "XelPushClient/Foundation/JSONPrinter.h"

namespace xel {
namespace {

template <class T>
std::optional<T> copied(const T* value) {
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

}  // namespace

Value valueUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? *value : Value();
}

std::optional<std::string> textUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? copied(value->asString()) : std::nullopt;
}

std::optional<double> numberUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? value->number() : std::nullopt;
}

std::optional<std::int64_t> integerUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? value->integer() : std::nullopt;
}

std::optional<std::string> identifierUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    if (value != nullptr && (value->isInteger() || value->isDouble())) {
        return printJSON(*value, JSONLayout::OneLine);
    }
    return value != nullptr ? copied(value->asString()) : std::nullopt;
}

std::optional<Array> arrayUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? copied(value->asArray()) : std::nullopt;
}

std::optional<Dictionary> dictionaryUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? copied(value->asDictionary()) : std::nullopt;
}

}  // namespace xel
