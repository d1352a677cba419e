#pragma once

#include <thread>

#include <sdbus-c++/sdbus-c++.h>

namespace xel::test {

/// Serves what a test offers on a bus, on a thread of its own, until it goes. Begun once everything is
/// offered.
class BusLoop {
public:
    BusLoop() = default;
    BusLoop(const BusLoop&) = delete;
    BusLoop& operator=(const BusLoop&) = delete;
    ~BusLoop() {
        if (connection_ != nullptr) {
            connection_->leaveEventLoop();
            thread_.join();
        }
    }

    void begin(sdbus::IConnection& connection) {
        connection_ = &connection;
        thread_ = std::thread([&connection] {
            try {
                connection.enterEventLoop();
            } catch (const sdbus::Error&) {
                return;  // the bus has gone, as a test may want it
            }
        });
    }

private:
    sdbus::IConnection* connection_ = nullptr;
    std::thread thread_;
};

}  // namespace xel::test
