// The C border between the broker and BrokerPlugin: no exception crosses it.

#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "sandbox/broker_plugin/BrokerApi.h"
#include "sandbox/broker_plugin/BrokerPlugin.h"

namespace {

using xel::sandbox::BrokerPlugin;

struct LoadedPlugin {
    LoadedPlugin(mosquitto_plugin_id_t* given, BrokerPlugin::Settings settings)
        : identifier(given), plugin(std::move(settings)) {}

    mosquitto_plugin_id_t* identifier;
    BrokerPlugin plugin;
};

// Runs `work` on the event; a failure of ours refuses what the broker asked about.
template <typename Event, typename Work>
int guard(void* eventData, void* userData, Work work) noexcept {
    try {
        return work(static_cast<LoadedPlugin*>(userData)->plugin, *static_cast<Event*>(eventData));
    } catch (const std::exception& error) {
        mosquitto_log_printf(MOSQ_LOG_ERR, "xelpush: broker plugin failed: %s", error.what());
    } catch (...) {
        mosquitto_log_printf(MOSQ_LOG_ERR, "xelpush: broker plugin failed");
    }
    return MOSQ_ERR_ACL_DENIED;
}

int onBasicAuth(int /*event*/, void* eventData, void* userData) {
    const int outcome = guard<mosquitto_evt_basic_auth>(
        eventData, userData, [](BrokerPlugin& plugin, auto& event) { return plugin.checkClient(event); });
    // The broker reads only this code as a refusal; another would end the connection without an answer.
    return outcome == MOSQ_ERR_ACL_DENIED ? static_cast<int>(MOSQ_ERR_AUTH) : outcome;
}

int onAclCheck(int /*event*/, void* eventData, void* userData) {
    return guard<mosquitto_evt_acl_check>(
        eventData, userData, [](BrokerPlugin& plugin, auto& event) { return plugin.checkAccess(event); });
}

int onMessage(int /*event*/, void* eventData, void* userData) {
    return guard<mosquitto_evt_message>(
        eventData, userData, [](BrokerPlugin& plugin, auto& event) { return plugin.takePublication(event); });
}

int onDisconnect(int /*event*/, void* eventData, void* userData) {
    return guard<mosquitto_evt_disconnect>(eventData, userData, [](BrokerPlugin& plugin, auto& event) {
        plugin.clientHasGone(event);
        return static_cast<int>(MOSQ_ERR_SUCCESS);
    });
}

int registerCallbacks(LoadedPlugin* loaded) {
    struct Entry {
        int event;
        MOSQ_FUNC_generic_callback callback;
    };
    for (const Entry& entry :
         {Entry{MOSQ_EVT_BASIC_AUTH, onBasicAuth}, Entry{MOSQ_EVT_ACL_CHECK, onAclCheck},
          Entry{MOSQ_EVT_MESSAGE, onMessage}, Entry{MOSQ_EVT_DISCONNECT, onDisconnect}}) {
        const int outcome =
            mosquitto_callback_register(loaded->identifier, entry.event, entry.callback, nullptr, loaded);
        if (outcome != MOSQ_ERR_SUCCESS) {
            return outcome;
        }
    }
    return MOSQ_ERR_SUCCESS;
}

BrokerPlugin::Settings readSettings(const mosquitto_opt* options, int optionCount) {
    BrokerPlugin::Settings settings;
    for (int i = 0; i < optionCount; ++i) {
        const std::string_view key = options[i].key;
        if (key == "app_id") {
            settings.app = options[i].value;
        } else if (key == "service_user") {
            settings.serviceUser = options[i].value;
        } else if (key == "event_store") {
            settings.eventStore = options[i].value;
        }
    }
    return settings;
}

}  // namespace

#define XELPUSH_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

XELPUSH_PLUGIN_EXPORT int mosquitto_plugin_version(int supportedCount, const int* supported) {
    for (int i = 0; i < supportedCount; ++i) {
        if (supported[i] == MOSQ_PLUGIN_VERSION) {
            return MOSQ_PLUGIN_VERSION;
        }
    }
    return -1;
}

XELPUSH_PLUGIN_EXPORT int mosquitto_plugin_init(mosquitto_plugin_id_t* identifier, void** userData,
                                                mosquitto_opt* options, int optionCount) {
    try {
        BrokerPlugin::Settings settings = readSettings(options, optionCount);
        if (settings.app.empty() || settings.serviceUser.empty() || settings.eventStore.empty()) {
            mosquitto_log_printf(MOSQ_LOG_ERR,
                                 "xelpush: the broker plugin needs app_id, service_user and event_store");
            return MOSQ_ERR_INVAL;
        }
        auto loaded = std::make_unique<LoadedPlugin>(identifier, std::move(settings));
        const int outcome = registerCallbacks(loaded.get());
        *userData = loaded.release();  // the broker cleans up, or ends
        return outcome;
    } catch (const std::exception& error) {
        mosquitto_log_printf(MOSQ_LOG_ERR, "xelpush: the broker plugin cannot start: %s", error.what());
        return MOSQ_ERR_UNKNOWN;
    } catch (...) {
        return MOSQ_ERR_UNKNOWN;
    }
}

XELPUSH_PLUGIN_EXPORT int mosquitto_plugin_cleanup(void* userData, mosquitto_opt* /*options*/,
                                                   int /*optionCount*/) {
    auto* loaded = static_cast<LoadedPlugin*>(userData);
    if (loaded != nullptr) {
        mosquitto_callback_unregister(loaded->identifier, MOSQ_EVT_BASIC_AUTH, onBasicAuth, nullptr);
        mosquitto_callback_unregister(loaded->identifier, MOSQ_EVT_ACL_CHECK, onAclCheck, nullptr);
        mosquitto_callback_unregister(loaded->identifier, MOSQ_EVT_MESSAGE, onMessage, nullptr);
        mosquitto_callback_unregister(loaded->identifier, MOSQ_EVT_DISCONNECT, onDisconnect, nullptr);
        delete loaded;
    }
    return MOSQ_ERR_SUCCESS;
}
