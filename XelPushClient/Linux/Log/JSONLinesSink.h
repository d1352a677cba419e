#pragma once

#include <memory>
#include <string_view>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/Diagnostics.h"
#include "XelPushClient/Platform/LogSink.h"

namespace xel {

class LineWriter;

/// Log entries and diagnostic records as JSON objects (RFC 8259), one a line, for programs to read.
///
/// Each has "time", in milliseconds since 1970, and "type": a record's kind and then its fields
/// (`diagnosticFields`), or "log" and "line". Lines of several threads do not mix; a reader that has stopped
/// costs lines, not time. From any thread.
class JSONLinesSink final : public LogSink, public Diagnostics {
public:
    /// Writes to the file descriptor, which it does not own.
    JSONLinesSink(int descriptor, std::shared_ptr<const Clock> clock);
    ~JSONLinesSink() override;
    JSONLinesSink(const JSONLinesSink&) = delete;
    JSONLinesSink& operator=(const JSONLinesSink&) = delete;

    void write(std::string_view line) override;
    void record(const DiagnosticRecord& record) override;

private:
    void writeObject(const Dictionary& fields);

    std::unique_ptr<LineWriter> writer_;
    std::shared_ptr<const Clock> clock_;
};

}  // namespace xel
