#include "XelPushClient/Linux/Headless/HeadlessPlatform.h"

#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/HTTP/CurlURLSession.h"
#include "XelPushClient/Linux/Headless/AbsentDesktop.h"
#include "XelPushClient/Linux/Homes/StoredHome.h"
#include "XelPushClient/Linux/Log/StandardErrorLogSink.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NetlinkReachability.h"
#include "XelPushClient/Linux/Network/NetworkState.h"
#include "XelPushClient/Linux/Process/BoostCallStack.h"
#include "XelPushClient/Linux/Process/EnvironmentSettings.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Process/ThreadOperationQueue.h"
#include "XelPushClient/Linux/Store/PosixFileManager.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Linux/Stream/AsioByteStream.h"
#include "XelPushClient/Linux/Stream/PacedByteStream.h"
#include "XelPushClient/Linux/System/GettextStrings.h"
#include "XelPushClient/Linux/System/HostBundle.h"
#include "XelPushClient/Linux/System/LinuxDevice.h"
#include "XelPushClient/Linux/System/LinuxFolders.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "XelPushClient/Linux/System/SystemClock.h"
#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"

namespace xel {

namespace {

constexpr std::uint32_t kNoNotificationTypes = 0;

/// What stands for itself in the folder of a home; everything else is percent-encoded, so that no name is a
/// path.
constexpr std::string_view kPlainInFolders =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_@";

std::shared_ptr<AsioRunLoop> runLoopOf(const LinuxOptions& options) {
    if (options.runLoop != nullptr) {
        return options.runLoop;
    }
    return options.hostContext != nullptr ? std::make_shared<AsioRunLoop>(*options.hostContext)
                                          : sharedMainRunLoop();
}

Endpoints endpointsOf(const LinuxOptions& options) {
    if (options.endpoints) {
        return *options.endpoints;
    }
    auto endpoints = endpointsOfEnvironment();
    if (!endpoints) {
        throw std::runtime_error(endpoints.error().localizedDescription());
    }
    return std::move(endpoints).value();
}

BrokerHostQuery brokerHostOf(const Endpoints& endpoints) {
    return [production = endpoints.kBrokerAddress, sandbox = endpoints.kBrokerLocalAddress] {
        return isDevelopment() ? sandbox : production;
    };
}

CurlHTTPOptions withSurroundings(CurlHTTPOptions options, const std::string& caFile) {
    options.caFile = caFile;
    options.isOnline = [] { return readDefaultRoute().has_value(); };
    return options;
}

CurlHTTPOptions mediaOptions(const LinuxOptions& options, const Endpoints& endpoints) {
    CurlHTTPOptions media = downloadOptions();
    media.mayReach = networksOfService(endpoints);
    if (options.mediaFromAnyNetwork) {
        media.mayReach = [](NetworkKind) { return true; };
    }
    return media;
}

/// Without a folder every download fails, and nothing else does.
std::string cacheFolderOf(const LinuxOptions& options) {
    return !options.cacheFolder.empty()
               ? options.cacheFolder
               : defaultCacheFolder(orProgramName(options.name)).value_or("/nonexistent");
}

/// A user's group is often his alone, so this is no reason to refuse the folder.
void tellOfGroupWritable(const std::string& folder, LogSink& log) {
    if (isGroupWritable(folder)) {
        log.write("the folder " + folder +
                  " may be written to by its group (chmod g-w takes that right away)");
    }
}

Result<std::string> folderOr(const std::string& wanted, std::optional<std::string> byRule) {
    if (!wanted.empty()) {
        return wanted;
    }
    if (!byRule) {
        return makeStoreError(
            StoreErrorCode::CannotOpen,
            "There is no folder for the client's state: the user has no home folder, and neither "
            "the host nor the environment names one");
    }
    return std::move(*byRule);
}

HomeStoreOptions storeOptions(const LinuxOptions& options, const Machine& machine, std::string folder) {
    HomeStoreOptions store;
    store.folder = std::move(folder);
    store.durability = options.durability;
    store.runLoop = machine.runLoop;
    store.problemHandler = [sink = machine.logSink](const NSError& problem) {
        sink->write(describeError(problem));
    };
    return store;
}

}  // namespace

Machine makeHeadlessMachine(const LinuxOptions& options) {
    const auto runLoop = runLoopOf(options);
    const auto mainRunLoop = options.mainRunLoop != nullptr ? options.mainRunLoop : runLoop;
    const std::string caFile = options.caFile.empty() ? caFileOfEnvironment() : options.caFile;
    LinuxTLSOptions tls;
    if (!caFile.empty()) {
        tls.caFile = caFile;
    }

    Machine machine;
    machine.endpoints = endpointsOf(options);
    machine.runLoop = runLoop;
    machine.mainRunLoop = mainRunLoop;
    machine.clock = std::make_shared<SystemClock>();
    machine.logSink = options.logSink != nullptr ? options.logSink : std::make_shared<StandardErrorLogSink>();
    tellOfGroupWritable(cacheFolderOf(options), *machine.logSink);
    machine.operationQueues = std::make_shared<ThreadOperationQueueFactory>(machine.logSink);
    // The closing of a turn goes by way of the main loop only where that is another one.
    machine.sessions = std::make_shared<MQTTClientSessionFactory>(
        std::make_shared<PacedByteStreamFactory>(
            makeInThisProcess<AsioByteStreamFactory>(std::move(tls), AsioByteStreamTimes{.tcp = options.tcp}),
            machine.clock, options.connectionPace),
        machine.clock, mainRunLoop == runLoop ? nullptr : mainRunLoop.get(), options.session);
    machine.http = makeInThisProcess<CurlHTTPTransport>(runLoop, withSurroundings({}, caFile));
    machine.urlSession =
        makeInThisProcess<CurlURLSession>(runLoop, cacheFolderOf(options) + "/media",
                                          withSurroundings(mediaOptions(options, machine.endpoints), caFile));
    machine.files = std::make_shared<PosixFileManager>();
    machine.strings = std::make_shared<GettextStrings>(options.textDomain);
    machine.threads = std::make_shared<BoostCallStack>();
    machine.json = std::make_shared<SimdjsonSerialization>();
    machine.reachability =
        makeInThisProcess<NetlinkReachabilityFactory>(runLoop, brokerHostOf(machine.endpoints));
    machine.locationSource = std::make_shared<AbsentLocationSource>(runLoop);
    machine.notificationCenter = std::make_shared<AbsentNotificationCenter>(runLoop);
    machine.application = makeInThisProcess<LinuxApplication>(
        LinuxApplication::Surroundings{runLoop, machine.clock, machine.logSink, kNoNotificationTypes});
    machine.device = std::make_shared<LinuxDevice>();
    machine.bundle = std::make_shared<HostBundle>(options.shortVersion, options.bundleVersion);
    return machine;
}

Result<std::shared_ptr<HomeStore>> openLinuxHomeStore(const LinuxOptions& options, const Machine& machine) {
    const auto stateFolder = folderOr(options.stateFolder, defaultStateFolder(orProgramName(options.name)));
    if (!stateFolder) {
        return stateFolder.error();
    }
    auto store = HomeStore::open(storeOptions(options, machine, stateFolder.value()));
    if (store) {
        tellOfGroupWritable(stateFolder.value(), *machine.logSink);
    }
    return store;
}

namespace {

Result<Home> openHome(const LinuxOptions& options, const Machine& machine,
                      const std::shared_ptr<HomeStore>& store, std::string_view name,
                      std::string documentsFolder) {
    const auto stored = openStoredHome(store, name);
    if (!stored) {
        return stored.error();
    }
    if (const auto made = makeStoreFolder(documentsFolder); !made) {
        // Without it only crash reports fail.
        machine.logSink->write(describeError(made.error()));
    }
    Home home;
    home.defaults = stored.value().defaults;
    home.sessionMemory = stored.value().memory;
    home.notificationCenter = std::make_shared<NSNotificationCenter>();
    home.documentsDirectory = std::move(documentsFolder);
    home.diagnostics = options.diagnostics;
    home.writesLog = options.writesLog;
    if (const auto* application = dynamic_cast<LinuxApplication*>(machine.application.get());
        application != nullptr && application->pushTokenSource() != nullptr) {
        application->pushTokenSource()->attachStore(home.defaults);
    }
    return home;
}

Result<std::string> documentsFolderOf(const LinuxOptions& options) {
    return folderOr(options.documentsFolder, defaultDocumentsFolder(orProgramName(options.name)));
}

}  // namespace

Result<Home> openLinuxHome(const LinuxOptions& options, const Machine& machine) {
    const auto documents = documentsFolderOf(options);
    if (!documents) {
        return documents.error();
    }
    const auto store = openLinuxHomeStore(options, machine);
    if (!store) {
        return store.error();
    }
    return openHome(options, machine, store.value(), HomeStore::kOnlyHome, documents.value());
}

Result<Home> openLinuxHome(const LinuxOptions& options, const Machine& machine,
                           const std::shared_ptr<HomeStore>& store, const std::string& name) {
    const auto documents = documentsFolderOf(options);
    if (!documents) {
        return documents.error();
    }
    if (name.empty()) {
        return makeStoreError(StoreErrorCode::CannotOpen, "a home in a store of many needs a name");
    }
    return openHome(
        options, machine, store, name,
        documents.value() + "/" + percentEncoded(name, kPlainInFolders, kUpperCaseHexadecimalDigits));
}

LinuxApplication& linuxApplicationOf(const Machine& machine) {
    auto* application = dynamic_cast<LinuxApplication*>(machine.application.get());
    if (application == nullptr) {
        throw std::logic_error("the machine's application is not this platform's");
    }
    return *application;
}

}  // namespace xel
