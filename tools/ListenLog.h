#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/LogSink.h"
#include "tools/ListenReport.h"

namespace xel::tools {

/// Reads in the client's log what it tells nowhere else: the messages that it drops, and why a connection
/// failed. From any thread.
class ListenLog final : public LogSink {
public:
    using ConnectionFailure = std::function<void(const std::string& cause)>;

    ListenLog(std::shared_ptr<ListenReport> report, bool verbose, ConnectionFailure connectionFailed);

    void write(std::string_view line) override;

private:
    std::shared_ptr<ListenReport> report_;
    bool verbose_;
    ConnectionFailure connectionFailed_;
};

}  // namespace xel::tools
