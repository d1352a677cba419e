#include "tools/ListenRun.h"

#include <csignal>
#include <utility>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "tools/ListenLog.h"
#include "tools/RestCall.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

/// The last turn's acknowledgements are written after its callbacks; ending inside one would have the broker
/// send its messages again at the next start.
constexpr auto kTimeToAcknowledge = 200ms;
/// For DISCONNECT to leave.
constexpr auto kTimeToSayGoodbye = 200ms;

constexpr std::string_view kIdentityRefused = "not authorized";

LinuxOptions platformOptions(const ListenOptions& options, const ServiceAccess& access) {
    LinuxOptions platform;
    platform.name = "listen-" + options.user;
    platform.stateFolder = options.stateFolder;
    platform.documentsFolder = options.stateFolder;
    platform.caFile = access.caFile;
    platform.endpoints = access.endpoints;
    return platform;
}

}  // namespace

/// Hands the client's outcomes to the run.
class ListenRun::Listener final : public PushClientManagerDelegate {
public:
    explicit Listener(ListenRun& run) : run_(run) {}

    void pushClientManagerDidChangedServerConnectionState() override { run_.connectionStateChanged(); }
    void pushClientManagerDidSubscribed(const std::string& channel) override {
        run_.report_->subscribed(channel);
    }
    void pushClientManagerDidFailInSubscribe(const NSError& error) override {
        run_.report_->failure("subscribing", error);
    }
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        run_.report_->message(message);
        run_.arrived();
    }
    /// There is nobody here to show notifications to.
    void pushClientManagerUILocalNotificationDidReceivedMessage(
        const PushClientMessage& /*message*/) override {}
    void pushClientManagerDidReceivedEventMessage(const EventMessage& event) override {
        run_.report_->event(event);
        run_.arrived();
    }
    void pushClientManagerDidReceivedDelivery(const DeliveryMessage& delivery) override {
        run_.report_->delivery(delivery);
        run_.arrived();
    }

private:
    ListenRun& run_;
};

ListenRun::ListenRun(ListenOptions options, ServiceAccess access)
    : options_(std::move(options)),
      access_(std::move(access)),
      report_(std::make_shared<ListenReport>(options_.json)),
      runLoop_(std::make_shared<AsioRunLoop>()),
      signals_(runLoop_->ioContext(), SIGINT, SIGTERM),
      listener_(std::make_shared<Listener>(*this)) {}

ListenRun::~ListenRun() = default;

void ListenRun::run() {
    start();
    runLoop_->run();
    signals_.cancel();
    push_.reset();
    if (code_ != ExitCode::Success) {
        throw CommandFailure(code_, text_);
    }
}

void ListenRun::start() {
    PushClientManager::setDevelopment(!access_.production);
    LinuxOptions platform = platformOptions(options_, access_);
    platform.runLoop = runLoop_;
    platform.logSink = std::make_shared<ListenLog>(
        report_, options_.verbose, [this](const std::string& cause) { connectionFailed(cause); });
    Machine machine = makeLinuxMachine(platform);
    auto home = openLinuxHome(platform, machine);
    if (!home) {
        throw CommandFailure(ExitCode::Failure, home.error().localizedDescription());
    }
    push_ = std::make_unique<PushClientManager>(std::move(machine), std::move(home).value());
    push_->setEnableLog(true);
    push_->setDeliveryChannelEnabeled(options_.hearsDeliveries);
    push_->addDelegate(listener_);

    signals_.async_wait([this](const boost::system::error_code& error, int) {
        if (!error) {
            end(ExitCode::Success);
        }
    });
    if (options_.timeout) {
        runLoop_->scheduleTimer(*options_.timeout, [this] { timeIsUp(); });
    }
    if (!push_->registerApplication(access_.appId, access_.apiKey, access_.brokerUser,
                                    access_.brokerPassword)) {
        throw CommandFailure(ExitCode::Usage,
                             "the broker's user name or password is missing: set "
                             "XELPUSH_BROKER_USER and XELPUSH_BROKER_PASSWORD");
    }
    const bool isStarted = push_->registerUser(
        options_.user, options_.channels,
        [this](bool isRegistered, const std::optional<std::string>&, const std::optional<NSError>& error) {
            registrationEnded(isRegistered, error);
        });
    if (!isStarted) {
        throw CommandFailure(
            ExitCode::Usage,
            "the user id (3 to 32 letters, digits and some marks) or a channel is not valid");
    }
    for (const std::string& event : options_.events) {
        push_->subscribeEvent(event);
    }
}

void ListenRun::registrationEnded(bool isRegistered, const std::optional<NSError>& error) {
    if (isRegistered) {
        report_->registered(options_.user, push_->deviceId().value_or(""));
        if (options_.usingPlainMQTT) {
            push_->setUsingSSLConnection(false);
        }
        return;
    }
    const NSError cause = error.value_or(NSError());
    report_->failure("registering", cause);
    const RestFailure failure = describeRestFailure(cause);
    if (failure.isRefusal) {
        end(ExitCode::CredentialsRefused, failure.text);
    } else {
        end(failure.wasAnswered ? ExitCode::Failure : ExitCode::CannotConnect, failure.text);
    }
}

void ListenRun::connectionStateChanged() {
    report_->state(push_->connectionStateString());
    wasConnected_ = wasConnected_ || push_->connectionState() == PushClientServerConnectedState;
}

void ListenRun::connectionFailed(const std::string& cause) {
    lastConnectionFailure_ = cause;
    report_->progress("connection failed: " + cause);
    if (cause.find(kIdentityRefused) != std::string::npos) {
        end(ExitCode::CredentialsRefused, "the broker refuses the identity: " + cause);
    }
}

void ListenRun::arrived() {
    ++arrived_;
    if (options_.count && arrived_ >= *options_.count) {
        end(ExitCode::Success);
    }
}

void ListenRun::timeIsUp() {
    if (!wasConnected_) {
        end(ExitCode::CannotConnect,
            "never connected" + (lastConnectionFailure_.empty()
                                     ? std::string()
                                     : "; the last failure: " + lastConnectionFailure_));
    } else if (options_.count) {
        end(ExitCode::TimeOut, "the time is up with " + std::to_string(arrived_) + " of " +
                                   std::to_string(*options_.count) + " received");
    } else {
        end(ExitCode::Success);
    }
}

void ListenRun::end(ExitCode code, std::string text) {
    if (std::exchange(isEnding_, true)) {
        return;
    }
    code_ = code;
    text_ = std::move(text);
    runLoop_->scheduleTimer(kTimeToAcknowledge, [this] {
        push_->disconnectFromServer();
        runLoop_->scheduleTimer(kTimeToSayGoodbye, [this] { runLoop_->stop(); });
    });
}

}  // namespace xel::tools
