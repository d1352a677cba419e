#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "tests/integration/desktop/support/BusLoop.h"

namespace xel::test {

/// One call of Inhibit.
struct ReceivedInhibit {
    std::string what;
    std::string who;
    std::string why;
    std::string mode;
};

/// The part of org.freedesktop.login1 that concerns sleep, on a connection and a thread of its own. As logind
/// does, it hands out one end of a pipe and holds an inhibitor until that end is closed. Thread: any.
class MockLogind {
public:
    MockLogind(const std::string& busAddress, std::chrono::microseconds longestDelay,
               bool isRefusing = false);
    MockLogind(const MockLogind&) = delete;
    MockLogind& operator=(const MockLogind&) = delete;
    ~MockLogind();

    void prepareForSleep(bool isBefore);

    [[nodiscard]] std::vector<ReceivedInhibit> inhibits() const;
    /// How many of the inhibitors are held still.
    [[nodiscard]] std::size_t heldCount() const;

private:
    void takeInhibit(sdbus::MethodCall& call);

    const bool isRefusing_;
    mutable std::mutex mutex_;
    std::vector<ReceivedInhibit> inhibits_;
    std::vector<FileDescriptor> watchedEnds_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    BusLoop loop_;
};

}  // namespace xel::test
