#pragma once

#include <memory>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/Device.h"
#include "XelPushClient/Platform/Endpoints.h"
#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/LocalizedStrings.h"
#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/MQTTSession.h"
#include "XelPushClient/Platform/NSFileManager.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/NSOperationQueue.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/NSThread.h"
#include "XelPushClient/Platform/NSURLSession.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"
#include "XelPushClient/Platform/UIApplication.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// What clients need of the machine they run on. Any number of managers share one; every port must be set.
struct Machine {
    /// The loop on which its managers live.
    std::shared_ptr<NSRunLoop> runLoop;
    /// The loop on which broadcast notifications are posted; may be the same.
    std::shared_ptr<NSRunLoop> mainRunLoop;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<LogSink> logSink;
    std::shared_ptr<NSOperationQueueFactory> operationQueues;
    std::shared_ptr<MQTTSessionFactory> sessions;
    std::shared_ptr<HTTPTransport> http;
    std::shared_ptr<NSURLSession> urlSession;
    std::shared_ptr<NSJSONSerialization> json;
    std::shared_ptr<NSFileManager> files;
    std::shared_ptr<LocalizedStrings> strings;
    std::shared_ptr<NSThread> threads;
    std::shared_ptr<ReachabilityFactory> reachability;
    std::shared_ptr<UIApplication> application;
    std::shared_ptr<UNUserNotificationCenter> notificationCenter;
    std::shared_ptr<LocationSource> locationSource;
    std::shared_ptr<UIDevice> device;
    std::shared_ptr<NSBundle> bundle;
    Endpoints endpoints;
};

}  // namespace xel
