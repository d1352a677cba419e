#pragma once

#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Linux/Stream/LinuxTCPOptions.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/Platform/Durability.h"
#include "XelPushClient/Platform/Endpoints.h"
#include "XelPushClient/Platform/LogSink.h"

namespace boost::asio {
class io_context;
}

namespace xel {

class AsioRunLoop;
class Diagnostics;

/// How a client stands on this machine. Every field may be left as it is.
struct LinuxOptions {
    /// Names the home's folder: one home for each name. Empty: the program's name.
    std::string name{};

    /// Where the home's store is. Empty: "$XDG_STATE_HOME/xelpush/<name>", or
    /// "~/.local/state/xelpush/<name>". A folder that everybody may write to, or that belongs neither to this
    /// user nor to root, is refused.
    std::string stateFolder{};

    /// Where crash reports go. Empty: "$XDG_DATA_HOME/xelpush/<name>", or "~/.local/share/xelpush/<name>".
    std::string documentsFolder{};

    /// Where downloaded media goes. Empty: "$XDG_CACHE_HOME/xelpush/<name>", or "~/.cache/xelpush/<name>".
    /// In a folder such as is refused above every download fails.
    std::string cacheFolder{};

    /// The host's text domain, where the texts of rich notifications are looked up (gettext). Empty: the one
    /// that textdomain(3) has set.
    std::string textDomain{};

    /// What the desktop calls the host above its notifications. Empty: the program's name.
    std::string applicationName{};

    /// The host's desktop file without folder and ".desktop", such as "org.example.Shop", by which desktop
    /// and launcher know its icon, and the location service the host. Empty: it has none, no launcher shows
    /// the badge, and the location service is told the program's name.
    std::string desktopId{};

    /// The name that the host owns on the session's bus, such as "org.example.Shop", so that distributors of
    /// push messages (UnifiedPush) find it and the bus can start it. Nothing else of the host may own it.
    /// Empty: the one that the environment variable XELPUSH_BUS_NAME gives, if any. Without a valid one there
    /// are no push tokens.
    std::string busName{};

    /// The bus of the user's session (a D-Bus address). Missing: the one that the environment names; empty:
    /// none, and notifications are not shown.
    std::optional<std::string> sessionBus{};

    /// The machine's bus (a D-Bus address), on which logind and GeoClue are. Missing: the one that the
    /// environment names, or else the well-known one; empty: none, sleep is not followed and there is no
    /// location.
    std::optional<std::string> systemBus{};

    /// A file of PEM certificates to trust instead of the system's store. Empty: the one that the environment
    /// variable XELPUSH_CA_FILE names, if any.
    std::string caFile{};

    /// When a connection to the broker that has died silently is noticed, and what that costs a radio.
    LinuxTCPOptions tcp{};

    /// How fast many clients of the machine connect.
    LinuxConnectionPace connectionPace{};

    /// Limits and deadlines of the connection to the broker.
    MQTTSessionOptions session{};

    /// Hosts and ports of the service. Missing: the defaults, with what the environment says
    /// (see `endpointsOfEnvironment`).
    std::optional<Endpoints> endpoints{};

    /// Whether media of notifications may come from anywhere. Without it, it comes from the internet and from
    /// the kind of network in which the service's REST host lies: whoever may send a message names the
    /// address of its media, and must not have this machine ask servers that only this machine reaches.
    bool mediaFromAnyNetwork = false;

    /// The host's own version: together, with a dot between, the client version that the service is told.
    std::optional<std::string> shortVersion{"1.0"};
    std::optional<std::string> bundleVersion{"1"};

    /// What arrives and what waits to be sent survives this.
    Durability durability = Durability::ProcessKill;

    /// Where log lines go. Null: standard error.
    std::shared_ptr<LogSink> logSink{};

    /// Whether they are written, whatever the stored switch says. Missing: as it says.
    std::optional<bool> writesLog{};

    /// Where a client's diagnostic records go, such as a `JSONLinesSink` or a `JournalSink`. Null: nowhere,
    /// and none is made.
    std::shared_ptr<Diagnostics> diagnostics{};

    /// The host's own context for the run loop, which outlives the machine and is run by one thread, whose
    /// the clients are from then on. A host whose running thread touches a client before that, or that drops
    /// the machine inside a callback, makes the loop itself (`runLoop`), to take it over or to keep it. Null:
    /// a context of the loop's own.
    boost::asio::io_context* hostContext = nullptr;

    /// The run loop to live on. Null: one on the host's context when there is one, else the process's main
    /// loop.
    std::shared_ptr<AsioRunLoop> runLoop{};

    /// The run loop on which broadcast notifications are posted, which something must run. Null: the same as
    /// above.
    std::shared_ptr<AsioRunLoop> mainRunLoop{};
};

}  // namespace xel
