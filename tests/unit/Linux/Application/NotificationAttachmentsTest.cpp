#include <cerrno>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Linux/Application/NotificationAttachments.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel {
namespace {

bool isError(const Result<UNNotificationAttachment>& result, UNErrorCode code) {
    return !result && result.error().domain == UNErrorDomain &&
           result.error().code == static_cast<std::int64_t>(code);
}

TEST(NotificationAttachments, AreRegularFilesThatCanBeRead) {
    const contract::TemporaryFolder folder;
    const std::string file = folder.path() + "/cat.png";
    std::ofstream(file) << "meow";
    const auto attachment = attachmentOfFile("pets", file);
    ASSERT_TRUE(attachment);
    EXPECT_EQ(attachment.value(), (UNNotificationAttachment{"pets", file}));
}

TEST(NotificationAttachments, AreNothingElse) {
    const contract::TemporaryFolder folder;
    const std::string pipe = folder.path() + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(isError(attachmentOfFile("", std::nullopt), UNErrorCode::AttachmentInvalidURL));
    EXPECT_TRUE(isError(attachmentOfFile("", ""), UNErrorCode::AttachmentInvalidURL));
    EXPECT_TRUE(isError(attachmentOfFile("", "cat.png"), UNErrorCode::AttachmentInvalidURL));
    EXPECT_TRUE(
        isError(attachmentOfFile("", std::string("/etc/passwd\0", 12)), UNErrorCode::AttachmentInvalidURL));
    EXPECT_TRUE(isError(attachmentOfFile("", folder.path() + "/none"), UNErrorCode::AttachmentInvalidURL));
    EXPECT_TRUE(
        isError(attachmentOfFile("", "/" + std::string(5000, 'x')), UNErrorCode::AttachmentInvalidURL));
    EXPECT_TRUE(isError(attachmentOfFile("", folder.path()), UNErrorCode::AttachmentInvalidFile));
    EXPECT_TRUE(isError(attachmentOfFile("", pipe), UNErrorCode::AttachmentInvalidFile));
    EXPECT_TRUE(isError(attachmentOfFile("", "/dev/null"), UNErrorCode::AttachmentInvalidFile));
}

/// Root may read every file, so the test is somebody else while it lasts.
class Nobody {
public:
    Nobody() : before_(::geteuid()) {
        if (before_ == 0) {
            EXPECT_EQ(::seteuid(65534), 0);
        }
    }
    Nobody(const Nobody&) = delete;
    Nobody& operator=(const Nobody&) = delete;
    ~Nobody() {
        if (before_ == 0) {
            EXPECT_EQ(::seteuid(before_), 0);
        }
    }

private:
    uid_t before_;
};

TEST(NotificationAttachments, AreNotFilesThatMayNotBeRead) {
    const contract::TemporaryFolder folder;
    const std::string file = folder.path() + "/cat.png";
    std::ofstream(file) << "meow";
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0200), 0);
    const Nobody nobody;
    EXPECT_TRUE(isError(attachmentOfFile("", file), UNErrorCode::AttachmentInvalidFile));
}

}  // namespace
}  // namespace xel
