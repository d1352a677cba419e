#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "sandbox/state/SandboxInfo.h"

struct mosquitto;

namespace xel::killtest {

/// A client of the push service that sends numbered messages to a channel, at least once each: "<word> 1",
/// "<word> 2" and so on.
///
/// What it says was sent, the broker has acknowledged.
class MessageStream {
public:
    /// The channel with its user, or "public": "alice01/default", "public/news".
    MessageStream(const xel::sandbox::SandboxInfo& info, const std::string& channel,
                  std::string word = "message");
    MessageStream(const MessageStream&) = delete;
    MessageStream& operator=(const MessageStream&) = delete;
    ~MessageStream();

    void sendOne(const std::string& body);

    /// Sends several hundred a second until `stop`, which answers the bodies sent, in order, once all of them
    /// are acknowledged. Throws when that takes too long.
    void start();
    std::vector<std::string> stop();

private:
    void sendUntilStopped();

    std::string topic_;
    std::string word_;
    mosquitto* client_ = nullptr;
    std::atomic<bool> isStopping_ = false;
    std::atomic<std::size_t> acknowledged_ = 0;
    std::size_t published_ = 0;
    std::vector<std::string> sent_;
    std::thread sender_;
};

}  // namespace xel::killtest
