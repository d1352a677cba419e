#pragma once

#include <cstdint>
#include <string_view>

namespace xel {

/// The library's own version, sent with every installation and crash report.
inline constexpr std::string_view PUSH_CLIENT_VERSION_STR = "1.16.1";

/// Domain of the client's errors, and its codes. 5014 is positive, unlike all the others, and stays so.
inline constexpr std::string_view kPushClientErrorDomain = "PushClientErrorDomain";

enum PushClientErrorCode : std::int64_t {
    kPushClientNotInitializedErrorCode = -5001,
    kPushClientParameterNotValidErrorCode = -5002,
    kPushClientFailRegisterApplicationErrorCode = -5009,
    kPushClientFailRegisterUserErrorCode = -5010,
    kPushClientServerReachabilityErrorCode = -5011,
    kPushClientServerConnectionErrorCode = -5012,
    kPushClientFailVerficationErrorCode = -5013,
    kPushClientFailVerifyUserCodeErrorCode = 5014,
    kPushClientNoInternetConnectionErrorCode = -5030,
};

/// Domain of the error of a store that failed; its one code. What was to be stored is kept in memory.
inline constexpr std::string_view kPushClientStoreErrorDomain = "PushClientStoreErrorDomain";
inline constexpr std::int64_t kPushClientStoreFailedErrorCode = 1;

/// Domain of the errors about an invalid channel or event name.
inline constexpr std::string_view kInvalidParameterErrorDomain = "InvalidParameter";

// Broadcast notifications, posted on the main run loop with the manager as object. Their `userInfo` holds
// the keys that are named here, each as the C++ type in brackets, and nothing else; BroadcastDetails.h
// reads them by type.

/// A message came: `PushClientMessageKey`.
inline constexpr std::string_view PushClientDidReceivedMessageNotification =
    "PushClientDidReceivedMessageNotification";
/// The network came, went or changed: `PushClientReachableKey`, `PushClientNetworkTypeKey`.
inline constexpr std::string_view PushClientDidChangeServerReachabilityNotification =
    "PushClientDidChangeServerReachabilityNotification";
/// The user is registered: nothing.
inline constexpr std::string_view PushClientDidRegisterUserNotification =
    "PushClientDidRegisterUserNotification";
/// Registering failed: `PushClientErrorKey`.
inline constexpr std::string_view PushClientDidFailRegisterUserNotification =
    "PushClientDidFailRegisterUserNotification";
/// The connection state was assigned: nothing; the manager tells it.
inline constexpr std::string_view PushClientDidChangeServerConnectionStateNotification =
    "PushClientDidChangeServerConnectionStateNotification";
/// The backend answered whether it sent a verification code: `PushClientSentKey`.
inline constexpr std::string_view PushClientDidSentVerificationCodeNotification =
    "PushClientDidSentVerificationCodeNotification";
/// Asking for one failed: `PushClientSentRequstKey`, `PushClientErrorKey`.
inline constexpr std::string_view PushClientDidFailSentVerificationCodeNotification =
    "PushClientDidFailSentVerificationCodeNotification";
/// The backend answered whether the user's code is right: `PushClientVerifyUserCodeKey`.
inline constexpr std::string_view PushClientDidVerifyUserCodeNotification =
    "PushClientDidVerifyUserCodeNotification";
/// Checking it failed: `PushClientVerifyUserCodeKey`, `PushClientErrorKey`.
inline constexpr std::string_view PushClientDidFailInVerifyUserCodeNotification =
    "PushClientDidFailInVerifyUserCodeNotification";

/// The message (`PushClientMessage`).
inline constexpr std::string_view PushClientMessageKey = "message";
/// Whether the service can be reached (`bool`).
inline constexpr std::string_view PushClientReachableKey = "reachable";
/// The number of a `PushClientServerReachabilityNetworkType` (`unsigned`).
inline constexpr std::string_view PushClientNetworkTypeKey = "networkType";
/// What went wrong (`NSError`).
inline constexpr std::string_view PushClientErrorKey = "error";
/// Whether the code was sent (`bool`); in its failing sister spelled otherwise, and always false.
inline constexpr std::string_view PushClientSentKey = "sent";
inline constexpr std::string_view PushClientSentRequstKey = "sentRequst";
/// Whether the user's code is right (`bool`); false when checking it failed.
inline constexpr std::string_view PushClientVerifyUserCodeKey = "verifyUserCode";

/// Names for applications to post and observe; the manager never posts them.
inline constexpr std::string_view PushClientDidDeliveredMessageNotification =
    "PushClientDidDeliveredMessageNotification";
inline constexpr std::string_view PushClientDetectAppNewInstallNotification =
    "PushClientDetectAppNewInstallNotification";
inline constexpr std::string_view PushClientDetectAppWasLaunchedNotification =
    "PushClientDetectAppWasLaunchedNotification";

/// The service gave the device a new installation id; posted in place, before the id is stored.
inline constexpr std::string_view PushClientDidChangedInstallationIdNotification =
    "PushClientDidChangedInstallationIdNotification";

}  // namespace xel
