#include "tools/runs/ClientRun.h"

#include <csignal>
#include <utility>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "tools/output/Output.h"
#include "tools/runs/LogPhrase.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

/// The last turn's acknowledgements are written after its callbacks; ending inside one would have the broker
/// send its messages again at the next start.
constexpr auto kTimeToAcknowledge = 200ms;
/// For DISCONNECT to leave.
constexpr auto kTimeToSayGoodbye = 200ms;

constexpr std::string_view kIdentityRefused = "not authorized";

LinuxOptions platformOptions(const ClientChoice& choice, const ServiceAccess& access) {
    LinuxOptions platform;
    platform.name = homeNameOf(choice.kind, choice.user);
    platform.stateFolder = choice.stateFolder;
    platform.documentsFolder = choice.stateFolder;
    platform.caFile = access.caFile;
    platform.endpoints = access.endpoints;
    return platform;
}

std::string describeHomeFailure(const NSError& error) {
    std::string text = error.localizedDescription();
    if (error.code == static_cast<std::int64_t>(StoreErrorCode::InUse)) {
        text += "; end that command, or give another --state-folder";
    }
    return text;
}

}  // namespace

/// The client's log: shown when asked for, and read for why a connection failed.
class ClientRun::Log final : public LogSink {
public:
    explicit Log(ClientRun& run) : run_(run) {}

    void write(std::string_view line) override {
        if (run_.choice_.verbose) {
            printProgress(line);
        }
        if (const auto cause = textBehind(line, "]: ConnectionError ")) {
            run_.connectionFailed(std::string(*cause));
        }
        run_.logged(line);
    }

private:
    ClientRun& run_;
};

class ClientRun::Listener final : public PushClientManagerDelegate {
public:
    explicit Listener(ClientRun& run) : run_(run) {}

    void pushClientManagerDidChangedServerConnectionState() override { run_.connectionStateChanged(); }
    /// There is nobody here to show notifications to.
    void pushClientManagerUILocalNotificationDidReceivedMessage(
        const PushClientMessage& /*message*/) override {}

private:
    ClientRun& run_;
};

ClientRun::ClientRun(ClientChoice choice, ServiceAccess access)
    : choice_(std::move(choice)),
      access_(std::move(access)),
      runLoop_(std::make_shared<AsioRunLoop>()),
      signals_(runLoop_->ioContext(), SIGINT, SIGTERM),
      listener_(std::make_shared<Listener>(*this)) {}

ClientRun::~ClientRun() = default;

void ClientRun::run() {
    open();
    start();
    runLoop_->run();
    signals_.cancel();
    push_.reset();
    if (code_ != ExitCode::Success) {
        throw CommandFailure(code_, text_);
    }
}

void ClientRun::open() {
    PushClientManager::setDevelopment(!access_.production);
    LinuxOptions platform = platformOptions(choice_, access_);
    platform.runLoop = runLoop_;
    platform.logSink = std::make_shared<Log>(*this);
    Machine machine = makeLinuxMachine(platform);
    auto home = openLinuxHome(platform, machine);
    if (!home) {
        throw CommandFailure(ExitCode::Failure, describeHomeFailure(home.error()));
    }
    opened(home.value());
    push_ = std::make_unique<PushClientManager>(std::move(machine), std::move(home).value());
    push_->setEnableLog(true);
    push_->addDelegate(listener_);

    signals_.async_wait([this](const boost::system::error_code& error, int) {
        if (!error) {
            end();
        }
    });
    if (choice_.timeout) {
        runLoop_->scheduleTimer(*choice_.timeout, [this] { timeIsUp(); });
    }
    if (!push_->registerApplication(access_.appId, access_.apiKey, access_.brokerUser,
                                    access_.brokerPassword)) {
        throw CommandFailure(ExitCode::Usage,
                             "the broker's user name or password is missing: set "
                             "XELPUSH_BROKER_USER and XELPUSH_BROKER_PASSWORD");
    }
}

void ClientRun::post(std::function<void()> work) {
    runLoop_->post(std::move(work));
}

void ClientRun::registerUser(const std::vector<std::string>& channels) {
    expectsConnection_ = true;
    const bool isStarted = push_->registerUser(
        choice_.user, channels,
        [this](bool isRegistered, const std::optional<std::string>&, const std::optional<NSError>& error) {
            registrationEnded(isRegistered, error);
        });
    if (!isStarted) {
        throw CommandFailure(
            ExitCode::Usage,
            "the user id (3 to 32 letters, digits and some marks) or a channel is not valid");
    }
}

void ClientRun::connectAgain() {
    expectsConnection_ = true;
    if (choice_.usingPlainMQTT) {
        push_->setUsingSSLConnection(false);
    }
    push_->connectToServer();
}

void ClientRun::registrationEnded(bool isRegistered, const std::optional<NSError>& error) {
    if (isRegistered) {
        if (choice_.usingPlainMQTT) {
            push_->setUsingSSLConnection(false);
        }
        registered();
        return;
    }
    const NSError cause = error.value_or(NSError());
    registrationFailed(cause);
    endWithRestFailure(cause);
}

void ClientRun::endWithRestFailure(const NSError& error) {
    const RestFailure failure = describeRestFailure(error);
    end(exitCodeOf(failure), failure.text);
}

void ClientRun::connectionStateChanged() {
    stateChanged();
    if (push_->connectionState() == PushClientServerConnectedState && !std::exchange(wasConnected_, true)) {
        connected();
    }
}

void ClientRun::connectionFailed(const std::string& cause) {
    lastConnectionFailure_ = cause;
    printProgress("connection failed: " + cause);
    if (cause.find(kIdentityRefused) != std::string::npos) {
        end(ExitCode::CredentialsRefused, "the broker refuses the identity: " + cause);
    }
}

bool ClientRun::endUnlessConnected() {
    if (wasConnected_ || !expectsConnection_) {
        return false;
    }
    end(ExitCode::CannotConnect,
        "never connected" +
            (lastConnectionFailure_.empty() ? std::string()
                                            : "; the last failure: " + lastConnectionFailure_) +
            "; `xelpush doctor` says what is wrong");
    return true;
}

void ClientRun::timeIsUp() {
    if (!endUnlessConnected()) {
        end(ExitCode::TimeOut, "the time is up, without " + awaited());
    }
}

void ClientRun::end(ExitCode code, std::string text) {
    if (std::exchange(isEnding_, true)) {
        return;
    }
    code_ = code;
    text_ = std::move(text);
    if (!expectsConnection_) {
        runLoop_->scheduleTimer(0ms, [this] { runLoop_->stop(); });
        return;
    }
    runLoop_->scheduleTimer(kTimeToAcknowledge, [this] {
        push_->disconnectFromServer();
        runLoop_->scheduleTimer(kTimeToSayGoodbye, [this] { runLoop_->stop(); });
    });
}

}  // namespace xel::tools
