#include "XelPushClient/Classes/Registration/Registration.h"

#include "XelPushClient/Classes/Registration/RegistrationErrors.h"
#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {
namespace {

constexpr std::string_view kCouldNotRegisterUser = "Could Not Register User Id";
constexpr std::string_view kUserIdLine = "userId is nil appId userId %@ ";
constexpr std::string_view kQueuedWork = "-[PushClientManager registerDeviceToServer]_block_invoke";

/// The line, filled with the value, when the value is missing or blank.
std::string lineIfUnusable(std::string_view line, const std::optional<std::string>& value) {
    return isMissingOrBlank(value) ? formatted(line, value) : std::string();
}

}  // namespace

Registration::Registration(Surroundings surroundings)
    : surroundings_(surroundings), wayIn_(surroundings.life.wayInto(*this)) {}

bool Registration::refuse(const NSError& error) {
    surroundings_.state.handleRegistrationFailWithError(error);
    return false;
}

bool Registration::registerApplication(const std::optional<std::string>& appId,
                                       const std::optional<std::string>& apiKey,
                                       const std::optional<std::string>& userName,
                                       const std::optional<std::string>& password) {
    // A secret reaches these lines only when it is blank, so nothing secret is shown.
    const std::string reason = lineIfUnusable("AppId is nil appId value %@ ", appId) +
                               lineIfUnusable("apiKey is nil apiKey value %@ ", apiKey) +
                               lineIfUnusable("userName is nil userName value %@ ", userName) +
                               lineIfUnusable("password is nil appId value %@ ", password);
    if (!reason.empty()) {
        return refuse(makeRegistrationError(kPushClientFailRegisterApplicationErrorCode,
                                            "Could Not Register Application", reason,
                                            "Fill Registration Requirements"));
    }
    auto& settings = surroundings_.settings;
    settings.setApplication({appId, apiKey, userName, password, std::string(PUSH_CLIENT_VERSION_STR)});
    settings.setUsingSSLConnection(true);
    // Makes one only where user and installation are known already.
    surroundings_.session.createSession();
    return true;
}

bool Registration::registerUser(const std::optional<std::string>& userId,
                                const std::vector<std::string>& channels) {
    auto& settings = surroundings_.settings;
    if (!isUserIdValid(userId)) {
        return refuse(makeRegistrationError(kPushClientFailRegisterUserErrorCode, kCouldNotRegisterUser,
                                            lineIfUnusable(kUserIdLine, userId),
                                            "register again with User Id"));
    }
    if (settings.userId() && settings.userId() != userId) {
        return registerAgainWithUserId(userId, channels);
    }
    settings.setUserId(userId);
    // Those of before first, because all of them are stored again below.
    surroundings_.channels.loadUserChannels();
    if (!addChannels(channels)) {
        return false;
    }
    surroundings_.channels.storeUserChannels();
    // The installation is saved when the token, or the placeholder for it, arrives.
    surroundings_.tokens.registerForAPNsToken();
    return true;
}

bool Registration::addChannels(const std::vector<std::string>& channels) {
    const auto identity = surroundings_.channels.identity();
    for (const auto& channel : channels) {
        const auto topic = generateTopicWithChannel(identity, channel);
        if (!topic) {
            surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(topic.error());
            return false;
        }
        surroundings_.channels.setTopic(topic.value(), kAtLeastOnce);
    }
    return true;
}

std::optional<NSError> Registration::registerAgainRefusal(const std::optional<std::string>& userId) {
    auto& settings = surroundings_.settings;
    if (!isUserIdValid(userId)) {
        return makeRegistrationError(kPushClientFailRegisterUserErrorCode, kCouldNotRegisterUser,
                                     lineIfUnusable(kUserIdLine, userId), "register again with User Id");
    }
    const auto& clientId = surroundings_.session.brokerClientId();
    const bool hasTopic = !isMissingOrBlank(brokerTopic(surroundings_.channels.identity()));
    const bool isClientIdBlank = isEmptyOrBlank(clientId);
    if (!hasTopic || isClientIdBlank) {
        std::string reason = lineIfUnusable("userId is nil userId value %@ ", settings.userId()) +
                             lineIfUnusable("AppId is nil appId value = %@", settings.appId());
        if (hasTopic) {
            reason += lineIfUnusable("RegistrationId is nil appId value = %@", settings.deviceId());
        }
        return makeRegistrationError(kPushClientFailRegisterUserErrorCode, kCouldNotRegisterUser, reason,
                                     "register again with Complete Options");
    }
    if (!surroundings_.lifecycle.isServerReachable()) {
        return makeRegistrationError(kPushClientServerReachabilityErrorCode, "Server Not Reachable Now.",
                                     "Server is not reachable",
                                     "Register User Again when Server is available.");
    }
    return std::nullopt;
}

bool Registration::registerAgainWithUserId(const std::optional<std::string>& userId,
                                           const std::vector<std::string>& channels) {
    if (const auto refusal = registerAgainRefusal(userId)) {
        return refuse(*refusal);
    }
    if (surroundings_.connectionState.isConnected()) {
        surroundings_.observer.connectionBelongsToFormerUser();
    }
    TVRLog(surroundings_.log, "[%@]: registerAgainDeviceToServer ",
           "-[PushClientManager registerAgainWithUserId:channels:]");
    unregisterUser(
        [wayIn = wayIn_, userId = *userId, channels](const Value& /*response*/) {
            if (const auto self = wayIn.hold()) {
                self->continueAsUser(userId, channels);
            }
        },
        [wayIn = wayIn_](const NSError& /*error*/) {
            if (const auto self = wayIn.hold()) {
                TVRLog(self->surroundings_.log, "TVR : Fail to register with new userId!!!");
            }
        });
    return true;
}

void Registration::continueAsUser(const std::string& userId, const std::vector<std::string>& channels) {
    surroundings_.settings.setUserId(userId);
    surroundings_.channels.resetUserChannels();
    // With nothing stored this begins with the new user's default topic.
    surroundings_.channels.loadUserChannels();
    if (!addChannels(channels)) {
        return;
    }
    surroundings_.channels.storeUserChannels();
    TVRLog(surroundings_.log, registerDeviceToServer() ? "TVR : Register again with new userId."
                                                       : "TVR : Fail to register with new userId!!!");
}

void Registration::unregisterUser(Removed success, Failure failure) {
    // The request goes out before the identity ends, with whose id and adaptor it is made.
    if (const auto deviceId = surroundings_.settings.deviceId()) {
        surroundings_.record.remove(
            *deviceId,
            [wayIn = wayIn_, success = std::move(success)](const Value& response) {
                const auto self = wayIn.hold();
                if (!self) {
                    return;  // nothing is reported of a client that is no more
                }
                TVRLog(self->surroundings_.log, "Installation removed %@", response);
                if (success) {
                    success(response);
                }
            },
            [wayIn = wayIn_, failure = std::move(failure)](const NSError& error) {
                const auto self = wayIn.hold();
                if (!self) {
                    return;
                }
                TVRLog(self->surroundings_.log, "Error %@", error);
                if (failure) {
                    failure(error);
                }
            });
    }
    surroundings_.observer.identityEnds();
}

bool Registration::registerDeviceToServer() {
    if (!surroundings_.token.hasUsableToken() || isMissingOrBlank(surroundings_.settings.userId())) {
        return false;
    }
    // The queue decides when the save starts; what it says of the client is read then, on the client's own
    // loop.
    surroundings_.operationQueue->addOperationWithBlock(
        [runLoop = surroundings_.runLoop, isStillTrue = whileIdentityLasts()] {
            runLoop->post([isStillTrue] {
                if (const auto self = isStillTrue()) {
                    self->saveInstallation();
                }
            });
        });
    return true;
}

std::function<std::shared_ptr<Registration>()> Registration::whileIdentityLasts() const {
    return [wayIn = wayIn_, generation = identityGeneration_] {
        const auto self = wayIn.hold();
        return self && self->identityGeneration_ == generation ? self : nullptr;
    };
}

void Registration::saveInstallation() {
    TVRLog(surroundings_.log,
           isMissingOrBlank(surroundings_.settings.deviceId()) ? "[%@]: registerDeviceWithAdapter1 "
                                                               : "[%@]: registerDeviceWithAdapter2 ",
           kQueuedWork);
    const auto isStillTrue = whileIdentityLasts();
    surroundings_.record.save(
        [isStillTrue](const std::optional<LBInstallation>& installation) {
            if (const auto self = isStillTrue()) {
                self->installationWasSaved(installation);
            }
        },
        [isStillTrue](const NSError& error) {
            if (const auto self = isStillTrue()) {
                self->installationSaveFailed(error);
            }
        });
}

void Registration::installationWasSaved(const std::optional<LBInstallation>& installation) {
    auto& settings = surroundings_.settings;
    if (const auto id = installation ? installation->id() : std::nullopt) {
        // It becomes part of the client id, and a broker may end
        // every connection on such a one (MQTT 3.1.1, section 1.5.3).
        if (!isSendableText(*id)) {
            surroundings_.state.handleRegistrationFailWithError(makeRegistrationError(
                kPushClientFailRegisterUserErrorCode, kCouldNotRegisterUser,
                formatted("the service gave the installation id '%@', which no client id may hold: it %@",
                          shownName(*id), reasonNotSendable(*id)),
                "have the service give another installation id"));
            return;
        }
        if (settings.deviceId() != id) {
            const auto generation = identityGeneration_;
            surroundings_.observer.installationIdWillChange();
            // A host that hears of the new id may end the identity, and the id would still be stored.
            if (generation != identityGeneration_) {
                return;
            }
        }
        settings.setDeviceId(id);
    }
    if (!settings.deviceId()) {
        TVRLog(surroundings_.log, "handleRegistrationSuccess no deviceId");
        return;
    }
    TVRLog(surroundings_.log, "handleRegistrationSuccess");
    // Also when a host's callback throws in the report: the road to the connection must not end there.
    doThenAlways([this] { handleRegistrationSuccess(); }, [this] { surroundings_.state.nothingIsPending(); });
}

void Registration::installationSaveFailed(const NSError& error) {
    if (surroundings_.settings.deviceId() && saysInstallationIsUnknown(error, surroundings_.json)) {
        TVRLog(surroundings_.log, "[%@]: registerDeviceToServer recover new deviceId ", kQueuedWork);
        surroundings_.observer.installationIsUnknown();
        // Without an id the next save makes a new installation; with it, this answer would come again, and
        // again at once.
        if (!surroundings_.settings.deviceId()) {
            registerDeviceToServer();
            return;
        }
        surroundings_.state.handleRegistrationFailWithError(makeUnknownInstallationKeptError());
        return;
    }
    surroundings_.state.handleRegistrationFailWithError(error);
}

void Registration::handleRegistrationSuccess() {
    doThenAlways([this] { surroundings_.state.callbackRegitrationSuccess(); },
                 [this] {
                     TVRLog(surroundings_.log, "[%@]: Calling connectToServer",
                            "-[PushClientManager handleRegistrationSuccess]");
                     surroundings_.observer.registrationSucceeded();
                 });
}

void Registration::forgetIdentity() {
    ++identityGeneration_;
    surroundings_.state.forgetIdentity();
}

}  // namespace xel
