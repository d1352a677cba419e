#include "tools/options/JsonOption.h"

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"

namespace xel::tools {

CLI::Validator jsonObject() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            const auto value = SimdjsonSerialization().JSONObjectWithData(text);
            if (!value) {
                return "not valid JSON: " + value.error().localizedDescription();
            }
            return value.value().asDictionary() == nullptr ? "not a JSON object" : "";
        },
        "JSON");
}

Dictionary parseJsonObject(const std::string& text) {
    const auto value = SimdjsonSerialization().JSONObjectWithData(text);
    return *value.value().asDictionary();
}

}  // namespace xel::tools
