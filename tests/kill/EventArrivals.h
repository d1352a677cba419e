#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

#include "sandbox/state/SandboxInfo.h"

struct mosquitto;
struct mosquitto_message;

namespace xel::killtest {

/// A subscriber to every event of the application that keeps one row for each event's "id", as a service
/// does.
class EventArrivals {
public:
    /// How often each id has arrived.
    using Rows = std::map<std::string, std::size_t>;

    /// Returns once the broker has granted the subscription: what is published from then on arrives here.
    explicit EventArrivals(const xel::sandbox::SandboxInfo& info);
    EventArrivals(const EventArrivals&) = delete;
    EventArrivals& operator=(const EventArrivals&) = delete;
    ~EventArrivals();

    [[nodiscard]] Rows rows() const;

private:
    void take(const mosquitto_message& publication);
    void end();

    mosquitto* client_ = nullptr;
    mutable std::mutex mutex_;
    bool isSubscribed_ = false;
    Rows rows_;
};

}  // namespace xel::killtest
