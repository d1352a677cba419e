#pragma once

#include <map>
#include <string>
#include <utility>

#include "XelPushClient/Platform/LocalizedStrings.h"

namespace xel {

/// Translations that the test sets. Thread: the run loop.
class FakeLocalizedStrings final : public LocalizedStrings {
public:
    [[nodiscard]] std::string localizedUserNotificationStringForKey(const std::string& key) override {
        const auto translation = translations_.find(key);
        return translation != translations_.end() ? translation->second : key;
    }

    void translate(const std::string& key, std::string translation) {
        translations_[key] = std::move(translation);
    }

private:
    std::map<std::string, std::string> translations_;
};

}  // namespace xel
