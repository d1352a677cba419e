#include "XelPushClient/Classes/Core/DictionarySerialization.h"

#include "XelPushClient/Foundation/JSONPrinter.h"

namespace xel {

std::optional<std::string> serializeToDict(const Dictionary& dictionary, const LogOutput& log) {
    if (!isPrintableAsJSON(dictionary)) {
        TVRLog(log, "#### Could not serialization dictionary to Data ####");
        return std::nullopt;
    }
    return printJSON(dictionary, JSONLayout::Pretty);
}

std::optional<std::string> serializeToDict(const std::optional<Dictionary>& dictionary,
                                           const LogOutput& log) {
    return dictionary ? serializeToDict(*dictionary, log) : std::nullopt;
}

std::optional<std::string> toJsonString(const std::optional<Dictionary>& dictionary, const LogOutput& log) {
    if (!dictionary) {
        return std::nullopt;
    }
    return serializeToDict(*dictionary, log).value_or("");
}

}  // namespace xel
