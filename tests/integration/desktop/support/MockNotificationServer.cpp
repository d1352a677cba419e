#include "tests/integration/desktop/support/MockNotificationServer.h"

#include <utility>

namespace xel::test {

namespace {

constexpr const char* kServerName = "org.freedesktop.Notifications";
constexpr const char* kServerPath = "/org/freedesktop/Notifications";
constexpr std::uint32_t kDismissedByUser = 2;

}  // namespace

std::string ReceivedNotify::hint(const std::string& name) const {
    const auto found = hints.find(name);
    return found != hints.end() ? found->second.get<std::string>() : std::string();
}

MockNotificationServer::MockNotificationServer(const std::string& busAddress, Abilities abilities)
    : abilities_(std::move(abilities)),
      nextId_(abilities_.firstId),
      connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
      object_(sdbus::createObject(*connection_, kServerPath)) {
    object_->registerMethod(kServerName, "GetCapabilities", "", "as", [this](sdbus::MethodCall call) {
        const std::lock_guard lock(mutex_);
        if (isRefusingCapabilities_) {
            call.createErrorReply(sdbus::Error("org.example.Refused", "not today")).send();
            return;
        }
        auto reply = call.createReply();
        reply << abilities_.capabilities;
        reply.send();
    });
    object_->registerMethod(kServerName, "Notify", "susssasa{sv}i", "u",
                            [this](sdbus::MethodCall call) { takeNotify(call); });
    object_->registerMethod(kServerName, "CloseNotification", "u", "", [this](sdbus::MethodCall call) {
        std::uint32_t id = 0;
        call >> id;
        {
            const std::lock_guard lock(mutex_);
            closeRequests_.push_back(id);
        }
        call.createReply().send();
        dismiss(id);
    });
    object_->registerSignal(kServerName, "ActionInvoked", "us");
    object_->registerSignal(kServerName, "NotificationClosed", "uu");
    object_->finishRegistration();
    connection_->requestName(kServerName);
    loop_.begin(*connection_);
}

MockNotificationServer::~MockNotificationServer() = default;

void MockNotificationServer::takeNotify(sdbus::MethodCall& call) {
    ReceivedNotify notify;
    std::string icon;
    std::int32_t timeout = 0;
    call >> notify.applicationName >> notify.replacesId >> icon >> notify.summary >> notify.body >>
        notify.actions >> notify.hints >> timeout;
    const std::lock_guard lock(mutex_);
    if (abilities_.isGivingOneId) {
        notify.id = abilities_.firstId;
    } else {
        notify.id = notify.replacesId != 0 ? notify.replacesId : nextId_++;
    }
    notifies_.push_back(notify);
    if (abilities_.isSilent) {
        unanswered_.emplace_back(call, notify.id);
    } else if (abilities_.isRefusing) {
        call.createErrorReply(sdbus::Error("org.example.Refused", "not today")).send();
    } else {
        auto reply = call.createReply();
        reply << notify.id;
        reply.send();
    }
}

std::vector<ReceivedNotify> MockNotificationServer::notifies() const {
    const std::lock_guard lock(mutex_);
    return notifies_;
}

std::vector<std::uint32_t> MockNotificationServer::closeRequests() const {
    const std::lock_guard lock(mutex_);
    return closeRequests_;
}

void MockNotificationServer::invoke(std::uint32_t id, const std::string& key) {
    auto signal = object_->createSignal(kServerName, "ActionInvoked");
    signal << id << key;
    object_->emitSignal(signal);
}

void MockNotificationServer::dismiss(std::uint32_t id) {
    auto signal = object_->createSignal(kServerName, "NotificationClosed");
    signal << id << kDismissedByUser;
    object_->emitSignal(signal);
}

void MockNotificationServer::changeHands() {
    connection_->releaseName(kServerName);
    connection_->requestName(kServerName);
}

// Without our lock while the bus is spoken to: its own thread calls us while it holds the bus's.
std::vector<MockNotificationServer::Unanswered> MockNotificationServer::takeUnanswered() {
    const std::lock_guard lock(mutex_);
    return std::exchange(unanswered_, {});
}

void MockNotificationServer::refuseAtLast() {
    for (auto& [call, id] : takeUnanswered()) {
        call.createErrorReply(sdbus::Error("org.example.Refused", "not today")).send();
    }
}

void MockNotificationServer::answerAtLast() {
    for (auto& [call, id] : takeUnanswered()) {
        auto reply = call.createReply();
        reply << id;
        reply.send();
    }
}

void MockNotificationServer::refuseCapabilities() {
    const std::lock_guard lock(mutex_);
    isRefusingCapabilities_ = true;
}

}  // namespace xel::test
