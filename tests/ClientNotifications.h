#pragma once

#include <array>

#include "XelPushClient/Classes/Core/PushClientConstants.h"

namespace xel {

/// The names of the client's own broadcasts, those included that it never posts.
inline constexpr std::array kClientNotifications = {PushClientDidReceivedMessageNotification,
                                                    PushClientDidChangeServerReachabilityNotification,
                                                    PushClientDidRegisterUserNotification,
                                                    PushClientDidFailRegisterUserNotification,
                                                    PushClientDidChangeServerConnectionStateNotification,
                                                    PushClientDidSentVerificationCodeNotification,
                                                    PushClientDidFailSentVerificationCodeNotification,
                                                    PushClientDidVerifyUserCodeNotification,
                                                    PushClientDidFailInVerifyUserCodeNotification,
                                                    PushClientDidDeliveredMessageNotification,
                                                    PushClientDetectAppNewInstallNotification,
                                                    PushClientDetectAppWasLaunchedNotification,
                                                    PushClientDidChangedInstallationIdNotification};

}  // namespace xel
