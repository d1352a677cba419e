#include "XelPushClient/Linux/Application/NotificationAttachments.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {

namespace {

NSError attachmentError(UNErrorCode code, std::string_view reason) {
    return makeError(UNErrorDomain, static_cast<std::int64_t>(code), reason);
}

NSError errorOfSystem(const std::string& file) {
    const int number = errno;
    const bool isMissing = number == ENOENT || number == ENOTDIR || number == ENAMETOOLONG;
    return attachmentError(
        isMissing ? UNErrorCode::AttachmentInvalidURL : UNErrorCode::AttachmentInvalidFile,
        formatted("The file %@ cannot be attached: %@", file, std::generic_category().message(number)));
}

}  // namespace

Result<UNNotificationAttachment> attachmentOfFile(std::string identifier,
                                                  const std::optional<std::string>& file) {
    if (!file || file->empty() || file->front() != '/' || file->find('\0') != std::string::npos) {
        return attachmentError(UNErrorCode::AttachmentInvalidURL,
                               "There is no file to attach: its path is missing or not absolute");
    }
    struct stat facts {};
    if (::stat(file->c_str(), &facts) != 0) {
        return errorOfSystem(*file);
    }
    if (!S_ISREG(facts.st_mode)) {
        return attachmentError(UNErrorCode::AttachmentInvalidFile,
                               formatted("%@ cannot be attached: it is no regular file", *file));
    }
    if (::faccessat(AT_FDCWD, file->c_str(), R_OK, AT_EACCESS) != 0) {
        return errorOfSystem(*file);
    }
    return UNNotificationAttachment{std::move(identifier), *file};
}

}  // namespace xel
