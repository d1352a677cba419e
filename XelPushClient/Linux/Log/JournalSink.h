#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/Diagnostics.h"
#include "XelPushClient/Platform/LogSink.h"

struct msghdr;

namespace xel {

class FileDescriptor;

/// Log entries and diagnostic records in systemd's journal, by its native protocol, without its library.
///
/// Each entry has MESSAGE, PRIORITY and SYSLOG_IDENTIFIER. A record's MESSAGE is its sentence, its PRIORITY 4
/// (warning) for a failure and 6 (info) otherwise, and each of its fields stands for itself:
/// XELPUSH_TYPE=connection-attempt-ended, XELPUSH_HOST, XELPUSH_DURATION_MS, so that `journalctl
/// XELPUSH_TYPE=publication-dropped` finds them. A log entry has PRIORITY 6 and no such fields.
///
/// On a machine without a journal entries are lost. One that takes nothing costs a second once; from then on
/// entries are lost until it does again. From any thread.
class JournalSink final : public LogSink, public Diagnostics {
public:
    static constexpr const char* kSocketPath = "/run/systemd/journal/socket";

    /// `identity` is what `journalctl -t` finds; usually the program's name.
    explicit JournalSink(std::string identity, std::string socketPath = kSocketPath);
    ~JournalSink() override;
    JournalSink(const JournalSink&) = delete;
    JournalSink& operator=(const JournalSink&) = delete;

    void write(std::string_view line) override;
    void record(const DiagnosticRecord& record) override;

private:
    void send(const std::string& entry);
    [[nodiscard]] bool pass(const msghdr& message);

    std::string identity_;
    std::string socketPath_;
    std::unique_ptr<FileDescriptor> socket_;
    std::atomic<bool> isStalled_ = false;
};

}  // namespace xel
