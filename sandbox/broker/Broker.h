#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include <boost/asio/io_context.hpp>

#include "sandbox/broker/BrokerConfiguration.h"
#include "sandbox/broker/BrokerProcess.h"
#include "sandbox/broker/ServiceClient.h"

namespace xel::sandbox {

class ProgressLog;

/// What the broker keeps of its clients' sessions, subscriptions and retained messages over a restart.
enum class BrokerSessions { Keep, Drop };

/// The broker and the service's own connection to it, which begin and end together.
///
/// `start` and `stop` block and are called on any other thread than the loop's, one at a time; `publish` may
/// be called on any thread.
class Broker {
public:
    struct Settings {
        std::filesystem::path program;
        std::filesystem::path configurationFile;
        BrokerConfiguration configuration;
        std::string servicePassword;
    };

    Broker(boost::asio::io_context& loop, ProgressLog& log, BrokerProcess::UnexpectedEnd onUnexpectedEnd,
           ServiceClient::EventHandler onEvent);
    ~Broker();

    /// Starts the broker and returns when it listens on both ports and serves the service. Throws
    /// SandboxError, with the broker's last words, when it does not.
    void start(const Settings& settings, BrokerSessions sessions);

    /// The broker is gone when this returns; its sessions are in its persistence file.
    void stop();

    void publish(const ServiceClient::Publication& publication, ServiceClient::PublishHandler onTaken);

    /// The process id and the reason of its end, as BrokerProcess tells them.
    [[nodiscard]] int pid() { return process_.pid(); }
    [[nodiscard]] std::string endReason() { return process_.endReason(); }

private:
    void connectService(const Settings& settings);

    ProgressLog& log_;
    ServiceClient::EventHandler onEvent_;
    BrokerProcess process_;
    std::mutex mutex_;  // guards service_
    std::shared_ptr<ServiceClient> service_;
};

}  // namespace xel::sandbox
