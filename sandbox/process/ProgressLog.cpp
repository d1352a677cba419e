#include "sandbox/process/ProgressLog.h"

#include <cstdio>
#include <utility>

namespace xel::sandbox {
namespace {

void writeToStandardError(std::string_view line) {
    std::string text = "xelpush sandbox: ";
    text.append(line).push_back('\n');
    std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

ProgressLog::ProgressLog(LogSink sink) : sink_(std::move(sink)) {
    if (!sink_) {
        sink_ = writeToStandardError;
    }
}

void ProgressLog::write(std::string_view line) {
    const std::lock_guard lock(mutex_);
    sink_(line);
}

std::string withoutControlCharacters(std::string_view text) {
    std::string clean(text);
    std::replace_if(
        clean.begin(), clean.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20U || c == '\x7F'; }, '?');
    return clean;
}

}  // namespace xel::sandbox
