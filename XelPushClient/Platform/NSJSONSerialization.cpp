#include "XelPushClient/Platform/NSJSONSerialization.h"

#include <utility>

namespace xel {
namespace {

class MadeValue final : public JSONEntryValue {
public:
    explicit MadeValue(Value& value) : value_(value) {}

    [[nodiscard]] std::optional<std::string_view> text() const override {
        const std::string* const text = value_.asString();
        return text != nullptr ? std::optional<std::string_view>(*text) : std::nullopt;
    }
    [[nodiscard]] std::optional<double> number() const override {
        return value_.isBool() ? std::nullopt : value_.number();
    }
    [[nodiscard]] bool truth() const override { return value_.truth(); }
    [[nodiscard]] Value take() override { return std::move(value_); }

private:
    Value& value_;
};

}  // namespace

bool NSJSONSerialization::readObjectWithData(std::string_view data, JSONEntryReader& reader) {
    auto document = JSONObjectWithData(data);
    Dictionary* object = document ? document.value().asDictionary() : nullptr;
    if (object == nullptr) {
        return false;
    }
    for (auto& [key, value] : object->takeEntries()) {
        MadeValue made(value);
        reader.readEntry(key, made);
    }
    return true;
}

}  // namespace xel
