#pragma once

/// Everything a host needs: the client, its records, its delegate and the run loop.
#include "XelPushClient/Classes/Core/PushClientManagerDelegate.h"
#include "XelPushClient/Classes/Models/DeliveryMessage.h"
#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplicationLaunchOptions.h"
