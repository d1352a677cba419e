#pragma once

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/XelPushClient.h"

// What the larger samples have in common. Credentials come by environment: XELPUSH_APP_ID, XELPUSH_API_KEY,
// XELPUSH_BROKER_USER, XELPUSH_BROKER_PASSWORD, and XELPUSH_CA_FILE for the local push service's own
// certificate authority.

namespace example {

inline std::optional<std::string> setting(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

/// Hands the credentials over and registers the user, which connects. Throws when they are refused at once.
inline void registerWithService(xel::PushClientManager& push, const std::string& user,
                                const std::vector<std::string>& channels) {
    if (!push.registerApplication(setting("XELPUSH_APP_ID"), setting("XELPUSH_API_KEY"),
                                  setting("XELPUSH_BROKER_USER"), setting("XELPUSH_BROKER_PASSWORD")) ||
        !push.registerUser(user, channels)) {
        throw std::runtime_error(push.failureError()->localizedDescription());
    }
}

/// The value; throws with the reason when there is none, such as a home that another process owns.
template <class Value>
Value orThrow(xel::Result<Value> result) {
    if (!result) {
        throw std::runtime_error(result.error().localizedDescription());
    }
    return std::move(result).value();
}

/// Opens the home of the options' name.
inline xel::Home openHome(const xel::LinuxOptions& options, const xel::Machine& machine) {
    return orThrow(xel::openLinuxHome(options, machine));
}

/// As above, by another name.
inline xel::Home openHome(xel::LinuxOptions options, const xel::Machine& machine, const std::string& name) {
    options.name = name;
    return openHome(options, machine);
}

/// Runs the host's context until SIGINT or SIGTERM; then every client says goodbye to the broker, which takes
/// a moment.
inline void runUntilSignal(boost::asio::io_context& context, const xel::Machine& machine) {
    boost::asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([&context](const auto& /*error*/, int /*signal*/) { context.stop(); });
    context.run();
    xel::linuxApplicationOf(machine).willTerminate();
    context.restart();
    context.run_for(std::chrono::milliseconds(500));
}

/// The frame of a sample's main function: wrong usage is 2, a failure, which is printed, 1.
template <class Body>
int run(bool isUsageRight, const std::string& usage, Body body) {
    if (!isUsageRight) {
        std::fprintf(stderr, "usage: %s\n", usage.c_str());
        return 2;
    }
    try {
        xel::PushClientManager::setDevelopment(true);
        body();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

/// Prints the connection's state whenever it changes.
inline void tellStates(xel::PushClientManager& push, const std::string& name = {}) {
    push.setServerConnectionStateHandler([&push, name] {
        std::fprintf(stderr, "%s[%s]\n", name.c_str(), std::string(push.connectionStateString()).c_str());
    });
}

}  // namespace example
