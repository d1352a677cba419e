#pragma once

/// What a host writes against: the client, its records, its delegate, its location service and the run loop.
/// A machine and a home to construct a client with come from a platform:
/// `XelPushClient/Linux/LinuxPlatform.h`, say.
#include "XelPushClient/Classes/Core/BroadcastDetails.h"
#include "XelPushClient/Classes/Core/PushClientManagerDelegate.h"
#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Classes/Models/DeliveryMessage.h"
#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplicationLaunchOptions.h"
