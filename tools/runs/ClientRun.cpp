#include "tools/runs/ClientRun.h"

#include <csignal>
#include <utility>
#include <variant>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "tools/output/Output.h"
#include "tools/runs/DiagnosticsFile.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

LinuxOptions platformOptions(const ClientChoice& choice, const ServiceAccess& access) {
    LinuxOptions platform;
    platform.name = homeNameOf(choice.kind, choice.user);
    platform.stateFolder = choice.stateFolder;
    platform.documentsFolder = choice.stateFolder;
    platform.caFile = access.caFile;
    platform.endpoints = access.endpoints;
    // The client's own switch is the user's, who keeps it as it is.
    platform.writesLog = choice.verbose;
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

/// The client's log, shown.
class ClientRun::Log final : public LogSink {
public:
    explicit Log(bool isShown) : isShown_(isShown) {}

    void write(std::string_view line) override {
        if (isShown_) {
            printProgress(line);
        }
    }

private:
    const bool isShown_;
};

/// What the client's callbacks do not tell: for the run, and for the user's file.
class ClientRun::Records final : public Diagnostics {
public:
    Records(ClientRun& run, const std::string& path) : run_(run) {
        if (!path.empty()) {
            file_ = std::make_unique<DiagnosticsFile>(path);
        }
    }

    void record(const DiagnosticRecord& record) override {
        if (file_ != nullptr) {
            file_->record(record);
        }
        run_.take(record);
        run_.recorded(record);
    }

private:
    ClientRun& run_;
    std::unique_ptr<DiagnosticsFile> file_;
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
    platform.logSink = std::make_shared<Log>(choice_.verbose);
    platform.diagnostics = std::make_shared<Records>(*this, choice_.diagnosticsFile);
    Machine machine = makeLinuxMachine(platform);
    auto home = openLinuxHome(platform, machine);
    if (!home) {
        throw CommandFailure(ExitCode::Failure, describeHomeFailure(home.error()));
    }
    opened(home.value());
    push_ = std::make_unique<PushClientManager>(std::move(machine), std::move(home).value());
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

void ClientRun::take(const DiagnosticRecord& record) {
    if (const auto* attempt = std::get_if<ConnectionAttemptEnded>(&record); attempt && attempt->error) {
        connectionFailed(*attempt->error, attempt->outcome == ConnectionAttemptOutcome::Refused);
    } else if (const auto* loss = std::get_if<ConnectionLost>(&record); loss && loss->error) {
        connectionFailed(*loss->error, false);
    } else if (std::holds_alternative<DisconnectEnded>(record) && isLeaving_) {
        runLoop_->stop();
    }
}

void ClientRun::connectionFailed(const DiagnosticError& cause, bool isRefusal) {
    lastConnectionFailure_ = cause.description;
    printProgress("connection failed: " + cause.description);
    // The client tries no refused identity again: there is nothing to wait for.
    if (isRefusal && cause.code == static_cast<std::int64_t>(MQTTErrorCode::NotAuthorized)) {
        end(ExitCode::CredentialsRefused, "the broker refuses the identity: " + cause.description);
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
    // Behind the closing of the turn in which this may have been called, which is posted when its callbacks
    // are through: what is not acknowledged yet the broker would send again at the next start.
    post([this] {
        post([this] {
            isLeaving_ = true;
            push_->disconnectFromServer();
        });
    });
}

}  // namespace xel::tools
