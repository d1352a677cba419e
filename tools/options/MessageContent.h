#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel::tools {

/// What a message says and how it is sent, as the command line has it.
struct MessageContent {
    std::string text{};
    std::string data{};
    std::string notification{};
    std::string title{};
    std::string body{};
    std::optional<std::int64_t> badge{};
    std::optional<std::chrono::milliseconds> expires{};  ///< from now
    bool silent = false;
    bool live = false;
    bool stateful = false;
};

void addContentOptions(CLI::App& command, MessageContent& content);

/// The application's data, the notification to show and the expiry; none where nothing is said of them.
[[nodiscard]] std::optional<Dictionary> dataOf(const MessageContent& content);
[[nodiscard]] std::optional<Dictionary> notificationOf(const MessageContent& content);
[[nodiscard]] std::optional<Date> expiryOf(const MessageContent& content);

}  // namespace xel::tools
