#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Classes/ClientEntrance.h"
#include "XelPushClient/Classes/Core/ConnectionState.h"
#include "XelPushClient/Classes/Core/DelegateOperations.h"
#include "XelPushClient/Classes/Core/HandlerBlocks.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Core/PushClientManagerDelegate.h"
#include "XelPushClient/Classes/Models/OperationOptions.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Text.h"
#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/CLLocation.h"
#include "XelPushClient/Platform/TopicTable.h"
#include "XelPushClient/Platform/UIApplication.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

class CoreGeoLocation;
class LBRESTAdapter;
class MQTTSession;
struct Home;
struct Machine;

/// The client of the push service: registers the device's installation, keeps one connection to the broker,
/// and turns what arrives into callbacks.
///
/// Outcomes arrive three ways at once: at delegates, at handler blocks, and as broadcast notifications of the
/// home's notification centre. Operations that answer a boolean say whether the work was started.
///
/// Thread: the run loop of its machine. Every operation is called there, and every delegate and block is
/// called there, and may call any operation, also `reset`. An operation that is called on another thread, or
/// in a child that fork(2) made, throws `std::logic_error` before anything changes. Any thread may report a
/// crash, call the static operations, and ask what a broadcast tells of: `connectionState`,
/// `connectionStateString`, `isServerReachable`, `serverNetworkType` and `isRegistered`. The destructor only
/// logs. Whose thread it is the run loop says (`NSRunLoop::isCurrent`): of the one that made it, and then of
/// the one that runs it; a host that makes the client on one thread and runs its `io_context` on another has
/// that one take the loop over first (`AsioRunLoop::takeOwnership`). A delegate, a block or an observer may
/// also destroy the manager, and drop the machine and the home with it, but for a run loop that is running:
/// nothing more is reported then, not even to those who would have heard next, and the connection is closed.
/// Answers to single requests to the backend still come. Broadcasts arrive on the machine's main run loop.
/// Errors are in the domain "PushClientErrorDomain" unless an operation says otherwise.
class PushClientManager : public NSObject {
public:
    /// The process's shared client, on this machine's platform, made on first use, on the thread of the main
    /// run loop. Defined by the platform's target. Throws `std::runtime_error` when its home cannot be
    /// opened.
    static PushClientManager& defaultManager();

    /// Whether clients of this process talk to the sandbox (true) or to production (false, the default).
    static void setDevelopment(bool development);
    /// Of every switch: a text literal, as any pointer, would switch it on, whatever it says.
    static void setDevelopment(const void*) = delete;

    /// A client on a machine and in a home of its own: for gateways, tests and other platforms. On the thread
    /// of the machine's run loop.
    PushClientManager(Machine machine, Home home);
    ~PushClientManager() override;

    // ---- Identity and settings.

    /// The credentials that `registerApplication` was given. The password never reaches a log line.
    [[nodiscard]] const std::optional<std::string>& appId() const;
    [[nodiscard]] const std::optional<std::string>& apiKey() const;
    [[nodiscard]] const std::optional<std::string>& username() const;
    [[nodiscard]] const std::optional<std::string>& password() const;
    [[nodiscard]] const std::optional<std::string>& appVersion() const;
    [[nodiscard]] const std::optional<std::string>& userId() const;
    /// The installation id that the service gave; `getInstallationId` is its other name.
    [[nodiscard]] const std::optional<std::string>& deviceId() const;
    [[nodiscard]] const std::optional<std::string>& getInstallationId() const;
    /// Sets the persisted ids; the value held changes only when the store took the change.
    void setUserId(const OptionalText& userId);
    void setDeviceId(const OptionalText& deviceId);
    /// The application's own data, sent with the installation. Setting a missing dictionary is ignored; `{}` empties
    /// it.
    [[nodiscard]] const Dictionary& userInfo() const;
    void setUserInfo(const OptionalDictionary& userInfo);
    /// The version set here, or else that of the bundle. A missing one takes back what was set.
    [[nodiscard]] std::string clientVersion() const;
    void setClientVersion(const OptionalText& clientVersion);
    /// The bundle's short version, a dot, and the bundle version.
    [[nodiscard]] std::string getClientVersionFromAppPlist() const;
    /// Whether log lines are written; off by default and persisted.
    [[nodiscard]] bool enableLog() const;
    void setEnableLog(bool enable);
    void setEnableLog(const void*) = delete;
    /// Whether delivery reports are subscribed to on connect. Can only be switched on, for the life of the
    /// process.
    [[nodiscard]] bool deliveryChannelEnabeled() const;
    void setDeliveryChannelEnabeled(bool enabled);
    void setDeliveryChannelEnabeled(const void*) = delete;
    /// Whether the broker is reached by TLS. Registering switches it on; switch it off afterwards, such as in
    /// the registration callback, which runs before the connect, to use a plain connection.
    [[nodiscard]] bool usingSSLConnection() const;
    void setUsingSSLConnection(bool usingSSL);
    void setUsingSSLConnection(const void*) = delete;
    /// Whether one location is reported at every launch, and the data that goes with it; persisted. Switching
    /// it on reports one at once.
    [[nodiscard]] bool enableLocationOnLaunch() const;
    void setEnableLocationOnLaunch(bool enable);
    void setEnableLocationOnLaunch(const void*) = delete;
    [[nodiscard]] std::optional<Dictionary> locationOnLaunchWithDictionary() const;
    void setLocationOnLaunchWithDictionary(const OptionalDictionary& options);
    /// The last failure of registration or connection, or of storing the ids of received messages (domain
    /// "PushClientStoreErrorDomain": nothing is lost while the process lives, and registering again is no
    /// help).
    [[nodiscard]] const std::optional<NSError>& failureError() const;

    // ---- Who hears of outcomes.

    /// Appends a delegate unless it is there already. Which operations it responds to is worked out from its
    /// type. Throws `DelegateListChangedError` from inside a delegate's callback when it would change the
    /// list; so do all of this group.
    template <class D>
    void addDelegate(std::shared_ptr<D> delegate) {
        addDelegate(std::move(delegate), operationsOverriddenBy<D>());
    }
    /// For hosts that decide at run time which operations a delegate responds to.
    void addDelegate(std::shared_ptr<PushClientManagerDelegate> delegate, DelegateOperations operations);
    void removeDelegate(const std::shared_ptr<PushClientManagerDelegate>& delegate);
    void removeAllDelegates();
    /// Sets the primary delegate, held weakly, and appends it; the previous one stays in the list. Null
    /// clears it, and empties a list of one.
    template <class D>
    void setDelegate(std::shared_ptr<D> delegate) {
        setDelegate(std::move(delegate), operationsOverriddenBy<D>());
    }
    void setDelegate(std::nullptr_t) { setDelegate(nullptr, DelegateOperations()); }
    void setDelegate(std::shared_ptr<PushClientManagerDelegate> delegate, DelegateOperations operations);
    [[nodiscard]] std::shared_ptr<PushClientManagerDelegate> delegate() const;
    [[nodiscard]] std::vector<std::shared_ptr<PushClientManagerDelegate>> delegates() const;

    /// The handler blocks; an empty one removes the block.
    void setMessageHandler(PushClientMessageHandlerBlock block);
    /// With it set, the host shows its own notifications and the client shows none.
    void setMessageUILocalNotificationHandler(PushClientMessageUILocalNotificationHandlerBlock block);
    /// Kept for hosts; the client never calls it.
    void setMessageDeliveredHandler(PushClientMessageDeliveredHandlerBlock block);
    void setRegistrationHandler(PushClientRegistrationHandlerBlock block);
    void setServerConnectionStateHandler(PushClientServerConnectionStateHandlerBlock block);
    void setServerReachabilityHandler(PushClientServerReachabilityCallBackBlock block);
    void setVerificationHandler(PushClientVerificationHandlerBlock block);
    void setVerifiyUserCodeHandler(PushClientVerifyUserCodeHandlerBlock block);

    /// Where this client's broadcasts are posted.
    [[nodiscard]] NSNotificationCenter& notificationCenter() const;

    // ---- Registration.

    /// The service's rule for user ids: 3 to 32 UTF-16 units without white space, "#", "+", "/", "*" and backslash.
    [[nodiscard]] static bool isUserIdValid(const OptionalText& userId);
    /// Whether `registerUser` would take the id and a connection could be made with it. Besides the rule above, a
    /// client id may hold no character on which a broker may end the connection (a control character, say). The error
    /// ("InvalidParameter", -5002) names the reason; nothing is reported.
    [[nodiscard]] static Result<void> checkUserId(const OptionalText& userId);
    /// Sets the credentials. False, with error -5009 reported as a failed registration, when one is missing
    /// or blank.
    bool registerApplication(const OptionalText& appId, const OptionalText& apiKey,
                             const OptionalText& userName, const OptionalText& password);
    /// Registers the user with the channels, then connects; another user than the stored one goes through
    /// `registerAgainWithUserId`. False, with error -5010, for an id that is not 3 to 32 valid characters,
    /// and, with a failed subscription reported, for the first channel that is not valid.
    bool registerUser(const OptionalText& userId, const TextList& channels = {});
    /// Channels between braces; without it `{}` could be an absent handler as well.
    bool registerUser(const OptionalText& userId, std::initializer_list<Text> channels);
    /// As above, keeping the handler for the outcome. False, doing nothing, without a handler, and so for `nullptr`.
    bool registerUser(const OptionalText& userId, PushClientRegistrationHandlerBlock registrationHandler);
    bool registerUser(const OptionalText& userId, const TextList& channels,
                      PushClientRegistrationHandlerBlock registrationHandler);
    /// Removes the stored user's installation, resets the client, and registers the new user. False with
    /// error -5010 or, without a network, -5011.
    bool registerAgainWithUserId(const OptionalText& userId, const TextList& channels = {});
    /// Saves the installation with what is known now. False without a push token or a user.
    bool registerDeviceToServer();
    /// Asks the operating system for permission to notify and for a push token.
    void registerForAPNsToken();
    /// Removes the installation from the backend and resets the client at once. Without an installation
    /// neither block is called.
    void unregisterUser(std::function<void(const Value& response)> success = nullptr,
                        std::function<void(const NSError& error)> failure = nullptr);
    [[nodiscard]] bool isRegistered() const;
    [[nodiscard]] bool pendingRegisteration() const;
    /// Returns the client to the unregistered state: identity, topics, notification settings, message ids,
    /// session memory, and what of the library's own waited for a connection are forgotten; credentials,
    /// delegates, blocks, also those of `enqueueWhenSessionIsConnected`, log and location settings stay.
    void reset();

    // ---- Connection.

    /// Starts a connection attempt; ignored while connected or connecting, and without a complete identity.
    void connectToServer();
    void disconnectFromServer();
    [[nodiscard]] PushClientServerConnectionState connectionState() const;
    /// "Init", "Connecting", "Connected", "Disconnected", "Error" or "Unknown".
    [[nodiscard]] std::string_view connectionStateString() const;
    [[nodiscard]] const std::optional<std::string>& brokerClientId() const;
    [[nodiscard]] bool isServerReachable() const;
    [[nodiscard]] PushClientServerReachabilityNetworkType serverNetworkType() const;
    /// Counts one launch by the user, and reads the count and the time (milliseconds since 1970; 0 when there
    /// was none).
    void setLaunchStats();
    [[nodiscard]] std::optional<std::int64_t> getLaunchCount() const;
    [[nodiscard]] std::int64_t getLaunchTime() const;
    [[nodiscard]] bool launchedByUser() const;
    /// Runs the block once, at the first report that finds the client connected, whoever is registered then.
    /// An empty one is ignored, with a log line.
    void enqueueWhenSessionIsConnected(std::function<void()> block);

    // ---- Channels and events.

    /// The service's rule for the characters of channels and events: not blank, and without white space, "#", "+", "*"
    /// and backslash.
    [[nodiscard]] static bool isChannelValid(const Text& channel);
    /// Whether `subscribe` and `registerUser` would take the channel, and no broker ends the connection on it: the rule
    /// above, a scope of "public/", "private/" or none, and no control character or non-character. The error
    /// ("InvalidParameter", -5002) names the reason; nothing is reported.
    [[nodiscard]] static Result<void> checkChannel(const Text& channel);
    /// Subscribes to a channel ("news", "public/news", "private/orders"), or to several at once. Each
    /// answered one is reported to the delegates, once also when it was asked for again before the answer; an
    /// invalid one is reported as failed ("InvalidParameter", -5002) and ends the list: what stood before it
    /// goes out with the next call or connect. A channel that no broker may be sent, for a control character,
    /// say, is reported as failed once and forgotten, and so is one on which the broker ends every connection
    /// ("MQTT", 109). The error's details hold its "topic".
    void subscribe(const Text& channel, SubscribeOptions options = {});
    void subscribeList(const TextList& channels, SubscribeOptions options = {});
    void unsubscribe(const Text& channel);
    /// Subscribes to a named event of every installation, or of one: `subscribeEvent("login", "X9")` and
    /// `unsubscribeEvent("login", "X9")` mean the same installation, a missing id every one.
    void subscribeEvent(const Text& eventName, const EventSubscribeOptions& options = {});
    void subscribeEvent(const Text& eventName, const OptionalText& installationId,
                        SubscribeOptions options = {});
    /// `{}`, which could be either of the above: every installation.
    void subscribeEvent(const Text& eventName, std::nullptr_t) { subscribeEvent(eventName); }
    void unsubscribeEvent(const Text& eventName, const OptionalText& installationId = {});
    /// The stored channels, private ones marked ("private/orders"). Loads them anew, so that `topics` loses what was not
    /// stored, such as the channels before an invalid one of a list.
    [[nodiscard]] std::vector<std::string> deviceSubscriptions();
    /// How a channel's messages are notified of: the name of a sound, and whether at all. Stored, and sent to
    /// the backend. Throws `NullException`, storing nothing, before a push token has arrived.
    void updateNotificationSettings(const Text& channel, const Text& sound, bool alert);
    void updateNotificationSettings(const Text& channel, const Text& sound, const void*) = delete;
    /// The preference for a channel, exactly as it was named; also after a restart.
    [[nodiscard]] std::optional<Dictionary> notificationSettingsFor(const Text& channel) const;

    // ---- Publishing. Payloads are JSON objects, pretty-printed, UTF-8. What is invalid, or has a topic that
    // no broker may be sent (a control character, a wildcard, more than 65,535 octets), is reported to the
    // delegates as a failed publication ("InvalidParameter", -5002) and not sent; a missing text counts as a
    // blank one. What the session took and gives up later, because the broker ends every connection on it, is
    // reported too ("MQTT", 109). The error's details hold "topic" and, where the payload has one, "id".

    /// Sends a message to the channel of one user, or, with the user id "*" or none, to the public channel; a
    /// blank channel is "default". A live message goes out at most once (QoS 0), every other at least once
    /// (QoS 1); the broker retains a stateful one. True when the session took it: what is at least once then
    /// survives lost connections and the end of the process. False for an invalid channel or a blank body,
    /// and, with nothing reported, when there is no session yet, when JSON cannot carry the message (a number
    /// that is not finite, octets, a date, a text that is not UTF-8, more than 64 levels), and when the
    /// session refuses it (over 1 MiB; 50,000 publications or 64 MiB unacknowledged; a failure to store it).
    bool publish(const PushClientMessage& message);
    /// Texts in braces would be a message's first fields, its id and its body: name the fields, or leave the braces
    /// out for channel and text.
    bool publish(std::initializer_list<Text>) = delete;
    /// Sends a text to a public channel ("news"). Answers as above.
    bool publish(const OptionalText& channel, const OptionalText& withText);
    /// Sends a text to a user's channel ("orders", without a scope). Answers as above.
    bool publish(const OptionalText& userId, const OptionalText& toChannel, const OptionalText& withText);
    /// Publishes an event of this installation. The data gets a "createdAt" (milliseconds since 1970) and an
    /// "id" (a new UUID) where it has none. True once application, device, name and data are valid: an event
    /// that could not be handed over for one of the reasons above is kept in memory and tried again, with the
    /// same "id" and "createdAt", each time the client connects. False, and reported, for one that is over
    /// 1 MiB ("InvalidParameter", -5002), and when 50,000 events or 64 MiB are kept already ("MQTT", 107).
    bool publishEvent(const Text& eventName, const OptionalDictionary& data,
                      PublishEventOptions options = {});
    /// Tells the service that the user has read a message, or has dismissed it. The id is checked for what no
    /// topic may hold, and for nothing else. Answers as `publish` does.
    bool markAsRead(const OptionalText& messageId);
    bool messageDismissed(const OptionalText& messageId);
    /// A dictionary as publications carry it: JSON octets, or, for one that JSON cannot carry, nothing after
    /// a log line.
    [[nodiscard]] std::optional<std::string> serializeToDict(const OptionalDictionary& dictionary) const;
    /// The same as a text, which is empty for a dictionary that JSON cannot carry.
    [[nodiscard]] std::optional<std::string> toJsonString(const OptionalDictionary& dictionary) const;

    // ---- Verification, tags and plain requests to the REST backend. They outlive `reset`.

    /// Has the backend send the user a verification code; `media` is accepted and not sent. True when the
    /// request was sent; its outcome goes to delegates, the verification handler and a notification. False,
    /// with the error reported, for a blank user id (-5013), and, as a failed check of a code, before
    /// `registerApplication` (-5001).
    bool requestVerificationCode(const OptionalText& userId, const OptionalText& media = {});
    /// `nullptr` or `{}`, which could be an absent block as well, is no media: the handler stays what it is.
    bool requestVerificationCode(const OptionalText& userId, std::nullptr_t) {
        return requestVerificationCode(userId);
    }
    /// As above, keeping the block as the verification handler first.
    bool requestVerificationCode(const OptionalText& userId,
                                 PushClientVerificationHandlerBlock completionBlock);
    bool requestVerificationCode(const OptionalText& userId, const OptionalText& media,
                                 PushClientVerificationHandlerBlock completionBlock);
    /// Checks the code that the user typed. True when the request was sent; its outcome goes to delegates,
    /// the verify-code handler and a notification. False, with the error reported, for a blank user id or
    /// code (5014), and before `registerApplication` (-5001).
    bool verifyUserCode(const OptionalText& userId, const OptionalText& userCode);
    /// As above, keeping the block as the verify-code handler first.
    bool verifyUserCode(const OptionalText& userId, const OptionalText& userCode,
                        PushClientVerifyUserCodeHandlerBlock completionBlock);

    /// Adds a tag to the user's installation, or removes one. Success gets the backend's count; failure the
    /// error of the request, or at once that of a blank API key ("NotInitialized", 506), user id
    /// ("NotRegistered", 505) or name ("Argument", 500).
    void addTag(const OptionalText& name, std::function<void(std::int64_t count)> success = {},
                const std::function<void(const NSError& error)>& failure = {});
    void removeTag(const OptionalText& name, std::function<void(std::int64_t count)> success = {},
                   const std::function<void(const NSError& error)>& failure = {});

    /// Sends one request to the REST backend, by https. The path is relative to its base URL and may carry a
    /// query; parameters of a POST become a pretty-printed JSON body, those of a GET the query. Success gets
    /// the parsed answer. Failure gets an error of `NSURLErrorDomain` (-1011 with the answer's body as its
    /// recovery suggestion for a status other than 200 to 299), the reader's error for an answer that is not
    /// JSON, or at once "InvalidParameter" (-5002) for parameters that JSON cannot carry. Without a method
    /// nothing is sent and neither block is called.
    void requestMethod(const OptionalText& method, const Text& path,
                       const OptionalDictionary& parameters = std::nullopt,
                       std::function<void(const Value& response)> success = {},
                       const std::function<void(const NSError& error)>& failure = {});

    // ---- Topics (MQTT 3.1.1 section 4.7) of this client; missing until application and user are known.

    [[nodiscard]] std::optional<std::string> brokerTopicForDevice() const;
    [[nodiscard]] std::optional<std::string> brokerTopic() const;
    [[nodiscard]] std::optional<std::string> publicTopic() const;
    [[nodiscard]] std::optional<std::string> deliveryTopic() const;
    [[nodiscard]] std::optional<std::string> liveTopic() const;
    /// Kept for hosts of earlier versions; does nothing.
    void removeDefaultPublicTopic() {}

    // ---- The location: the event "geo", and regions that messages of the service set up.

    /// The client's location service: one fix, tracking, and regions. Lives as long as the client.
    [[nodiscard]] CoreGeoLocation& instanceCoreGeoLocation() const;
    /// Publishes a location as the event "geo": {"lat", "lng", "ts"[, "data"]}, degrees and milliseconds
    /// since 1970. What is wrong is reported as `publishEvent` does; a missing location is only logged.
    void publishLocation(const std::optional<CLLocation>& location,
                         const PublishLocationOptions& options = {});
    /// Publishes the device's location once, with the launch dictionary, if `enableLocationOnLaunch` is on
    /// and no tracking session runs. A position that cannot be had within 30 s is only logged.
    void checkLocationOnLaunch();
    /// Goes on with the tracking session of an earlier launch for the rest of its time, and publishes its
    /// positions; ends it when the time is over.
    void startLocationIfTrackingMe();

    // ---- Calls of the operating system that a host forwards.

    /// The host's own launch, with options under the keys of `UIApplicationLaunchOptions.h`: resumes
    /// tracking, counts the launch and reports the launch location. A launch by the system for a location
    /// event is not counted, reports none, and the next installation save says that it is not the user's.
    /// True when a notification launched the application.
    bool applicationDidFinishLaunchingWithOptions(UIApplication& application,
                                                  const Dictionary& launchOptions);
    void applicationDidBecomeActive(UIApplication& application);
    void applicationWillResignActive(UIApplication& application);
    void applicationWillEnterForeground(UIApplication& application);
    void applicationDidEnterBackground(UIApplication& application);
    void applicationWillTerminate(UIApplication& application);
    /// Stops following the application's lifecycle notifications and changes of the installation id.
    void removeAppLifeCyclesFunctionality();

    void applicationDidRegisterUserNotificationSettings(UIApplication& application);
    void applicationDidRegisterForRemoteNotificationsWithDeviceToken(UIApplication& application,
                                                                     const Data& deviceToken);
    void applicationDidFailToRegisterForRemoteNotificationsWithError(UIApplication& application,
                                                                     const NSError& error);
    void applicationDidReceiveRemoteNotification(UIApplication& application, const Dictionary& payload);
    void applicationDidReceiveRemoteNotification(UIApplication& application, const Dictionary& payload,
                                                 const std::function<void(int)>& fetchCompletionHandler);
    void applicationDidReceiveLocalNotification(UIApplication& application,
                                                const UILocalNotification& notification);
    void userNotificationCenterWillPresentNotification(UNUserNotificationCenter& center,
                                                       const UNNotification& notification,
                                                       const std::function<void(std::uint32_t)>& completion);
    void userNotificationCenterDidReceiveNotificationResponse(UNUserNotificationCenter& center,
                                                              const UNNotificationResponse& response,
                                                              const std::function<void()>& completion);
    [[nodiscard]] const std::optional<Data>& deviceToken() const;
    [[nodiscard]] const std::optional<std::string>& tokenStatus() const;
    [[nodiscard]] bool isNotificationDenied() const;
    /// Clears the application's badge and every scheduled local notification.
    void resetBadge();

    // ---- Rich notifications: title, body, subtitle, media and buttons.
    //
    // Media is fetched by http or https, bounded in size and time, and not from this machine or its own
    // networks unless the service lies there or the platform's options allow it. It and the buttons come from
    // a dictionary with the keys "mediaUrl", "mediaType" ("image", "video", "audio" or a file's extension)
    // and "actions" (dictionaries with "title", "id" and "options"). Texts are looked up as keys of the
    // host's translations. What fails is logged, and the notification is shown without media. Handlers run on
    // the run loop, later.

    /// Shows the notification that the "notification" dictionary of a message's payload describes, in place
    /// of the one shown before. With media it is shown once that has arrived or failed; when a later
    /// notification was shown meanwhile, not at all.
    void showLocalRichNotificationWithPayload(const Dictionary& payload);
    /// Shows a notification of these parts at once, in place of the one shown before. The sound is one that
    /// the notification service knows by name; missing, the default one. The file is attached when it is
    /// there.
    void createMutableLocalNotificationTitle(const OptionalText& title, const OptionalText& body,
                                             const OptionalText& subtitle, const OptionalText& sound,
                                             std::int64_t badge, const OptionalText& category,
                                             const OptionalDictionary& userInfo,
                                             const OptionalText& filePath);
    /// Installs a category with these buttons, in place of every other category. Does nothing without a
    /// single button that has both a title and an id.
    void createCategoryNotificationWithActions(const std::optional<Array>& actions,
                                               const OptionalText& identifier);
    /// For a service extension: installs the category of a remote notification and attaches its media, then
    /// hands the content to the handler. Without media the handler is never called.
    void didReceiveNotificationRequest(const UNNotificationRequest& request,
                                       NotificationContentHandler contentHandler);
    /// Fetches a media file. The handler takes its path, or nothing when it could not be had. The file lies
    /// in the library's own folder, which keeps only the newest ones: move it away to keep it.
    void downloadDataForUrlString(const Text& url, const Text& mediaType, MediaFileHandler handler);
    /// As above, as an attachment for a notification.
    void loadAttachmentForUrlString(const Text& url, const Text& mediaType,
                                    NotificationAttachmentHandler handler);
    /// A button, or none when title or identifier is missing or empty.
    [[nodiscard]] static std::optional<UNNotificationAction> createNotificationActionWithTitle(
        const OptionalText& title, const OptionalText& identifier, std::uint32_t options);
    /// ".jpg", ".mp4" or ".mp3" for "image", "video" or "audio", and a dot with the media type for any other.
    /// What does not belong in a file's name is replaced only in the file's name.
    [[nodiscard]] static std::string fileExtensionForMediaType(const Text& mediaType);

    // ---- Crash reports.

    /// Reports a crash to the backend: the host's data, the device's identity and the calling thread's stack.
    /// With `saveOnDisk` the report is also written to a file of its own, "crash-<date>.log", mode 0600, in
    /// the home's documents folder. From any thread, also when the run loop is blocked for good; not from a
    /// signal handler, for it allocates. Before the application is registered and has an installation id,
    /// nothing is written or sent, and error -5009 is reported as a failed registration, on the run loop.
    void applicationCrashedWithUserInfo(const Dictionary& userInfo, CrashReportOptions options = {});

    // ---- What the client holds at the moment, to look at: for tests and for finding faults.

    /// The session with the broker; null until one was made. Its delegate is the client.
    [[nodiscard]] std::shared_ptr<const MQTTSession> brokerSession() const;
    /// Whether the next error schedules no reconnect, and the seconds until the one that is scheduled.
    [[nodiscard]] bool forceClose() const;
    [[nodiscard]] double reconnectTime() const;
    [[nodiscard]] UIBackgroundTaskIdentifier backgroundTask() const;
    /// The wanted topics with their QoS; missing until they were loaded.
    [[nodiscard]] const std::optional<TopicTable>& topics() const;
    /// The topics of the last SUBSCRIBE that is not yet answered; null when there is none.
    [[nodiscard]] std::shared_ptr<const TopicTable> goingToTopics() const;
    /// What was asked of the broker and is not yet answered: topic by packet id.
    [[nodiscard]] const std::map<std::uint16_t, std::string>& subscribeMsgIds() const;
    [[nodiscard]] const std::map<std::uint16_t, std::string>& unSubscribeMsgIds() const;
    /// The notification preferences of all channels.
    [[nodiscard]] const std::optional<Dictionary>& notificationSettings() const;
    /// The way to the REST backend, made on first use, which switches `usingSSLConnection` on.
    [[nodiscard]] std::shared_ptr<LBRESTAdapter> loopBackAdaptor();

    // ---- The device, as the installation record describes it.

    /// The display name of the machine, or its identifier when `deviceModelList` has none for it.
    [[nodiscard]] std::string deviceModel() const;
    /// Machine identifiers, and the display names of the devices they mean.
    [[nodiscard]] static Dictionary deviceModelList();
    [[nodiscard]] std::string deviceOsVersion() const;
    [[nodiscard]] PushClientServerReachabilityNetworkType getConnectionType() const;
    /// The kind of network that a status bar shows, as its system numbers it; none on a platform without one.
    [[nodiscard]] static std::optional<int> getConnectionTypeFromStatusBar();

private:
    ClientEntrance rooms_;
};

}  // namespace xel
