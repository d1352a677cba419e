#include "XelPushClient/Classes/Broker/DeferredWork.h"

#include "XelPushClient/Classes/Core/PushClientConstants.h"

namespace xel {
namespace {

/// One piece of work and its observation, ended when the piece runs.
struct WaitingPiece {
    std::function<void()> block;
    NSNotificationCenter::Token observation;
};

}  // namespace

DeferredWork::DeferredWork(const Machine& machine, const Home& home, const LogOutput& log,
                           const BrokerConnection& connection)
    : machine_(machine),
      home_(home),
      log_(log),
      connection_(std::make_shared<const BrokerConnection*>(&connection)) {}

void DeferredWork::enqueueWhenSessionIsConnected(std::function<void()> block) {
    TVRLog(log_, "enqueue subscribe for later when session is ready");
    const auto piece = std::make_shared<WaitingPiece>(WaitingPiece{std::move(block), {}});
    const std::weak_ptr<NSNotificationCenter> center = home_.notificationCenter;
    auto runIfConnected = [piece, center, connection = std::weak_ptr(connection_)](const NSNotification&) {
        const auto alive = connection.lock();
        if (!alive || !(*alive)->isConnected()) {
            return;
        }
        if (const auto observed = center.lock()) {
            observed->removeObserver(piece->observation);
        }
        const auto work = std::move(piece->block);
        work();
    };
    auto onManagersRunLoop = [runLoop = machine_.runLoop](std::function<void()> call) {
        runLoop->post(std::move(call));
    };
    piece->observation = home_.notificationCenter->addObserver(
        std::string(PushClientDidChangeServerConnectionStateNotification), nullptr, std::move(runIfConnected),
        std::move(onManagersRunLoop));
}

}  // namespace xel
