#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel::contract {

/// What every notification centre owes. A subject is default constructible and has
///     UNUserNotificationCenter& center();
///     NSRunLoop& loop();
///     bool runUntil(std::function<bool()> done);  // drives the loop until done; false: it never was
///     std::string makeFile();     // the path of a file that is there
///     std::string missingFile();  // one that is not
template <class Subject>
class UNUserNotificationCenterContract : public ::testing::Test {
protected:
    Subject subject_;
};

TYPED_TEST_SUITE_P(UNUserNotificationCenterContract);

TYPED_TEST_P(UNUserNotificationCenterContract, AttachesAFileThatIsThere) {
    const auto file = this->subject_.makeFile();
    const auto attachment = this->subject_.center().attachmentWithIdentifier("cat", file);
    ASSERT_TRUE(attachment);
    EXPECT_EQ(attachment.value(), (UNNotificationAttachment{"cat", file}));
}

TYPED_TEST_P(UNUserNotificationCenterContract, AMissingFileIsAnError) {
    for (const auto& file : {std::optional(this->subject_.missingFile()), std::optional(std::string()),
                             std::optional<std::string>()}) {
        const auto attachment = this->subject_.center().attachmentWithIdentifier("cat", file);
        ASSERT_FALSE(attachment);
        EXPECT_EQ(attachment.error().domain, UNErrorDomain);
        EXPECT_EQ(attachment.error().code, static_cast<std::int64_t>(UNErrorCode::AttachmentInvalidURL));
    }
}

TYPED_TEST_P(UNUserNotificationCenterContract, CompletesARequestLaterOnTheLoop) {
    UNNotificationRequest request{"one", {}};
    request.content.title = "Title";
    int calls = 0;
    const auto completion = [&](const std::optional<NSError>& error) {
        ++calls;
        EXPECT_FALSE(error);
        EXPECT_TRUE(this->subject_.loop().isCurrent());
    };
    this->subject_.center().addNotificationRequest(request, completion);
    this->subject_.center().addNotificationRequest(request, nullptr);
    this->subject_.center().addNotificationRequest(request, completion);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(this->subject_.runUntil([&] { return calls == 2; }));
}

REGISTER_TYPED_TEST_SUITE_P(UNUserNotificationCenterContract, AttachesAFileThatIsThere, AMissingFileIsAnError,
                            CompletesARequestLaterOnTheLoop);

}  // namespace xel::contract
