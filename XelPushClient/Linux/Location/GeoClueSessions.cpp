#include "XelPushClient/Linux/Location/GeoClueSessions.h"

#include <utility>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Platform/LocationSource.h"

namespace xel {
namespace {

constexpr const char* kGeoClue = "org.freedesktop.GeoClue2";
constexpr const char* kGeoClueManagerPath = "/org/freedesktop/GeoClue2/Manager";
constexpr const char* kGeoClueManager = "org.freedesktop.GeoClue2.Manager";
constexpr const char* kGeoClueClient = "org.freedesktop.GeoClue2.Client";
constexpr const char* kGeoClueLocation = "org.freedesktop.GeoClue2.Location";
constexpr std::uint32_t kExact = 8;  // GeoClue's level for the position itself

using Properties = std::map<std::string, sdbus::Variant>;

}  // namespace

/// One client object of GeoClue's, from the request for it to its end.
class GeoClueSessions::Client {
public:
    explicit Client(GeoClueRequest request) : request_(std::move(request)) {}

    [[nodiscard]] std::chrono::milliseconds patience() const { return request_.patience; }
    /// Empty until GeoClue has made it, and when it went with its service.
    [[nodiscard]] const std::string& path() const { return path_; }

    /// GeoClue has made the client: says what is wanted of it and lets it run. The calls travel in order.
    void begin(sdbus::IConnection& bus, const std::string& path) {
        path_ = path;
        bus_ = &bus;
        // Callbacks end with their proxy, and both proxies are this object's own.
        proxy_ = sdbus::createProxy(bus, kGeoClue, path);
        proxy_->uponSignal("LocationUpdated")
            .onInterface(kGeoClueClient)
            .call([this](const sdbus::ObjectPath& /*before*/, const sdbus::ObjectPath& now) { read(now); });
        proxy_->finishRegistration();
        set("DesktopId", sdbus::Variant(request_.desktopId));
        set("DistanceThreshold", sdbus::Variant(request_.distanceThreshold));
        set("RequestedAccuracyLevel", sdbus::Variant(kExact));
        proxy_->callMethodAsync("Start")
            .onInterface(kGeoClueClient)
            .withTimeout(request_.patience)
            .uponReplyInvoke([this](const sdbus::Error* error) { failWith(error); });
    }

    void failWith(const sdbus::Error* error) {
        if (error != nullptr) {
            fail(locationErrorOf(error->getName(), error->getMessage(), request_.patience));
        }
    }

    void fail(const NSError& error) {
        if (!hasFailed_) {
            hasFailed_ = true;
            request_.report(error);
        }
    }

    void lose(const NSError& error) {
        path_.clear();
        fail(error);
    }

private:
    void set(const std::string& property, const sdbus::Variant& value) {
        proxy_->callMethodAsync("Set")
            .onInterface(kDBusProperties)
            .withTimeout(request_.patience)
            .withArguments(std::string(kGeoClueClient), property, value)
            .uponReplyInvoke([this](const sdbus::Error* error) { failWith(error); });
    }

    /// Reads a location object. One that is still being read is of no interest any more.
    void read(const std::string& path) {
        location_ = sdbus::createProxy(*bus_, kGeoClue, path);
        location_->callMethodAsync("GetAll")
            .onInterface(kDBusProperties)
            .withArguments(std::string(kGeoClueLocation))
            .uponReplyInvoke([this](const sdbus::Error* error, const Properties& properties) {
                // GeoClue may have dropped it for a newer one, which its next signal names.
                if (error == nullptr && !hasFailed_) {
                    request_.report(locationOf(fixOfProperties(properties)));
                }
            });
    }

    GeoClueRequest request_;
    std::string path_;
    bool hasFailed_ = false;
    sdbus::IConnection* bus_ = nullptr;
    std::unique_ptr<sdbus::IProxy> proxy_;
    std::unique_ptr<sdbus::IProxy> location_;
};

/// What all clients of one open bus share.
struct GeoClueSessions::Bus {
    std::unique_ptr<sdbus::IProxy> manager;
    sdbus::Slot nameWatch;
};

GeoClueSessions::GeoClueSessions() = default;
GeoClueSessions::~GeoClueSessions() = default;

void GeoClueSessions::start(DBusConnection& owner, sdbus::IConnection& bus, std::uint64_t number,
                            GeoClueRequest request) {
    if (bus_ == nullptr) {
        watch(owner, bus);
    }
    const auto client = std::make_shared<Client>(std::move(request));
    clients_[number] = client;
    // Weak: whoever asked may have gone before GeoClue answers.
    bus_->manager->callMethodAsync("CreateClient")
        .onInterface(kGeoClueManager)
        .withTimeout(client->patience())
        .uponReplyInvoke([this, &bus, number, weak = std::weak_ptr(client)](const sdbus::Error* error,
                                                                            const sdbus::ObjectPath& path) {
            if (error == nullptr) {
                clientWasCreated(bus, number, path);
            } else if (const auto waiting = weak.lock()) {
                waiting->failWith(error);
            }
        });
}

void GeoClueSessions::watch(DBusConnection& owner, sdbus::IConnection& bus) {
    auto shared = std::make_unique<Bus>();
    shared->manager = sdbus::createProxy(bus, kGeoClue, kGeoClueManagerPath);
    shared->nameWatch = bus.addMatch(dbusOwnerChangesOf(kGeoClue), [this](sdbus::Message& message) {
        std::string name;
        std::string before;
        std::string now;
        message >> name >> before >> now;
        if (!before.empty()) {
            loseAll(makeLocationError(LocationErrorCode::NoService, "the location service has gone"));
        }
    });
    bus_ = std::move(shared);
    owner.atClosing([self = shared_from_this()] {
        self->loseAll(makeLocationError(LocationErrorCode::NoService, "the system bus has gone"));
        self->clients_.clear();
        self->bus_.reset();
    });
}

void GeoClueSessions::clientWasCreated(sdbus::IConnection& bus, std::uint64_t number,
                                       const std::string& path) {
    const auto at = clients_.find(number);
    if (at == clients_.end()) {
        deleteClient(path);  // nobody waits for it any more
        return;
    }
    try {
        at->second->begin(bus, path);
    } catch (const sdbus::Error& error) {
        at->second->failWith(&error);
    }
}

void GeoClueSessions::stop(std::uint64_t number) {
    const auto at = clients_.find(number);
    if (at == clients_.end()) {
        return;
    }
    if (!at->second->path().empty()) {
        deleteClient(at->second->path());
    }
    clients_.erase(at);
}

void GeoClueSessions::deleteClient(const std::string& path) {
    bus_->manager->callMethodAsync("DeleteClient")
        .onInterface(kGeoClueManager)
        .withArguments(sdbus::ObjectPath(path))
        .uponReplyInvoke([](const sdbus::Error* /*error*/) {});
}

void GeoClueSessions::loseAll(const NSError& error) {
    for (const auto& [number, client] : clients_) {
        client->lose(error);
    }
}

}  // namespace xel
