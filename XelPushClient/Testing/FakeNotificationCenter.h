#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"
#include "XelPushClient/Testing/FakeFileManager.h"

namespace xel {

/// A notification service whose user the test plays. Thread: the run loop.
class FakeNotificationCenter final : public UNUserNotificationCenter {
public:
    /// Attachments are looked for in the files.
    FakeNotificationCenter(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<FakeFileManager> files)
        : runLoop_(std::move(runLoop)), files_(std::move(files)) {}

    void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) override {
        delegate_ = std::move(delegate);
    }
    void requestAuthorizationWithOptions(
        std::uint32_t options,
        std::function<void(bool granted, const std::optional<NSError>& error)> completion) override;
    void setNotificationCategories(std::vector<UNNotificationCategory> categories) override {
        categories_ = std::move(categories);
    }
    [[nodiscard]] Result<UNNotificationAttachment> attachmentWithIdentifier(
        std::string identifier, const std::optional<std::string>& file) override;
    void addNotificationRequest(UNNotificationRequest request,
                                std::function<void(const std::optional<NSError>& error)> completion) override;

    /// Requests fail with the error from now on; without one they succeed again.
    void setRequestError(std::optional<NSError> error) { requestError_ = std::move(error); }

    /// What is on screen, in the order in which it appeared: one notification for each identifier.
    [[nodiscard]] const std::vector<UNNotificationRequest>& onScreen() const { return onScreen_; }
    /// How many requests were ever taken.
    [[nodiscard]] std::size_t requestCount() const { return requestCount_; }
    [[nodiscard]] const std::vector<UNNotificationCategory>& categories() const { return categories_; }

    /// How the user answers requests for permission. At first they are granted; an error refuses too.
    void setAuthorizationAnswer(bool isGranted, std::optional<NSError> error = std::nullopt) {
        isGranted_ = isGranted;
        error_ = std::move(error);
    }

    /// The options of every request for permission so far.
    [[nodiscard]] const std::vector<std::uint32_t>& authorizationRequests() const { return requests_; }

    [[nodiscard]] bool hasDelegate() const { return !delegate_.expired(); }

    /// A notification arrives while the application is in front. Returns what the delegate passed to the
    /// completion; none if it did not call that at once, or if there is no delegate.
    std::optional<std::uint32_t> present(const UNNotification& notification);

    /// The user acts on a notification. Returns whether the delegate called the completion at once.
    bool respond(const UNNotificationResponse& response);

private:
    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<FakeFileManager> files_;
    std::weak_ptr<UNUserNotificationCenterDelegate> delegate_;
    bool isGranted_ = true;
    std::optional<NSError> error_;
    std::vector<std::uint32_t> requests_;
    std::vector<UNNotificationCategory> categories_;
    std::vector<UNNotificationRequest> onScreen_;
    std::size_t requestCount_ = 0;
    std::optional<NSError> requestError_;
};

}  // namespace xel
