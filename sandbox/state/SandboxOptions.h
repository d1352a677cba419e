#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/state/CertificateAuthority.h"

namespace xel::sandbox {

struct SandboxInfo;

inline constexpr std::uint16_t kDefaultMqttPort = 1880;
inline constexpr std::uint16_t kDefaultMqttTlsPort = 4443;
inline constexpr std::uint16_t kDefaultRestPort = 8443;

/// How to run the local push service. Everything has a default.
struct SandboxOptions {
    /// Where its state is kept; empty: defaultStateFolder().
    std::filesystem::path stateFolder;

    /// The application that it serves; empty: the one it served last, at first "xelpush-demo".
    std::string appId;

    /// Where it listens; a loopback address.
    std::string address{"127.0.0.1"};

    /// The ports; 0 means any free one (SandboxInfo tells which).
    std::uint16_t mqttPort{kDefaultMqttPort};
    std::uint16_t mqttTlsPort{kDefaultMqttTlsPort};
    std::uint16_t restPort{kDefaultRestPort};

    /// The broker's program; empty: mosquitto on the PATH or in /usr/sbin.
    std::filesystem::path mosquittoProgram;

    /// The broker's plugin; empty: the one named by the environment variable XELPUSH_BROKER_PLUGIN, else the
    /// one that was installed with the program, else the one that was built with the service.
    std::filesystem::path brokerPlugin;

    /// What broker and REST backend show their clients; empty: a certificate of the state folder's own
    /// authority. Tests put a bad one here.
    ServerCertificateFiles serverCertificate;

    /// Let the broker tell of every connection and subscription.
    bool verbose{false};

    /// Progress, line by line; empty: standard error.
    LogSink log;

    /// Everything is up. Called once, inside SandboxService::start.
    std::function<void(const SandboxInfo&)> onReady;

    /// The service cannot go on (its broker has ended), with the reason. Called on a thread of the service;
    /// must not call back into it.
    std::function<void(const std::string&)> onFailure;

    /// An event that a client, or the service, has published: topic and payload. Called on a thread of the
    /// service; must not call back into it.
    std::function<void(std::string_view, std::string_view)> onEvent;
};

}  // namespace xel::sandbox
