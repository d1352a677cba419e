#include "XelPushClient/Linux/Loop/MainRunLoop.h"

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace xel {

const std::shared_ptr<AsioRunLoop>& sharedMainRunLoop() {
    // Lives for the process: a host may call exit from one of the loop's blocks.
    static const auto* loop = new std::shared_ptr<AsioRunLoop>(std::make_shared<AsioRunLoop>());
    return *loop;
}

NSRunLoop& NSRunLoop::mainRunLoop() {
    return *sharedMainRunLoop();
}

}  // namespace xel
