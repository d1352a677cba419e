#include "sandbox/SandboxService.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <unistd.h>

#include "sandbox/broker/BrokerSetup.h"
#include "sandbox/process/LoopThread.h"
#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/push/PushSending.h"
#include "sandbox/relay/Topics.h"
#include "sandbox/rest/MessageDesk.h"
#include "sandbox/rest/RestBackend.h"
#include "sandbox/rest/RestServer.h"
#include "sandbox/state/Credentials.h"
#include "sandbox/state/StateFolder.h"
#include "sandbox/store/ServiceStores.h"
#include "sandbox/store/StoreUpkeep.h"

namespace xel::sandbox {

namespace fs = std::filesystem;

namespace {

constexpr int kPortAttempts = 5;

}  // namespace

// A service that has been started: its parts, in the order in which they depend on each other.
class SandboxService::Running {
public:
    explicit Running(const SandboxOptions& options);
    ~Running() { stop(); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    void start();
    void stop();
    void waitUntilStopped();

    void startBroker(BrokerSessions sessions) {
        broker_.start(brokerSettings_, sessions);
        log_.write("the broker is up again");
    }
    void stopBroker() {
        broker_.stop();
        log_.write("the broker is stopped");
    }
    int brokerPid() { return broker_.pid(); }
    [[nodiscard]] const SandboxInfo& info() const { return info_; }

private:
    void announceCredentials();
    void startBrokerOnFreePorts();
    void fillInfo();
    void announceReady();
    void handlePublication(std::string_view topic, std::string_view payload);
    void handleEvent(std::string_view topic, std::string_view payload);
    void handleBrokerEnd(const std::string& reason);

    SandboxOptions options_;
    ProgressLog log_;
    StateFolder folder_;
    LoadedCredentials credentials_;
    ServerCertificateFiles certificate_;
    ServiceStores stores_;
    LoopThread thread_;
    StoreUpkeep upkeep_;
    PushSending pushes_;
    Broker broker_;
    Broker::Settings brokerSettings_;
    MessageDesk messages_;
    RestBackend backend_;
    std::optional<RestServer> server_;
    SandboxInfo info_;

    std::mutex stopMutex_;  // one stop at a time; the second waits for the first
    std::mutex mutex_;      // guards the rest
    std::condition_variable changed_;
    bool ready_{false};
    bool stopped_{false};
    std::string failure_;
};

SandboxService::Running::Running(const SandboxOptions& options)
    : options_(options),
      log_(options.log),
      folder_(options.stateFolder.empty() ? defaultStateFolder() : fs::absolute(options.stateFolder)),
      credentials_(loadOrCreateCredentials(folder_, options.appId)),
      certificate_(ensureServerCertificate(folder_)),
      stores_(folder_.path()),
      upkeep_(thread_.loop(), stores_.events, log_),
      pushes_(thread_.loop(), stores_.installations, log_),
      broker_(
          thread_.loop(), log_, [this](const std::string& reason) { handleBrokerEnd(reason); },
          [this](std::string_view topic, std::string_view payload) { handlePublication(topic, payload); }),
      messages_(credentials_.credentials.appId,
                [this](const ServiceClient::Publication& publication, ServiceClient::PublishHandler onTaken) {
                    broker_.publish(publication, std::move(onTaken));
                }),
      backend_({credentials_.credentials.appId, credentials_.credentials.apiKey}, stores_, messages_, log_) {
    if (!options_.serverCertificate.empty()) {
        certificate_ = options_.serverCertificate;
    }
}

void SandboxService::Running::start() {
    // A file of a service that was killed would mislead those who wait for this one.
    fs::remove(folder_.file(kSandboxInfoFile));
    announceCredentials();
    brokerSettings_ = prepareBroker(options_, folder_, credentials_.credentials, certificate_);
    claimBrokerPorts(options_, brokerSettings_.configuration);
    server_.emplace(thread_.loop(), log_, options_.address, options_.restPort, certificate_,
                    [this](const RestRequest& request, const RestResponder& respond) {
                        backend_.handle(request, respond);
                    });
    startBrokerOnFreePorts();
    fillInfo();
    writeSandboxInfo(info_);
    {
        const std::lock_guard lock(mutex_);
        ready_ = true;
    }
    // From here on its end is reported; what happened before must be asked for.
    if (const std::string reason = broker_.endReason(); !reason.empty()) {
        throw SandboxError(reason);
    }
    announceReady();
}

// Where they are, never what they are: the log may be kept and shown.
void SandboxService::Running::announceCredentials() {
    const std::string file = credentialsFile(folder_).string();
    log_.write(credentials_.areNew ? "new credentials in " + file + ", readable by you alone"
                                   : "credentials as before, in " + file);
}

// Between the choice of a free port and the broker's use of it another program may have taken it.
void SandboxService::Running::startBrokerOnFreePorts() {
    const bool chosen = options_.mqttPort == 0 || options_.mqttTlsPort == 0;
    for (int attempt = 1;; ++attempt) {
        try {
            broker_.start(brokerSettings_, BrokerSessions::Keep);
            return;
        } catch (const SandboxError& error) {
            if (!chosen || attempt == kPortAttempts) {
                throw;
            }
            log_.write(std::string(error.what()) + "; trying other ports");
        }
        claimBrokerPorts(options_, brokerSettings_.configuration);
    }
}

void SandboxService::Running::fillInfo() {
    const Credentials& credentials = credentials_.credentials;
    info_.appId = credentials.appId;
    info_.apiKey = credentials.apiKey;
    info_.brokerUser = credentials.brokerUser;
    info_.brokerPassword = credentials.brokerPassword;
    info_.address = options_.address;
    info_.mqttPort = brokerSettings_.configuration.plainPort;
    info_.mqttTlsPort = brokerSettings_.configuration.tlsPort;
    info_.restPort = server_->port();
    info_.restUrl = "https://localhost:" + std::to_string(info_.restPort) + "/api";
    info_.caFile = authorityFile(folder_);
    info_.stateFolder = folder_.path();
    info_.pid = ::getpid();
}

void SandboxService::Running::announceReady() {
    log_.write("application " + info_.appId + ", state in " + info_.stateFolder.string());
    log_.write("broker on " + info_.address + ", port " + std::to_string(info_.mqttPort) + ", with TLS " +
               std::to_string(info_.mqttTlsPort));
    log_.write("REST backend on " + info_.restUrl);
    log_.write("clients must trust " + info_.caFile.string());
    log_.write("ready");
    if (options_.onReady) {
        options_.onReady(info_);
    }
}

void SandboxService::Running::handlePublication(std::string_view topic, std::string_view payload) {
    if (auto waiting = parseWaitingTopic(topic)) {
        pushes_.messageWaits(std::move(*waiting), std::string(payload));
    } else {
        handleEvent(topic, payload);
    }
}

void SandboxService::Running::handleEvent(std::string_view topic, std::string_view payload) {
    const auto segments = splitTopic(topic);
    if (segments.size() == 5 && isReceiptName(segments[3])) {
        log_.write("message " + withoutControlCharacters(segments[4]) +
                   (segments[3] == "seen" ? " was seen" : " was dismissed"));
    }
    if (options_.onEvent) {
        options_.onEvent(topic, payload);
    }
}

void SandboxService::Running::handleBrokerEnd(const std::string& reason) {
    bool report = false;
    {
        const std::lock_guard lock(mutex_);
        // While the service starts, the one who starts it learns of this and says it.
        report = ready_ && !stopped_ && failure_.empty();
        if (report) {
            failure_ = reason;
        }
        changed_.notify_all();
    }
    if (report) {
        log_.write(reason + ": the service cannot go on");
        if (options_.onFailure) {
            options_.onFailure(reason);
        }
    }
}

void SandboxService::Running::stop() {
    const std::lock_guard stopping(stopMutex_);
    {
        const std::lock_guard lock(mutex_);
        if (stopped_) {
            return;
        }
    }
    std::error_code ignored;
    fs::remove(folder_.file(kSandboxInfoFile), ignored);
    broker_.stop();
    // Only now: the loop's thread is the broker's parent. After it no request reaches what is taken down
    // next.
    thread_.finish();
    upkeep_.finish();
    if (server_) {
        server_->close();
    }
    folder_.release();
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
    if (ready_) {
        log_.write("stopped");
    }
}

void SandboxService::Running::waitUntilStopped() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || !failure_.empty(); });
    if (!failure_.empty()) {
        throw SandboxError(failure_);
    }
}

SandboxService::SandboxService(SandboxOptions options) : options_(std::move(options)) {}

SandboxService::~SandboxService() = default;

void SandboxService::start() {
    if (running_ != nullptr) {
        throw SandboxError("the service was started before");
    }
    auto running = std::make_unique<Running>(options_);
    running->start();
    running_ = std::move(running);
}

void SandboxService::stop() {
    if (running_ != nullptr) {
        running_->stop();
    }
}

void SandboxService::waitUntilStopped() {
    requireRunning().waitUntilStopped();
}

const SandboxInfo& SandboxService::info() const {
    return requireRunning().info();
}

int SandboxService::brokerPid() const {
    return requireRunning().brokerPid();
}

void SandboxService::stopBroker() {
    requireRunning().stopBroker();
}

void SandboxService::startBroker(BrokerSessions sessions) {
    requireRunning().startBroker(sessions);
}

void SandboxService::restartBroker(BrokerSessions sessions) {
    stopBroker();
    startBroker(sessions);
}

SandboxService::Running& SandboxService::requireRunning() const {
    if (running_ == nullptr) {
        throw SandboxError("the local push service was not started");
    }
    return *running_;
}

}  // namespace xel::sandbox
