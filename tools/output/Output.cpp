#include "tools/output/Output.h"

#include <iostream>
#include <mutex>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Linux/Log/LogLine.h"

namespace xel::tools {

namespace {

std::mutex& outputMutex() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

void printLine(bool json, const Dictionary& record, std::string_view text) {
    const std::lock_guard lock(outputMutex());
    if (json) {
        std::cout << printJSON(record, JSONLayout::OneLine) << std::endl;
    } else {
        std::cout << printableLogLine(text) << std::endl;
    }
}

void printProgress(std::string_view text) {
    const std::lock_guard lock(outputMutex());
    std::cerr << printableLogLine(text) << std::endl;
}

std::string textOf(const Dictionary& record, std::string_view key) {
    const Value* value = record.find(key);
    return value != nullptr && value->isString() ? *value->asString() : "";
}

}  // namespace xel::tools
