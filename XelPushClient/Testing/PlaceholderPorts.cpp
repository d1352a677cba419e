#include "XelPushClient/Testing/PlaceholderPorts.h"

#include "XelPushClient/Testing/FakeApplication.h"
#include "XelPushClient/Testing/FakeDevice.h"
#include "XelPushClient/Testing/FakeFileManager.h"
#include "XelPushClient/Testing/FakeLocalizedStrings.h"
#include "XelPushClient/Testing/FakeLocationSource.h"
#include "XelPushClient/Testing/FakeNotificationCenter.h"
#include "XelPushClient/Testing/FakeOperationQueue.h"
#include "XelPushClient/Testing/FakeReachability.h"
#include "XelPushClient/Testing/FakeThread.h"
#include "XelPushClient/Testing/FakeURLSession.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {
namespace {

class SilentLogSink final : public LogSink {
public:
    void write(std::string_view /*line*/) override {}
};

}  // namespace

Machine makePlaceholderMachine(const std::shared_ptr<NSRunLoop>& runLoop,
                               const std::shared_ptr<Clock>& clock) {
    const auto files = std::make_shared<FakeFileManager>();
    Machine machine;
    machine.runLoop = runLoop;
    machine.mainRunLoop = runLoop;
    machine.clock = clock;
    machine.logSink = std::make_shared<SilentLogSink>();
    machine.operationQueues = std::make_shared<FakeOperationQueueFactory>(runLoop);
    machine.urlSession = std::make_shared<FakeURLSession>(runLoop, files);
    machine.json = std::make_shared<SimpleJSONSerialization>();
    machine.files = files;
    machine.strings = std::make_shared<FakeLocalizedStrings>();
    machine.threads = std::make_shared<FakeThread>();
    machine.reachability = std::make_shared<FakeReachabilityFactory>(runLoop);
    machine.application = std::make_shared<FakeApplication>(runLoop);
    machine.notificationCenter = std::make_shared<FakeNotificationCenter>(runLoop, files);
    machine.locationSource = std::make_shared<FakeLocationSource>(runLoop, clock);
    machine.device = std::make_shared<FakeDevice>();
    machine.bundle = std::make_shared<FakeBundle>();
    return machine;
}

}  // namespace xel
