#include "XelPushClient/Foundation/ProcessNumber.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace xel {
namespace {

std::atomic<std::uint32_t> forksSoFar{0};

}  // namespace

std::uint32_t processNumber() noexcept {
    return forksSoFar.load(std::memory_order_relaxed);
}

void raiseProcessNumber() noexcept {
    forksSoFar.fetch_add(1, std::memory_order_relaxed);
}

void leaveInherited(std::shared_ptr<const void> inherited) {
    static std::mutex mutex;
    // Never destroyed, at the end of the process neither.
    static auto* const left = new std::vector<std::shared_ptr<const void>>();
    const std::lock_guard lock(mutex);
    left->push_back(std::move(inherited));
}

}  // namespace xel
