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

/// The client of the push service. It registers the device's installation, keeps one connection to the
/// broker, and turns what arrives into callbacks.
///
/// Every outcome is reported three ways: to the delegates, to a handler block, and as a broadcast
/// notification of the home's notification centre, posted on the machine's main run loop. An operation
/// that returns a boolean says whether the work was started. Errors are of the domain
/// "PushClientErrorDomain" unless an operation says otherwise.
///
/// Thread: the machine's run loop. Call every operation there; delegates and blocks are called there, and
/// may call any operation, `reset` included. Called on another thread, or in a child made by fork(2), an
/// operation throws `std::logic_error` before anything changes. The exceptions, for any thread: the
/// static operations, reporting a crash, and what a broadcast tells its observer to read
/// (`connectionState`, `connectionStateString`, `isServerReachable`, `serverNetworkType`,
/// `isRegistered`). The run loop belongs to the thread that made it, and then to the one that runs it
/// (`NSRunLoop::isCurrent`); a host that makes the client on one thread and runs its `io_context` on
/// another lets that one take the loop over first (`AsioRunLoop::takeOwnership`).
///
/// A delegate, block or observer may destroy the manager, and drop the machine and the home with it, but
/// not a run loop that is running. The connection is closed, and nobody is called any more, not even
/// those who would have heard next; blocks of single requests to the backend still are. On a wrong thread
/// the destructor only logs.
class PushClientManager : public NSObject {
public:
    /// The process's shared client, made on first use, on the thread of the main run loop. The platform's
    /// target defines it. Throws `std::runtime_error` when its home cannot be opened.
    static PushClientManager& defaultManager();

    /// Whether clients of this process talk to the sandbox (true) or to production (false, the default).
    static void setDevelopment(bool development);
    /// Deleted, here and for every other switch: a literal, like any pointer, would switch it on whatever
    /// it says.
    static void setDevelopment(const void*) = delete;

    /// A client of its own: for gateways, tests and other platforms. Made on the thread of the machine's
    /// run loop.
    PushClientManager(Machine machine, Home home);
    ~PushClientManager() override;

    // ---- Identity and settings.

    /// The credentials, as `registerApplication` set them. The password never reaches a log line.
    [[nodiscard]] const std::optional<std::string>& appId() const;
    [[nodiscard]] const std::optional<std::string>& apiKey() const;
    [[nodiscard]] const std::optional<std::string>& username() const;
    [[nodiscard]] const std::optional<std::string>& password() const;
    [[nodiscard]] const std::optional<std::string>& appVersion() const;
    [[nodiscard]] const std::optional<std::string>& userId() const;
    /// The installation id, given by the service; `getInstallationId` is its other name.
    [[nodiscard]] const std::optional<std::string>& deviceId() const;
    [[nodiscard]] const std::optional<std::string>& getInstallationId() const;
    /// Stores the id, or removes a missing one; the value held changes only when the store took the
    /// change.
    void setUserId(const OptionalText& userId);
    void setDeviceId(const OptionalText& deviceId);
    /// The application's own data, sent with the installation. `{}` empties it; a missing dictionary is
    /// ignored.
    [[nodiscard]] const Dictionary& userInfo() const;
    void setUserInfo(const OptionalDictionary& userInfo);
    /// The version that the installation tells: the stored one, or else the bundle's. Setting a missing
    /// one takes the stored one back.
    [[nodiscard]] std::string clientVersion() const;
    void setClientVersion(const OptionalText& clientVersion);
    /// The bundle's short version, a dot, and the bundle version.
    [[nodiscard]] std::string getClientVersionFromAppPlist() const;
    /// Whether log lines are written. Stored; off by default.
    [[nodiscard]] bool enableLog() const;
    void setEnableLog(bool enable);
    void setEnableLog(const void*) = delete;
    /// Whether the client subscribes to delivery reports when it connects. Once on, it stays on for the
    /// life of the process.
    [[nodiscard]] bool deliveryChannelEnabeled() const;
    void setDeliveryChannelEnabeled(bool enabled);
    void setDeliveryChannelEnabeled(const void*) = delete;
    /// Whether the broker is reached by TLS. Registering the application, and making `loopBackAdaptor`,
    /// switch it on; for a plain connection switch it off after that, in the registration callback, say,
    /// which runs before the connect.
    [[nodiscard]] bool usingSSLConnection() const;
    void setUsingSSLConnection(bool usingSSL);
    void setUsingSSLConnection(const void*) = delete;
    /// Whether each launch reports the location once, and the data that goes with it. Stored; switching
    /// it on reports one at once.
    [[nodiscard]] bool enableLocationOnLaunch() const;
    void setEnableLocationOnLaunch(bool enable);
    void setEnableLocationOnLaunch(const void*) = delete;
    [[nodiscard]] std::optional<Dictionary> locationOnLaunchWithDictionary() const;
    void setLocationOnLaunchWithDictionary(const OptionalDictionary& options);
    /// The last failure of registering, of the connection, of asking for or checking a verification code,
    /// or of storing the ids of received messages; nothing but the next one replaces it. An error of the
    /// network is kept as it came: what is reported of it may have a code of the client's own (-5012,
    /// -5030). When ids could not be stored (domain "PushClientStoreErrorDomain"), nothing is lost while
    /// the process lives, and registering again does not help; it does for a failed registration of that
    /// domain, once the store can be written.
    [[nodiscard]] const std::optional<NSError>& failureError() const;

    // ---- Who hears of outcomes.

    // Changing the list inside a delegate's callback throws `DelegateListChangedError`; a call that would
    // change nothing does nothing there.

    /// Appends a delegate, unless it is in the list. What it responds to is known from its type: the
    /// operations that it overrides.
    template <class D>
    void addDelegate(std::shared_ptr<D> delegate) {
        addDelegate(std::move(delegate), operationsOverriddenBy<D>());
    }
    /// For hosts that decide at run time which operations a delegate responds to.
    void addDelegate(std::shared_ptr<PushClientManagerDelegate> delegate, DelegateOperations operations);
    void removeDelegate(const std::shared_ptr<PushClientManagerDelegate>& delegate);
    void removeAllDelegates();
    /// Makes a delegate the primary one, which is held weakly, and appends it; the former one stays in
    /// the list. Null clears the primary one, and empties a list of one.
    template <class D>
    void setDelegate(std::shared_ptr<D> delegate) {
        setDelegate(std::move(delegate), operationsOverriddenBy<D>());
    }
    void setDelegate(std::nullptr_t) { setDelegate(nullptr, DelegateOperations()); }
    void setDelegate(std::shared_ptr<PushClientManagerDelegate> delegate, DelegateOperations operations);
    [[nodiscard]] std::shared_ptr<PushClientManagerDelegate> delegate() const;
    [[nodiscard]] std::vector<std::shared_ptr<PushClientManagerDelegate>> delegates() const;

    /// An empty block removes the handler.
    void setMessageHandler(PushClientMessageHandlerBlock block);
    /// While this one is set, the host shows notifications and the client shows none.
    void setMessageUILocalNotificationHandler(PushClientMessageUILocalNotificationHandlerBlock block);
    /// Kept for hosts; the client never calls it.
    void setMessageDeliveredHandler(PushClientMessageDeliveredHandlerBlock block);
    void setRegistrationHandler(PushClientRegistrationHandlerBlock block);
    void setServerConnectionStateHandler(PushClientServerConnectionStateHandlerBlock block);
    void setServerReachabilityHandler(PushClientServerReachabilityCallBackBlock block);
    void setVerificationHandler(PushClientVerificationHandlerBlock block);
    void setVerifiyUserCodeHandler(PushClientVerifyUserCodeHandlerBlock block);

    /// Where the client's broadcasts are posted.
    [[nodiscard]] NSNotificationCenter& notificationCenter() const;

    // ---- Registration.

    /// The service's rule for user ids: 3 to 32 UTF-16 units without white space, "#", "+", "/", "*" and
    /// backslash.
    [[nodiscard]] static bool isUserIdValid(const OptionalText& userId);
    /// Whether `registerUser` would take the id and a connection could be made with it. Besides the rule
    /// above, a client id may hold no character on which a broker may end the connection (a control
    /// character, say). The error ("InvalidParameter", -5002) names the reason; nothing is reported.
    [[nodiscard]] static Result<void> checkUserId(const OptionalText& userId);
    /// Sets the credentials. When one is missing or blank: false, and -5009 is reported as a failed
    /// registration.
    ///
    /// A session keeps the credentials that it was made with, also when it connects anew, until `reset`,
    /// another user or another installation id drops it; the host name follows the application id at
    /// once. So call `reset` before the credentials of another application: its host would be shown the
    /// former ones.
    bool registerApplication(const OptionalText& appId, const OptionalText& apiKey,
                             const OptionalText& userName, const OptionalText& password);
    /// Registers the user with the channels, then connects. A user other than the stored one goes through
    /// `registerAgainWithUserId`. An id that is not valid: false, and -5010 is reported. A channel that
    /// is not valid: false, and a failed subscription is reported for the first one.
    bool registerUser(const OptionalText& userId, const TextList& channels = {});
    /// The same for channels between braces, so that `{}` means no channels and not an empty handler.
    bool registerUser(const OptionalText& userId, std::initializer_list<Text> channels);
    /// As above, and keeps the block as the registration handler. Without a block (`nullptr`): false, and
    /// nothing happens.
    bool registerUser(const OptionalText& userId, PushClientRegistrationHandlerBlock registrationHandler);
    bool registerUser(const OptionalText& userId, const TextList& channels,
                      PushClientRegistrationHandlerBlock registrationHandler);
    /// Removes the stored user's installation, resets the client, and registers the new user. False, with
    /// -5010 reported, or -5011 without a network.
    bool registerAgainWithUserId(const OptionalText& userId, const TextList& channels = {});
    /// Saves the installation as it is now. False, doing nothing, without a push token or a user.
    bool registerDeviceToServer();
    /// Asks the operating system for permission to notify and for a push token.
    void registerForAPNsToken();
    /// Removes the installation from the backend and resets the client at once. Without an installation
    /// neither block is called.
    void unregisterUser(std::function<void(const Value& response)> success = nullptr,
                        std::function<void(const NSError& error)> failure = nullptr);
    [[nodiscard]] bool isRegistered() const;
    [[nodiscard]] bool pendingRegisteration() const;
    /// Makes the client an unregistered one. It forgets user, installation, topics, notification
    /// settings, message ids, the session with its memory, and whatever of its own waited for a
    /// connection. Credentials, delegates, blocks (those of `enqueueWhenSessionIsConnected` too), log and
    /// location settings stay. A reset of a connected client leaves `forceClose` on: the first error of
    /// the next connection is not followed by a reconnect, the second is.
    void reset();

    // ---- Connection.

    /// Starts to connect. Ignored while connected or connecting, and while application, user or
    /// installation is missing.
    void connectToServer();
    void disconnectFromServer();
    [[nodiscard]] PushClientServerConnectionState connectionState() const;
    /// "Init", "Connecting", "Connected", "Disconnected", "Error" or "Unknown".
    [[nodiscard]] std::string_view connectionStateString() const;
    [[nodiscard]] const std::optional<std::string>& brokerClientId() const;
    [[nodiscard]] bool isServerReachable() const;
    [[nodiscard]] PushClientServerReachabilityNetworkType serverNetworkType() const;
    /// Counts a launch by the user. The count is missing and the time (milliseconds since 1970) 0 before
    /// the first.
    void setLaunchStats();
    [[nodiscard]] std::optional<std::int64_t> getLaunchCount() const;
    [[nodiscard]] std::int64_t getLaunchTime() const;
    [[nodiscard]] bool launchedByUser() const;
    /// Runs the block once, at the next report of the connection state that finds the client connected,
    /// whoever is registered by then. Never at once. An empty block is ignored, with a log line.
    void enqueueWhenSessionIsConnected(std::function<void()> block);

    // ---- Channels and events.

    /// The service's rule for the characters of channels and events: not blank, and without white space,
    /// "#", "+", "*" and backslash.
    [[nodiscard]] static bool isChannelValid(const Text& channel);
    /// Whether `subscribe` and `registerUser` would take the channel, and no broker ends the connection
    /// on it: the rule above, a scope of "public/", "private/" or none, and no control character or
    /// non-character. The error ("InvalidParameter", -5002) names the reason; nothing is reported.
    [[nodiscard]] static Result<void> checkChannel(const Text& channel);
    /// Subscribes to a channel ("news", "public/news", "private/orders") or to several at once, now or
    /// when connected. Each one that the broker answers is reported to the delegates; asked for twice
    /// before the answer, once. One that is not valid is reported as failed ("InvalidParameter", -5002)
    /// and ends the list: those before it go out with the next call or connect. One that no broker may be
    /// sent, for a control character, say, or on which the broker ends every connection ("MQTT", 109), is
    /// reported as failed once and forgotten; the error's details hold its "topic".
    void subscribe(const Text& channel, SubscribeOptions options = {});
    void subscribeList(const TextList& channels, SubscribeOptions options = {});
    void unsubscribe(const Text& channel);
    /// Subscribes to a named event of one installation, or of every one when no id is given:
    /// `subscribeEvent("login", "X9")` is undone by `unsubscribeEvent("login", "X9")`.
    void subscribeEvent(const Text& eventName, const EventSubscribeOptions& options = {});
    void subscribeEvent(const Text& eventName, const OptionalText& installationId,
                        SubscribeOptions options = {});
    /// For `{}`, which would fit either of the above.
    void subscribeEvent(const Text& eventName, std::nullptr_t) { subscribeEvent(eventName); }
    void unsubscribeEvent(const Text& eventName, const OptionalText& installationId = {});
    /// The stored channels, private ones marked ("private/orders"). Loads them anew, so that `topics`
    /// loses what was not stored, such as the channels before an invalid one of a list.
    [[nodiscard]] std::vector<std::string> deviceSubscriptions();
    /// Whether messages of a channel show a notification, and with which sound, by its name. Stored, and
    /// sent to the backend. Throws `NullException`, and stores nothing, before a push token has arrived.
    void updateNotificationSettings(const Text& channel, const Text& sound, bool alert);
    void updateNotificationSettings(const Text& channel, const Text& sound, const void*) = delete;
    /// The preference for a channel, exactly as it was named; also after a restart.
    [[nodiscard]] std::optional<Dictionary> notificationSettingsFor(const Text& channel) const;

    // ---- Publishing.
    //
    // A payload is a JSON object, pretty-printed, in UTF-8. What is not valid, or has a topic that no
    // broker may be sent (a control character, a wildcard, more than 65,535 octets), is not sent and is
    // reported to the delegates as a failed publication ("InvalidParameter", -5002); a missing text
    // counts as a blank one. What the session took and gives up later, because the broker ends every
    // connection on it, is reported too ("MQTT", 109). The error's details hold "topic" and, where the
    // payload has one, "id".

    /// Sends a message: to one user's channel, or to the public channel when the user id is "*" or
    /// missing. A blank channel is "default". A live message goes out at most once (QoS 0), any other at
    /// least once (QoS 1); the broker retains a stateful one.
    ///
    /// True when the session took it: what goes out at least once then survives lost connections and the
    /// end of the process. False, and reported, for a channel that is not valid or a blank body. False
    /// alone without a session, for a message that JSON cannot carry (a number that is not finite,
    /// octets, a date, a text that is not UTF-8, more than 64 levels), and when the session refuses it
    /// (over 1 MiB; 50,000 publications or 64 MiB unacknowledged; a failure to store it).
    bool publish(const PushClientMessage& message);
    /// Deleted: texts between braces would be the first fields of a message, its id and its body.
    bool publish(std::initializer_list<Text>) = delete;
    /// Sends a text to a public channel ("news"). Returns as above.
    bool publish(const OptionalText& channel, const OptionalText& withText);
    /// Sends a text to a user's channel ("orders", without a scope). Returns as above.
    bool publish(const OptionalText& userId, const OptionalText& toChannel, const OptionalText& withText);
    /// Publishes an event of this installation. Data without a "createdAt" (milliseconds since 1970) or
    /// an "id" (a new UUID) gets one.
    ///
    /// True once application, installation, name and data are valid. An event that could not be handed
    /// over, for one of the reasons above, is kept in memory and tried again at each connect with the
    /// same "id" and "createdAt". False, and reported, for one over 1 MiB ("InvalidParameter", -5002),
    /// and when 50,000 events or 64 MiB are kept already ("MQTT", 107).
    bool publishEvent(const Text& eventName, const OptionalDictionary& data,
                      PublishEventOptions options = {});
    /// Tells the service that the user has read a message, or has dismissed it. Returns as `publish`
    /// does; the id is checked only for what no topic may hold.
    bool markAsRead(const OptionalText& messageId);
    bool messageDismissed(const OptionalText& messageId);
    /// A dictionary as publications carry it: JSON octets. Missing, after a log line, when JSON cannot
    /// carry it.
    [[nodiscard]] std::optional<std::string> serializeToDict(const OptionalDictionary& dictionary) const;
    /// The same as a text; empty when JSON cannot carry the dictionary.
    [[nodiscard]] std::optional<std::string> toJsonString(const OptionalDictionary& dictionary) const;

    // ---- Verification, tags and plain requests to the REST backend. They outlive `reset`.

    // User ids go into the paths of these requests. `requestVerificationCode` percent-encodes them;
    // `verifyUserCode` and the tags send them, and the code, as they are, because the backend compares
    // them so: a "?" there begins the query and cuts the rest off, a "/" begins another segment, and with
    // a blank the request fails as a bad URL (-1000).

    /// Asks the backend to send the user a verification code; `media` is accepted and not sent. True when
    /// the request went out: delegates, the verification handler and a broadcast hear of its outcome. A
    /// blank user id: false, and -5013 is reported. Before `registerApplication`: false, and -5001 is
    /// reported as a failed check of a code.
    bool requestVerificationCode(const OptionalText& userId, const OptionalText& media = {});
    /// For `{}` and `nullptr`, which would fit a block as well: no media, and the handler stays.
    bool requestVerificationCode(const OptionalText& userId, std::nullptr_t) {
        return requestVerificationCode(userId);
    }
    /// As above, and first keeps the block as the verification handler.
    bool requestVerificationCode(const OptionalText& userId,
                                 PushClientVerificationHandlerBlock completionBlock);
    bool requestVerificationCode(const OptionalText& userId, const OptionalText& media,
                                 PushClientVerificationHandlerBlock completionBlock);
    /// Checks the code that the user typed. True when the request went out: delegates, the verify-code
    /// handler and a broadcast hear of its outcome. A blank user id or code: false, and 5014 is reported;
    /// before `registerApplication`: false, and -5001.
    bool verifyUserCode(const OptionalText& userId, const OptionalText& userCode);
    /// As above, and first keeps the block as the verify-code handler.
    bool verifyUserCode(const OptionalText& userId, const OptionalText& userCode,
                        PushClientVerifyUserCodeHandlerBlock completionBlock);

    /// Adds a tag to the user's installation, or removes one. `success` gets the count that the backend
    /// returns, `failure` the request's error, or at once one of a blank API key ("NotInitialized", 506),
    /// user id ("NotRegistered", 505) or name ("Argument", 500).
    void addTag(const OptionalText& name, std::function<void(std::int64_t count)> success = {},
                const std::function<void(const NSError& error)>& failure = {});
    void removeTag(const OptionalText& name, std::function<void(std::int64_t count)> success = {},
                   const std::function<void(const NSError& error)>& failure = {});

    /// Sends one request to the REST backend, by https. The path is relative to its base URL and may
    /// carry a query. Parameters go into the query of a GET, and as pretty-printed JSON into the body of
    /// a POST. `success` gets the parsed answer. `failure` gets an error of `NSURLErrorDomain` (-1011 for
    /// a status other than 200 to 299, with the body of the answer as its recovery suggestion), the
    /// reader's error for an answer that is not JSON, or at once "InvalidParameter" (-5002) for
    /// parameters that JSON cannot carry. Without a method nothing is sent, and neither block is called.
    void requestMethod(const OptionalText& method, const Text& path,
                       const OptionalDictionary& parameters = std::nullopt,
                       std::function<void(const Value& response)> success = {},
                       const std::function<void(const NSError& error)>& failure = {});

    // ---- The client's own topics (MQTT 3.1.1 section 4.7); missing until application and user are known.

    [[nodiscard]] std::optional<std::string> brokerTopicForDevice() const;
    [[nodiscard]] std::optional<std::string> brokerTopic() const;
    [[nodiscard]] std::optional<std::string> publicTopic() const;
    [[nodiscard]] std::optional<std::string> deliveryTopic() const;
    [[nodiscard]] std::optional<std::string> liveTopic() const;
    /// Kept for hosts of earlier versions; does nothing.
    void removeDefaultPublicTopic() {}

    // ---- The location: the event "geo", and the regions that messages of the service set up.

    /// The location service: single fixes, tracking, regions. It lives as long as the client.
    [[nodiscard]] CoreGeoLocation& instanceCoreGeoLocation() const;
    /// Publishes a location as the event "geo": {"lat", "lng", "ts"[, "data"]}, in degrees and
    /// milliseconds since 1970. Failures are reported as those of `publishEvent`; a missing location is
    /// only logged.
    void publishLocation(const std::optional<CLLocation>& location,
                         const PublishLocationOptions& options = {});
    /// Publishes the device's location once, with the launch dictionary, if `enableLocationOnLaunch` is
    /// on and no tracking session runs. If there is none within 30 s, that is only logged.
    void checkLocationOnLaunch();
    /// Takes up the tracking session of an earlier launch for the rest of its time, publishing its
    /// positions; ends it when the time is over.
    void startLocationIfTrackingMe();

    // ---- Calls of the operating system that a host forwards.

    /// The application was launched, with options under the keys of `UIApplicationLaunchOptions.h`.
    /// Resumes tracking, counts the launch and reports the launch location. A launch by the system for a
    /// location event is not counted and reports none, and the next installation save says that it was
    /// not the user's. True when a notification launched the application.
    bool applicationDidFinishLaunchingWithOptions(UIApplication& application,
                                                  const Dictionary& launchOptions);
    void applicationDidBecomeActive(UIApplication& application);
    void applicationWillResignActive(UIApplication& application);
    void applicationWillEnterForeground(UIApplication& application);
    void applicationDidEnterBackground(UIApplication& application);
    void applicationWillTerminate(UIApplication& application);
    /// Stops following the application's lifecycle and changes of the installation id.
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
    // A dictionary names media and buttons under "mediaUrl", "mediaType" ("image", "video", "audio" or a
    // file's extension) and "actions" (dictionaries with "title", "id" and "options"). Media comes by
    // http or https, within bounds of size and time, and not from this machine or its own networks,
    // unless the service lies there or the platform's options allow it. Texts are looked up as keys of
    // the host's translations. A failure is logged, and the notification is shown without media. Handlers
    // run later, on the run loop.

    /// Shows the notification that the "notification" dictionary of a message's payload describes, in
    /// place of the one before. One with media waits for it, or for its failure, and is not shown at all
    /// when another was shown meanwhile.
    void showLocalRichNotificationWithPayload(const Dictionary& payload);
    /// Shows a notification of these parts at once, in place of the one before. The sound is a name that
    /// the notification service knows, the default one when it is missing. A file that exists is
    /// attached.
    void createMutableLocalNotificationTitle(const OptionalText& title, const OptionalText& body,
                                             const OptionalText& subtitle, const OptionalText& sound,
                                             std::int64_t badge, const OptionalText& category,
                                             const OptionalDictionary& userInfo,
                                             const OptionalText& filePath);
    /// Installs a category with these buttons, in place of every other category. Without a single button
    /// that has a title and an id it does nothing.
    void createCategoryNotificationWithActions(const std::optional<Array>& actions,
                                               const OptionalText& identifier);
    /// For a service extension: installs a remote notification's category, attaches its media, and then
    /// hands the content to the handler. Without media the handler is never called.
    void didReceiveNotificationRequest(const UNNotificationRequest& request,
                                       NotificationContentHandler contentHandler);
    /// Fetches a media file. The handler gets its path, or nothing when fetching failed. The file lies in
    /// a folder of the library that keeps only the newest: move it away to keep it.
    void downloadDataForUrlString(const Text& url, const Text& mediaType, MediaFileHandler handler);
    /// As above, as an attachment for a notification.
    void loadAttachmentForUrlString(const Text& url, const Text& mediaType,
                                    NotificationAttachmentHandler handler);
    /// A button; none when the title or the identifier is missing or empty.
    [[nodiscard]] static std::optional<UNNotificationAction> createNotificationActionWithTitle(
        const OptionalText& title, const OptionalText& identifier, std::uint32_t options);
    /// ".jpg", ".mp4" or ".mp3" for "image", "video" or "audio", and otherwise the media type after a
    /// dot, to the letter; what does not belong in a file's name is replaced where the file is named.
    [[nodiscard]] static std::string fileExtensionForMediaType(const Text& mediaType);

    // ---- Crash reports.

    /// Reports a crash to the backend: the host's data, the device's identity and the calling thread's
    /// stack. With `saveOnDisk` the report also becomes a file of its own, "crash-<date>.log", of mode
    /// 0600, in the home's documents folder. For any thread, also while the run loop is blocked for good;
    /// not for a signal handler, because it allocates. Before the application is registered and has an
    /// installation id nothing is written or sent, and -5009 is reported as a failed registration, on the
    /// run loop.
    void applicationCrashedWithUserInfo(const Dictionary& userInfo, CrashReportOptions options = {});

    // ---- What the client holds at the moment: for tests, and for finding faults.

    /// The session with the broker; null until one was made. Its delegate is the client.
    [[nodiscard]] std::shared_ptr<const MQTTSession> brokerSession() const;
    /// Whether the next error of the connection goes without a reconnect (see `reset`), and the seconds
    /// after which the others are followed by one.
    [[nodiscard]] bool forceClose() const;
    [[nodiscard]] double reconnectTime() const;
    [[nodiscard]] UIBackgroundTaskIdentifier backgroundTask() const;
    /// The wanted topics with their QoS; missing until they were loaded.
    [[nodiscard]] const std::optional<TopicTable>& topics() const;
    /// The topics of the last SUBSCRIBE without an answer; null when there is none.
    [[nodiscard]] std::shared_ptr<const TopicTable> goingToTopics() const;
    /// Topics that the broker was asked for and has not answered, by packet id.
    [[nodiscard]] const std::map<std::uint16_t, std::string>& subscribeMsgIds() const;
    [[nodiscard]] const std::map<std::uint16_t, std::string>& unSubscribeMsgIds() const;
    /// The notification preferences of all channels.
    [[nodiscard]] const std::optional<Dictionary>& notificationSettings() const;
    /// The way to the REST backend. Made on first use, which switches `usingSSLConnection` on.
    [[nodiscard]] std::shared_ptr<LBRESTAdapter> loopBackAdaptor();

    // ---- The device, as the installation record describes it.

    /// The display name of the machine, or its identifier when `deviceModelList` has none for it.
    [[nodiscard]] std::string deviceModel() const;
    /// Machine identifiers, and the display names of the devices they mean.
    [[nodiscard]] static Dictionary deviceModelList();
    [[nodiscard]] std::string deviceOsVersion() const;
    [[nodiscard]] PushClientServerReachabilityNetworkType getConnectionType() const;
    /// The kind of network that a status bar shows, as its system numbers it; none on a platform without
    /// one.
    [[nodiscard]] static std::optional<int> getConnectionTypeFromStatusBar();

private:
    ClientEntrance rooms_;
};

}  // namespace xel
