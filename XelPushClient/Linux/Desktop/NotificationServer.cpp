#include "XelPushClient/Linux/Desktop/NotificationServer.h"

#include <chrono>
#include <map>
#include <utility>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Desktop/NotifyCall.h"

namespace xel {

namespace {

constexpr const char* kNotifications = "org.freedesktop.Notifications";
constexpr const char* kNotificationsPath = "/org/freedesktop/Notifications";
constexpr const char* kNotificationsInterface = "org.freedesktop.Notifications";
constexpr std::chrono::seconds kServerPatience{10};
constexpr int kServersChoice = -1;
/// Beyond these the oldest are forgotten: some servers never tell that a notification has gone.
constexpr std::size_t kMostKnown = 256;
constexpr std::size_t kMostWaiting = 256;

}  // namespace

/// Everything that happens on the connection's thread. From its first use it lives until the connection ends,
/// and callbacks are dispatched only before that.
class NotificationServer::Core : public std::enable_shared_from_this<Core> {
public:
    Core(DesktopHost host, NotificationServerEvents events)
        : host_(std::move(host)), events_(std::move(events)) {}

    void show(sdbus::IConnection& bus, DBusConnection& connection, DesktopNotification notification,
              Shown shown) {
        if (waitingCount_ >= kMostWaiting) {
            shown(makeDBusError(DBusErrorCode::Failed, "", "Too many notifications wait for the server"));
            return;
        }
        attach(bus, connection);
        const std::string identifier = notification.identifier;
        Place& place = places_[identifier];
        if (place.next) {
            place.next->shown(std::nullopt);  // its successor has come
        } else {
            ++waitingCount_;
        }
        place.next = Order{std::move(notification), std::move(shown)};
        goOn(identifier);
    }

    void withdrawEverything() {
        for (auto& [identifier, place] : places_) {
            if (place.next) {
                --waitingCount_;
                std::exchange(place.next, std::nullopt)->shown(std::nullopt);
            }
            // The id of what is under way is not known yet: it is closed when the server has answered.
            place.isWithdrawn = place.current.has_value();
            if (place.id != 0) {
                close(place.id);
            }
        }
    }

private:
    struct Order {
        DesktopNotification notification;
        Shown shown;
    };
    /// What one identifier stands for: the server's id of what is on screen, the call under way, and what
    /// comes after it.
    struct Place {
        std::uint32_t id = 0;
        std::uint64_t number = 0;
        std::optional<Order> current;
        std::optional<Order> next;
        bool hasPicture = false;
        bool isWithdrawn = false;
    };

    void attach(sdbus::IConnection& bus, DBusConnection& connection) {
        if (proxy_ != nullptr) {
            return;
        }
        auto proxy = sdbus::createProxy(bus, kNotifications, kNotificationsPath);
        proxy->uponSignal("ActionInvoked")
            .onInterface(kNotificationsInterface)
            .call([this](std::uint32_t id, const std::string& key) { actionWasInvoked(id, key); });
        proxy->uponSignal("NotificationClosed")
            .onInterface(kNotificationsInterface)
            .call([this](std::uint32_t id, std::uint32_t /*reason*/) { wasClosed(id); });
        proxy->finishRegistration();
        ownerChanges_ =
            bus.addMatch(dbusOwnerChangesOf(kNotifications), [this](sdbus::Message&) { serverHasChanged(); });
        // Last: what throws above leaves nothing that the next attempt would take for attached.
        proxy_ = std::move(proxy);
        connection.atClosing([self = shared_from_this()] { self->detach(); });
    }

    void detach() {
        ownerChanges_.reset();
        proxy_.reset();
        serverHasChanged();
        isAskingCapabilities_ = false;
        failEverything(makeDBusError(DBusErrorCode::NoBus, "", "The connection to the session bus has gone"));
    }

    /// What the former server showed has gone with it. Calls under way are answered by the bus.
    void serverHasChanged() {
        capabilities_.reset();
        for (auto& [identifier, place] : places_) {
            if (const auto id = std::exchange(place.id, 0); id != 0) {
                events_.wasClosed(place.number);
            }
        }
        identifiers_.clear();
        std::erase_if(places_, [](const auto& entry) { return !entry.second.current && !entry.second.next; });
    }

    /// Every order comes to nothing. What is on screen stays, and is known as before.
    void failEverything(const NSError& error) {
        waitingCount_ = 0;
        std::vector<Shown> failed;
        for (auto& [identifier, place] : places_) {
            for (auto* order : {&place.current, &place.next}) {
                if (auto ended = std::exchange(*order, std::nullopt)) {
                    failed.push_back(std::move(ended->shown));
                }
            }
        }
        std::erase_if(places_, [](const auto& entry) { return entry.second.id == 0; });
        for (const auto& shown : failed) {
            shown(error);
        }
    }

    void askCapabilities() {
        if (std::exchange(isAskingCapabilities_, true)) {
            return;
        }
        try {
            proxy_->callMethodAsync("GetCapabilities")
                .onInterface(kNotificationsInterface)
                .withTimeout(kServerPatience)
                .uponReplyInvoke([this](const sdbus::Error* error, const std::vector<std::string>& names) {
                    capabilitiesWereAnswered(error, names);
                });
        } catch (const sdbus::Error& error) {
            capabilitiesWereAnswered(&error, {});
        }
    }

    void capabilitiesWereAnswered(const sdbus::Error* error, const std::vector<std::string>& names) {
        isAskingCapabilities_ = false;
        if (error != nullptr) {
            failEverything(makeDBusError(DBusErrorCode::Failed, error->getName(), error->getMessage()));
            return;
        }
        capabilities_ = serverCapabilities(names);
        // A copy: what goes on may fail at once, and change the places.
        std::vector<std::string> identifiers;
        for (const auto& [identifier, place] : places_) {
            identifiers.push_back(identifier);
        }
        for (const auto& identifier : identifiers) {
            goOn(identifier);
        }
    }

    /// Sends what waits, unless its predecessor is still under way: only its answer tells the id to replace.
    void goOn(const std::string& identifier) {
        const auto found = places_.find(identifier);
        if (found == places_.end() || found->second.current || !found->second.next) {
            return;
        }
        // Whether the server reads markup decides how a body is written.
        if (!capabilities_) {
            askCapabilities();
            return;
        }
        Place& place = found->second;
        place.current = std::exchange(place.next, std::nullopt);
        --waitingCount_;
        const NotifyCall call = notifyCall(place.current->notification, host_, *capabilities_);
        const bool hasPicture = call.hints.contains("image-path");
        if (place.hasPicture && !hasPicture && place.id != 0) {
            // Some servers leave the former picture where the new notification has none.
            close(place.id);
            wasClosed(place.id);
        }
        place.hasPicture = hasPicture;
        try {
            proxy_->callMethodAsync("Notify")
                .onInterface(kNotificationsInterface)
                .withTimeout(kServerPatience)
                .withArguments(host_.applicationName, place.id, std::string(), call.summary, call.body,
                               call.actions, call.hints, kServersChoice)
                .uponReplyInvoke([this, identifier](const sdbus::Error* error, std::uint32_t id) {
                    wasAnswered(identifier, error, id);
                });
        } catch (const sdbus::Error& error) {
            wasAnswered(identifier, &error, 0);
        }
    }

    void wasAnswered(const std::string& identifier, const sdbus::Error* error, std::uint32_t id) {
        const auto found = places_.find(identifier);
        if (found == places_.end() || !found->second.current) {
            return;
        }
        Place& place = found->second;
        const auto order = std::exchange(place.current, std::nullopt);
        // Whatever the answer is, it is the end of what was withdrawn: a later order is another one.
        const bool isWithdrawn = std::exchange(place.isWithdrawn, false);
        if (error != nullptr) {
            order->shown(makeDBusError(DBusErrorCode::Failed, error->getName(), error->getMessage()));
        } else {
            // The server may have given another id than the one that was to be replaced.
            if (place.id != 0) {
                identifiers_.erase(place.id);
            }
            // Or one that it gave before: whatever had it has gone.
            wasClosed(id);
            place.id = id;
            place.number = order->notification.number;
            identifiers_[id] = identifier;
            if (events_.hasTaken) {
                events_.hasTaken();
            }
            order->shown(std::nullopt);
            if (isWithdrawn) {
                close(id);
            }
        }
        forgetTheOldest();
        goOn(identifier);
        // A refused one leaves a place of which nothing is on screen.
        if (const auto left = places_.find(identifier);
            left != places_.end() && left->second.id == 0 && !left->second.current && !left->second.next) {
            places_.erase(left);
        }
    }

    void forgetTheOldest() {
        while (identifiers_.size() > kMostKnown) {
            wasClosed(identifiers_.begin()->first);
        }
    }

    void close(std::uint32_t id) {
        try {
            proxy_->callMethodAsync("CloseNotification")
                .onInterface(kNotificationsInterface)
                .withTimeout(kServerPatience)
                .withArguments(id)
                .uponReplyInvoke([](const sdbus::Error* /*error*/) {});
        } catch (const sdbus::Error& /*error*/) {
            return;  // it is gone, and what it showed with it
        }
    }

    void actionWasInvoked(std::uint32_t id, const std::string& key) {
        // The signal tells of every program's notifications.
        if (const auto identifier = identifiers_.find(id); identifier != identifiers_.end()) {
            events_.actionWasInvoked(places_[identifier->second].number, key);
        }
    }

    void wasClosed(std::uint32_t id) {
        const auto identifier = identifiers_.find(id);
        if (identifier == identifiers_.end()) {
            return;
        }
        const auto place = places_.find(identifier->second);
        events_.wasClosed(place->second.number);
        place->second.id = 0;
        if (!place->second.current && !place->second.next) {
            places_.erase(place);
        }
        identifiers_.erase(identifier);
    }

    const DesktopHost host_;
    const NotificationServerEvents events_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    sdbus::Slot ownerChanges_;
    std::optional<ServerCapabilities> capabilities_;
    bool isAskingCapabilities_ = false;
    std::map<std::string, Place> places_;
    std::map<std::uint32_t, std::string> identifiers_;
    std::size_t waitingCount_ = 0;
};

NotificationServer::NotificationServer(std::shared_ptr<DBusConnection> connection, DesktopHost host,
                                       NotificationServerEvents events)
    : connection_(std::move(connection)), core_(std::make_shared<Core>(std::move(host), std::move(events))) {}

NotificationServer::~NotificationServer() = default;

void NotificationServer::show(DesktopNotification notification, const Shown& shown) {
    connection_->perform(
        [core = core_, connection = connection_.get(), notification = std::move(notification),
         shown](sdbus::IConnection& bus) { core->show(bus, *connection, notification, shown); },
        shown);
}

void NotificationServer::withdrawEverything() {
    connection_->perform([core = core_](sdbus::IConnection&) { core->withdrawEverything(); });
}

}  // namespace xel
