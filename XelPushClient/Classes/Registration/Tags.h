#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Registration/RestRequests.h"

namespace xel {

/// Adds tags to the user's installation and removes them.
///
/// Owner: the manager. Thread: the manager's run loop. Keeps nothing. Its own errors have domains of their
/// own: "NotInitialized" 506, "NotRegistered" 505 and "Argument" 500.
class Tags {
public:
    /// How many of the user's installations the backend changed.
    using Success = std::function<void(std::int64_t count)>;
    using Failure = RestRequests::Failure;

    Tags(ClientSettings& settings, RestRequests& requests, const LogOutput& log);

    /// Either block may be empty. An answer without a count calls neither.
    void addTag(const std::optional<std::string>& name, Success success, const Failure& failure);
    void removeTag(const std::optional<std::string>& name, Success success, const Failure& failure);

private:
    void requestForManageTag(const std::optional<std::string>& name, std::string_view operation,
                             Success success, const Failure& failure);
    /// Only what is blank is refused: a missing value goes out as a placeholder.
    [[nodiscard]] std::optional<NSError> refusal(const std::optional<std::string>& name);

    ClientSettings& settings_;
    RestRequests& requests_;
    const LogOutput& log_;
};

}  // namespace xel
