# The public headers: what is installed, what the umbrella may reach, and what a change is told of in the changelog.
# scripts/check-layers holds them to including nothing but each other. Everything else of the library is its own affair.

set(XELPUSH_PUBLIC_HEADERS_CORE
    # The client: its face, what it takes and tells, and the records.
    XelPushClient/XelPushClient.h
    XelPushClient/Classes/PushClientManager.h
    XelPushClient/Classes/ClientEntrance.h
    XelPushClient/Classes/Core/BroadcastDetails.h
    XelPushClient/Classes/Core/ConnectionState.h
    XelPushClient/Classes/Core/DelegateOperations.h
    XelPushClient/Classes/Core/HandlerBlocks.h
    XelPushClient/Classes/Core/PushClientConstants.h
    XelPushClient/Classes/Core/PushClientManagerDelegate.h
    XelPushClient/Classes/GeoLocation/CoreGeoLocation.h
    XelPushClient/Classes/Models/DeliveryMessage.h
    XelPushClient/Classes/Models/EventMessage.h
    XelPushClient/Classes/Models/OperationOptions.h
    XelPushClient/Classes/Models/PushClientMessage.h
    # The REST model client behind `loopBackAdaptor`.
    XelPushClient/LoopBack/LBRESTAdapter.h
    XelPushClient/LoopBack/SLAFHTTPClient.h
    # Values.
    XelPushClient/Foundation/Date.h
    XelPushClient/Foundation/Dictionary.h
    XelPushClient/Foundation/JSONPrinter.h
    XelPushClient/Foundation/NSError.h
    XelPushClient/Foundation/NSNotificationCenter.h
    XelPushClient/Foundation/Result.h
    XelPushClient/Foundation/Text.h
    XelPushClient/Foundation/Value.h
    # Ports, for whoever brings the client to another platform, what they speak of, and what keeps the work that they
    # post from outliving them.
    XelPushClient/Foundation/Lifeline.h
    XelPushClient/Platform/ByteStream.h
    XelPushClient/Platform/CLLocation.h
    XelPushClient/Platform/Clock.h
    XelPushClient/Platform/Device.h
    XelPushClient/Platform/Diagnostics.h
    XelPushClient/Platform/Durability.h
    XelPushClient/Platform/Endpoints.h
    XelPushClient/Platform/ForwardingSessionMemory.h
    XelPushClient/Platform/HTTPTransport.h
    XelPushClient/Platform/Home.h
    XelPushClient/Platform/LocalizedStrings.h
    XelPushClient/Platform/LocationSource.h
    XelPushClient/Platform/LogSink.h
    XelPushClient/Platform/MQTTSession.h
    XelPushClient/Platform/Machine.h
    XelPushClient/Platform/NSFileManager.h
    XelPushClient/Platform/NSJSONSerialization.h
    XelPushClient/Platform/NSOperationQueue.h
    XelPushClient/Platform/NSRunLoop.h
    XelPushClient/Platform/NSThread.h
    XelPushClient/Platform/NSURLSession.h
    XelPushClient/Platform/NSUserDefaults.h
    XelPushClient/Platform/PushClientServerReachability.h
    XelPushClient/Platform/SessionMemory.h
    XelPushClient/Platform/TopicTable.h
    XelPushClient/Platform/UIApplication.h
    XelPushClient/Platform/UIApplicationLaunchOptions.h
    XelPushClient/Platform/UILocalNotification.h
    XelPushClient/Platform/UNNotificationContent.h
    XelPushClient/Platform/UNUserNotificationCenter.h
    # The session that every platform shares, over its streams.
    XelPushClient/MQTTSDK/MQTTClientSessionFactory.h
    XelPushClient/MQTTSDK/MQTTSessionOptions.h)

# The Linux platform: what a host makes, and its options.
set(XELPUSH_PUBLIC_HEADERS_HEADLESS
    XelPushClient/Linux/Application/LinuxApplication.h
    XelPushClient/Linux/Application/PushTokenSource.h
    XelPushClient/Linux/Headless/HeadlessPlatform.h
    XelPushClient/Linux/Headless/LinuxOptions.h
    XelPushClient/Linux/Log/JSONLinesSink.h
    XelPushClient/Linux/Log/JournalSink.h
    XelPushClient/Linux/Log/LogLine.h
    XelPushClient/Linux/Log/StandardErrorLogSink.h
    XelPushClient/Linux/Log/SyslogLogSink.h
    XelPushClient/Linux/Loop/AsioRunLoop.h
    XelPushClient/Linux/Loop/MainRunLoop.h
    XelPushClient/Linux/Store/StoreError.h
    XelPushClient/Linux/Stream/LinuxTCPOptions.h
    XelPushClient/Linux/System/SystemClock.h)

set(XELPUSH_PUBLIC_HEADERS_LINUX
    XelPushClient/Linux/LinuxPlatform.h)

# For hosts' tests.
set(XELPUSH_PUBLIC_HEADERS_TESTING
    XelPushClient/Testing/Broker/FakeBroker.h
    XelPushClient/Testing/Broker/FakeBrokerAnswers.h
    XelPushClient/Testing/Broker/FakeBrokerObserver.h
    XelPushClient/Testing/Broker/FakeBrokerPackets.h
    XelPushClient/Testing/Broker/FakeBrokerRules.h
    XelPushClient/Testing/Broker/FakeBrokerSessions.h
    XelPushClient/Testing/Broker/MalformedPackets.h
    XelPushClient/Testing/FakeApplication.h
    XelPushClient/Testing/FakeByteStream.h
    XelPushClient/Testing/FakeClock.h
    XelPushClient/Testing/FakeDevice.h
    XelPushClient/Testing/FakeDisk.h
    XelPushClient/Testing/FakeFileManager.h
    XelPushClient/Testing/FakeHTTPTransport.h
    XelPushClient/Testing/FakeLocalizedStrings.h
    XelPushClient/Testing/FakeLocationSource.h
    XelPushClient/Testing/FakeMachine.h
    XelPushClient/Testing/FakeNetwork.h
    XelPushClient/Testing/FakeNetworkConditions.h
    XelPushClient/Testing/FakeNotificationCenter.h
    XelPushClient/Testing/FakeOperationQueue.h
    XelPushClient/Testing/FakeReachability.h
    XelPushClient/Testing/FakeRunLoop.h
    XelPushClient/Testing/FakeThread.h
    XelPushClient/Testing/FakeURLSession.h
    XelPushClient/Testing/InMemorySessionMemory.h
    XelPushClient/Testing/InMemoryUserDefaults.h
    XelPushClient/Testing/PlaceholderPorts.h
    XelPushClient/Testing/RecordingDiagnostics.h
    XelPushClient/Testing/RecordingLogSink.h
    XelPushClient/Testing/SimpleJSONSerialization.h
    XelPushClient/Testing/Simulation/Fault.h
    XelPushClient/Testing/Simulation/SimulatedBackend.h
    XelPushClient/Testing/Simulation/SimulatedService.h)
