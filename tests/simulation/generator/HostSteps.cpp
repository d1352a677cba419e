#include "tests/simulation/generator/HostSteps.h"

#include <vector>

namespace xel::simulation {

std::string subscribing(Draw& draw) {
    const auto channel = draw.oneOf<std::string>({"news", "sport", "weather"});
    switch (draw.number(0, 9)) {
        case 0: return "host subscribe " + channel + " live";
        case 1: return "host subscribeList news,sport,weather";
        case 2: return "host subscribeList news,bad#name,sport";
        case 3:
        case 4: return "host unsubscribe " + channel;
        case 5: return "host subscribeEvent login";
        case 6: return "host unsubscribeEvent login";
        case 7: return "host subscribeEvent logout live";
        default: return "host subscribe " + channel;
    }
}

std::string unsubscribing(Draw& draw) {
    return draw.chance(20) ? "host unsubscribeEvent login"
                           : "host unsubscribe " + draw.oneOf<std::string>({"news", "news", "sport"});
}

std::string setting(Draw& draw) {
    switch (draw.number(0, 5)) {
        case 0: return R"(host setUserInfo {"age":)" + std::to_string(draw.number(1, 99)) + "}";
        case 1: return "host updateNotificationSettings news default on";
        case 2: return "host setDeliveryChannelEnabeled on";
        case 3: return "host setDeliveryChannelEnabeled off";
        case 4: return "host enqueueWhenSessionIsConnected work";
        default: return "host registerDeviceToServer";
    }
}

std::string identity(Draw& draw, const std::string& user) {
    switch (draw.number(0, 9)) {
        case 0: return "host reset";
        case 1: return "host disconnectFromServer";
        case 2: return "host registerUser " + user + std::to_string(draw.number(1, 3));
        case 3: return "host registerAgainWithUserId " + user + " channels sport";
        case 4: return "host unregisterUser with blocks";
        case 5: return "host registerUser " + user + " channels news";
        case 6: return "quit";
        default: return "host connectToServer";
    }
}

std::string inside(Draw& draw, const std::string& user, PublicationSteps& publications) {
    const auto callback = draw.oneOf<std::string>({
        "pushClientManagerDidReceivedMessage",
        "pushClientManagerDidReceivedMessage",
        "pushClientManagerDidReceivedMessage",
        "PushClientDidReceivedMessageNotification",
        "pushClientManagerDidChangedServerConnectionState",
        "pushClientManagerDidSubscribed",
        "pushClientManagerDidUnsubscribed",
        "pushClientManagerDidRegisterUser",
        "pushClientManagerDidFailInPublish",
        "pushClientManagerDidReceivedEventMessage",
    });
    const std::string begin = "inside " + callback + " ";
    switch (draw.number(0, 11)) {
        case 0: return begin + "host throws \"the host fails\"";
        case 1: return begin + "host reset";
        case 2: return begin + "host disconnectFromServer";
        case 3: return begin + "host connectToServer";
        case 4: return begin + subscribing(draw);
        case 5: return begin + "host registerUser " + user + std::to_string(draw.number(1, 3));
        case 6: return begin + "host registerUser " + user;
        case 7: return begin + "quit";
        case 8:
        case 9: return begin + "kill";
        default: return begin + publications.fromHost();
    }
}

std::string outside(Draw& draw) {
    switch (draw.number(0, 9)) {
        case 0: return "application enters-background";
        case 1: return "application enters-foreground";
        case 2: return "application becomes-active";
        case 3: return "application resigns-active";
        case 4: return "application runs-out-of-time";
        case 5: return "time jumps " + std::to_string(draw.number(1, 40000)) + " s";
        case 6: return "time jumps -" + std::to_string(draw.number(1, 40000)) + " s";
        case 7: return "network becomes none";
        case 8: return "network becomes cellular";
        default: return "network becomes wifi";
    }
}

}  // namespace xel::simulation
