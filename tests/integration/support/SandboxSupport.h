#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sandbox/SandboxService.h"
#include "sandbox/relay/Json.h"
#include "tests/integration/support/MqttTestClient.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox::test {

/// Keeps the lines that a service writes.
class LogKeeper {
public:
    [[nodiscard]] LogSink sink();
    [[nodiscard]] std::vector<std::string> lines() const;
    /// Whether a line contains `text`.
    [[nodiscard]] bool contains(const std::string& text) const;
    /// Whether a talkative broker has lost a client that did not say goodbye. Its words depend on what was
    /// under way on the connection, over TLS above all.
    [[nodiscard]] bool tellsOfALostClient() const;

private:
    struct Kept {
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};

/// Options for a service on a folder and on free ports of its own.
SandboxOptions makeOptions(const TemporaryFolder& folder, const LogKeeper& log);

/// A service that runs for the length of a test.
struct RunningSandbox {
    RunningSandbox();
    explicit RunningSandbox(SandboxOptions changed);

    TemporaryFolder folder;
    LogKeeper log;
    std::unique_ptr<SandboxService> service;

    [[nodiscard]] const SandboxInfo& info() const { return service->info(); }
};

struct HttpAnswer {
    unsigned status{0};
    Json body;
    std::string error;  ///< why there is no answer
};

/// One HTTPS request to localhost, the server's certificate and name checked against `caFile`.
HttpAnswer askHttps(std::uint16_t port, const std::filesystem::path& caFile, const std::string& method,
                    const std::string& target, const std::string& body = {});

/// The same to the service's REST backend, with its access token.
HttpAnswer askRest(const SandboxInfo& info, const std::string& method, const std::string& route,
                   const Json& body = Json());

}  // namespace xel::sandbox::test
