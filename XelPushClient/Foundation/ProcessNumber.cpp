#include "XelPushClient/Foundation/ProcessNumber.h"

#include <atomic>

namespace xel {
namespace {

std::atomic<std::uint32_t> number{0};

}  // namespace

std::uint32_t processNumber() noexcept {
    return number.load(std::memory_order_relaxed);
}

void raiseProcessNumber() noexcept {
    number.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace xel
