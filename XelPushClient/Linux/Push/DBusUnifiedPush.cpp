#include "XelPushClient/Linux/Push/DBusUnifiedPush.h"

#include <chrono>
#include <map>
#include <utility>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Push/UnifiedPushCalls.h"
#include "XelPushClient/Linux/Push/UnifiedPushInbox.h"
#include "XelPushClient/Linux/Push/UnifiedPushRules.h"

namespace xel {

namespace {

constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr const char* kConnectorPath = "/org/unifiedpush/Connector";
constexpr const char* kConnector = "org.unifiedpush.Connector2";
constexpr const char* kDistributorPath = "/org/unifiedpush/Distributor";
constexpr const char* kDistributor = "org.unifiedpush.Distributor2";
constexpr std::chrono::seconds kDistributorPatience{10};
constexpr std::size_t kLongestDescription = 100;

using Arguments = UnifiedPushArguments;

/// As much of the text as a distributor takes, in whole characters.
std::string descriptionOf(const std::string& text) {
    std::string cut = textForDBus(text);
    if (cut.size() > kLongestDescription) {
        std::size_t end = kLongestDescription;
        while (end > 0 && (static_cast<unsigned char>(cut[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        cut.resize(end);
    }
    return cut;
}

std::vector<std::string> distributorsAmong(const std::vector<std::string>& names) {
    std::vector<std::string> distributors;
    for (const auto& name : names) {
        if (isDistributorName(name)) {
            distributors.push_back(name);
        }
    }
    return distributors;
}

NSError failed(const sdbus::Error& error) {
    return makeDBusError(DBusErrorCode::Failed, error.getName(), error.getMessage());
}

}  // namespace

/// Everything that happens on the connection's thread. From its first use it lives until the connection ends,
/// and callbacks are dispatched only before that.
class DBusUnifiedPush::Core : public std::enable_shared_from_this<Core> {
public:
    Core(Host host, std::shared_ptr<UnifiedPushInbox> inbox)
        : host_(std::move(host)), inbox_(std::move(inbox)) {}

    /// Throws when the name cannot be had.
    void attach(sdbus::IConnection& bus, DBusConnection& connection) {
        if (object_ != nullptr) {
            return;
        }
        auto object = sdbus::createObject(bus, kConnectorPath);
        serve(*object, "Message", [this](const Arguments& arguments) { return takeMessage(arguments); });
        serve(*object, "NewEndpoint", [this](const Arguments& arguments) { return takeEndpoint(arguments); });
        serve(*object, "Unregistered", [this](const Arguments& arguments) { return takeEnd(arguments); });
        object->finishRegistration();
        // Only now: a bus that has started this host hands over the calls that wait as soon as the name
        // is taken.
        bus.requestName(host_.busName);
        object_ = std::move(object);
        bus_ = &bus;
        daemon_ = sdbus::createProxy(bus, kBus, kBusPath);
        connection.atClosing([self = shared_from_this()] { self->detach(); });
    }

    void findDistributors(const Found& found) {
        listNames("ListNames", found, [this, found](const std::vector<std::string>& running) {
            listNames("ListActivatableNames", found,
                      [this, found, running](const std::vector<std::string>& activatable) {
                          inbox_->answer([found, names = DistributorNames{distributorsAmong(running),
                                                                          distributorsAmong(activatable)}] {
                              found(names);
                          });
                      });
        });
    }

    void registerWith(const std::string& distributor, const std::string& token,
                      const Registered& registered) {
        Arguments arguments{{"service", sdbus::Variant(host_.busName)}, {"token", sdbus::Variant(token)}};
        if (const auto description = descriptionOf(host_.description); !description.empty()) {
            arguments["description"] = sdbus::Variant(description);
        }
        proxyOf(distributor)
            .callMethodAsync("Register")
            .onInterface(kDistributor)
            .withTimeout(kDistributorPatience)
            .withArguments(arguments)
            .uponReplyInvoke([this, registered](const sdbus::Error* error, const Arguments& result) {
                const auto problem =
                    error != nullptr ? std::optional(failed(*error)) : refusalOfAnswer(result);
                inbox_->answer([registered, problem] { registered(problem); });
            });
    }

    void unregisterFrom(const std::string& distributor, const std::string& token) {
        proxyOf(distributor)
            .callMethodAsync("Unregister")
            .onInterface(kDistributor)
            .withTimeout(kDistributorPatience)
            .withArguments(Arguments{{"token", sdbus::Variant(token)}})
            .uponReplyInvoke([](const sdbus::Error* /*error*/) {});
    }

private:
    /// Returns the reply to a call; none to refuse the call for now.
    using Taking = std::function<std::optional<Arguments>(const Arguments&)>;
    using Names = std::function<void(const std::vector<std::string>&)>;

    static void serve(sdbus::IObject& object, const std::string& method, Taking taking) {
        object.registerMethod(
            kConnector, method, "a{sv}", "a{sv}", [taking = std::move(taking)](sdbus::MethodCall call) {
                Arguments arguments;
                call >> arguments;
                const auto result = taking(arguments);
                if (!result) {
                    // The library makes the answer to the call of it.
                    throw sdbus::Error("org.freedesktop.DBus.Error.LimitsExceeded", "Too many calls wait");
                }
                auto reply = call.createReply();
                reply << *result;
                reply.send();
            });
    }

    std::optional<Arguments> takeMessage(const Arguments& arguments) {
        auto message = messageOfCall(arguments);
        if (!message) {
            return Arguments();
        }
        const std::string id = message->id;
        const bool isTaken = inbox_->call([message = std::move(*message)](const Calls& calls) {
            if (calls.message) {
                calls.message(message.token, message.message);
            }
        });
        if (!isTaken) {
            return std::nullopt;
        }
        return id.empty() ? Arguments() : Arguments{{"id", sdbus::Variant(id)}};
    }

    std::optional<Arguments> takeEndpoint(const Arguments& arguments) {
        const auto endpoint = endpointOfCall(arguments);
        if (!endpoint) {
            return Arguments();
        }
        return answerTo(inbox_->call([endpoint](const Calls& calls) {
            if (calls.newEndpoint) {
                calls.newEndpoint(endpoint->token, endpoint->endpoint);
            }
        }));
    }

    std::optional<Arguments> takeEnd(const Arguments& arguments) {
        const auto token = tokenOfCall(arguments);
        if (!token) {
            return Arguments();
        }
        return answerTo(inbox_->call([token](const Calls& calls) {
            if (calls.unregistered) {
                calls.unregistered(*token);
            }
        }));
    }

    static std::optional<Arguments> answerTo(bool isTaken) {
        return isTaken ? std::optional(Arguments()) : std::nullopt;
    }

    void listNames(const std::string& method, const Found& found, Names names) {
        daemon_->callMethodAsync(method)
            .onInterface(kBus)
            .withTimeout(kDistributorPatience)
            .uponReplyInvoke([this, found, names = std::move(names)](const sdbus::Error* error,
                                                                     const std::vector<std::string>& list) {
                if (error != nullptr) {
                    inbox_->answer([found, problem = failed(*error)] { found(problem); });
                    return;
                }
                try {
                    names(list);
                } catch (const sdbus::Error& next) {
                    // Thrown on it would close the connection.
                    inbox_->answer([found, problem = failed(next)] { found(problem); });
                }
            });
    }

    /// One proxy for each distributor: an answer is lost with the proxy that asked.
    sdbus::IProxy& proxyOf(const std::string& distributor) {
        auto& proxy = distributors_[distributor];
        if (proxy == nullptr) {
            proxy = sdbus::createProxy(*bus_, distributor, kDistributorPath);
        }
        return *proxy;
    }

    void detach() {
        distributors_.clear();
        daemon_.reset();
        object_.reset();
        bus_ = nullptr;
    }

    const Host host_;
    const std::shared_ptr<UnifiedPushInbox> inbox_;
    sdbus::IConnection* bus_ = nullptr;
    std::unique_ptr<sdbus::IObject> object_;
    std::unique_ptr<sdbus::IProxy> daemon_;
    std::map<std::string, std::unique_ptr<sdbus::IProxy>> distributors_;
};

DBusUnifiedPush::DBusUnifiedPush(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<LogSink> logSink,
                                 std::shared_ptr<DBusConnection> connection, Host host)
    : logSink_(std::move(logSink)),
      connection_(std::move(connection)),
      inbox_(std::make_shared<UnifiedPushInbox>(std::move(runLoop), kMostCallsUnderWay)),
      core_(std::make_shared<Core>(std::move(host), inbox_)) {}

DBusUnifiedPush::~DBusUnifiedPush() {
    inbox_->close();
}

void DBusUnifiedPush::open(Calls calls) {
    inbox_->open(std::move(calls));
    connection_->perform(
        [core = core_, connection = connection_.get()](sdbus::IConnection& bus) {
            core->attach(bus, *connection);
        },
        [logSink = logSink_](const NSError& error) {
            logSink->write("Push messages cannot come by the session's bus: " + error.localizedDescription());
        });
}

void DBusUnifiedPush::findDistributors(Found found) {
    connection_->perform(
        [core = core_, connection = connection_.get(), found](sdbus::IConnection& bus) {
            core->attach(bus, *connection);
            core->findDistributors(found);
        },
        [inbox = inbox_, found](const NSError& error) { inbox->answer([found, error] { found(error); }); });
}

void DBusUnifiedPush::registerWith(const std::string& distributor, const std::string& token,
                                   Registered registered) {
    connection_->perform(
        [core = core_, connection = connection_.get(), distributor, token,
         registered](sdbus::IConnection& bus) {
            core->attach(bus, *connection);
            core->registerWith(distributor, token, registered);
        },
        [inbox = inbox_, registered](const NSError& error) {
            inbox->answer([registered, error] { registered(error); });
        });
}

void DBusUnifiedPush::unregisterFrom(const std::string& distributor, const std::string& token) {
    connection_->perform(
        [core = core_, connection = connection_.get(), distributor, token](sdbus::IConnection& bus) {
            core->attach(bus, *connection);
            core->unregisterFrom(distributor, token);
        });
}

}  // namespace xel
