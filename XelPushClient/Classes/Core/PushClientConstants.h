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

/// Broadcast notifications, posted on the main run loop with the manager as object.
inline constexpr std::string_view PushClientDidReceivedMessageNotification =
    "PushClientDidReceivedMessageNotification";
inline constexpr std::string_view PushClientDidChangeServerReachabilityNotification =
    "PushClientDidChangeServerReachabilityNotification";
inline constexpr std::string_view PushClientDidRegisterUserNotification =
    "PushClientDidRegisterUserNotification";
inline constexpr std::string_view PushClientDidFailRegisterUserNotification =
    "PushClientDidFailRegisterUserNotification";
inline constexpr std::string_view PushClientDidChangeServerConnectionStateNotification =
    "PushClientDidChangeServerConnectionStateNotification";
inline constexpr std::string_view PushClientDidSentVerificationCodeNotification =
    "PushClientDidSentVerificationCodeNotification";
inline constexpr std::string_view PushClientDidFailSentVerificationCodeNotification =
    "PushClientDidFailSentVerificationCodeNotification";
inline constexpr std::string_view PushClientDidVerifyUserCodeNotification =
    "PushClientDidVerifyUserCodeNotification";
inline constexpr std::string_view PushClientDidFailInVerifyUserCodeNotification =
    "PushClientDidFailInVerifyUserCodeNotification";

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
