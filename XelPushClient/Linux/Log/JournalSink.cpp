#include "XelPushClient/Linux/Log/JournalSink.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Log/LogLine.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"

namespace xel {

namespace {

constexpr std::string_view kFieldPrefix = "XELPUSH_";
constexpr timeval kSocketPatience{1, 0};
constexpr std::string_view kWarning = "4";
constexpr std::string_view kInformation = "6";

/// A value with a line feed is framed by its length, 64 bits, the lowest octet first: so no value can pass
/// for another field.
void appendField(std::string& entry, std::string_view name, std::string_view value) {
    entry += name;
    if (value.find('\n') == std::string_view::npos) {
        entry += '=';
    } else {
        entry += '\n';
        for (int shift = 0; shift < 64; shift += 8) {
            entry += static_cast<char>((std::uint64_t{value.size()} >> shift) & 0xFFU);
        }
    }
    entry += value;
    entry += '\n';
}

/// What each entry begins with.
std::string beginEntry(std::string_view message, std::string_view priority, std::string_view identity) {
    std::string entry;
    appendField(entry, "MESSAGE", printableLogLine(message));
    appendField(entry, "PRIORITY", priority);
    appendField(entry, "SYSLOG_IDENTIFIER", identity);
    return entry;
}

/// "durationMs" is XELPUSH_DURATION_MS.
std::string journalFieldName(std::string_view key) {
    std::string name(kFieldPrefix);
    for (const char character : key) {
        if (character >= 'A' && character <= 'Z') {
            name += '_';
        }
        name += character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
    }
    return name;
}

/// What is too large for a datagram goes as a sealed file in memory, which the journal reads.
FileDescriptor sealedFile(std::string_view content) {
    FileDescriptor file(::memfd_create("xel-journal-entry", MFD_ALLOW_SEALING | MFD_CLOEXEC));
    while (file.isOpen() && !content.empty()) {
        const ssize_t written = ::write(file.number(), content.data(), content.size());
        if (written < 0) {
            return FileDescriptor();
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
    return file.isOpen() && ::fcntl(file.number(), F_ADD_SEALS, kSeals) == 0 ? std::move(file)
                                                                             : FileDescriptor();
}

}  // namespace

JournalSink::JournalSink(std::string identity, std::string socketPath)
    : identity_(std::move(identity)),
      socketPath_(std::move(socketPath)),
      socket_(std::make_unique<FileDescriptor>(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))) {
    (void)::setsockopt(socket_->number(), SOL_SOCKET, SO_SNDTIMEO, &kSocketPatience, sizeof kSocketPatience);
}

JournalSink::~JournalSink() = default;

void JournalSink::write(std::string_view line) {
    try {
        send(beginEntry(line, kInformation, identity_));
    } catch (const std::bad_alloc&) {
        return;  // nowhere to tell about it
    }
}

void JournalSink::record(const DiagnosticRecord& record) {
    try {
        std::string entry = beginEntry(describeDiagnostic(record),
                                       isDiagnosticFailure(record) ? kWarning : kInformation, identity_);
        for (const auto& [key, value] : diagnosticFields(record)) {
            const std::string* text = value.asString();
            appendField(entry, journalFieldName(key), text != nullptr ? *text : describeValue(value));
        }
        send(entry);
    } catch (const std::bad_alloc&) {
        return;
    }
}

/// False when the entry is too large for a datagram.
bool JournalSink::pass(const msghdr& message) {
    const int flags = MSG_NOSIGNAL | (isStalled_ ? MSG_DONTWAIT : 0);
    const bool isSent = ::sendmsg(socket_->number(), &message, flags) >= 0;
    isStalled_ = !isSent && errno == EAGAIN;
    return isSent || (errno != EMSGSIZE && errno != ENOBUFS);
}

void JournalSink::send(const std::string& entry) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath_.size() >= sizeof address.sun_path) {
        return;
    }
    std::memcpy(static_cast<char*>(address.sun_path), socketPath_.data(), socketPath_.size());
    iovec content{const_cast<char*>(entry.data()), entry.size()};
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    if (pass(message)) {
        return;
    }
    const FileDescriptor file = sealedFile(entry);
    if (!file.isOpen()) {
        return;
    }
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    message.msg_iovlen = 0;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int number = file.number();
    std::memcpy(CMSG_DATA(header), &number, sizeof number);
    (void)pass(message);
}

}  // namespace xel
