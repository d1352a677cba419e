#include "XelPushClient/Testing/FakeFileManager.h"

#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {
namespace {

NSError diskIsFull(const std::string& path) {
    return makeFileError(NSFileErrorCode::WriteUnknown, formatted("%@ cannot be written", path));
}

NSError isThereAlready(const std::string& path) {
    return makeFileError(NSFileErrorCode::WriteFileExists, formatted("%@ is there already", path));
}

}  // namespace

Result<void> FakeFileManager::moveItem(const std::string& from, const std::string& to) {
    const std::lock_guard lock(mutex_);
    const auto source = files_.find(from);
    if (source == files_.end()) {
        return makeFileError(NSFileErrorCode::NoSuchFile, formatted("%@ is not there", from));
    }
    if (isFailing_) {
        return diskIsFull(to);
    }
    if (files_.contains(to)) {
        return isThereAlready(to);
    }
    files_.emplace(to, std::move(source->second));
    files_.erase(source);
    return {};
}

Result<void> FakeFileManager::writeNewFile(std::string_view content, const std::string& path) {
    const std::lock_guard lock(mutex_);
    if (isFailing_) {
        return diskIsFull(path);
    }
    return files_.try_emplace(path, content).second ? Result<void>() : isThereAlready(path);
}

void FakeFileManager::setFailing(bool isFailing) {
    const std::lock_guard lock(mutex_);
    isFailing_ = isFailing;
}

void FakeFileManager::put(const std::string& path, std::string content) {
    const std::lock_guard lock(mutex_);
    files_[path] = std::move(content);
}

void FakeFileManager::remove(const std::string& path) {
    const std::lock_guard lock(mutex_);
    files_.erase(path);
}

bool FakeFileManager::exists(const std::string& path) const {
    return contents(path).has_value();
}

std::optional<std::string> FakeFileManager::contents(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    const auto file = files_.find(path);
    return file != files_.end() ? std::optional(file->second) : std::nullopt;
}

std::map<std::string, std::string> FakeFileManager::files() const {
    const std::lock_guard lock(mutex_);
    return files_;
}

}  // namespace xel
