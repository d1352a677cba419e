#include "XelPushClient/Linux/Process/BackgroundThread.h"

#include <utility>

#include <pthread.h>

#include "XelPushClient/Linux/Process/BlockedSignals.h"

namespace xel {

std::thread startBackgroundThread(std::string name, std::function<void()> work) {
    const BlockedSignals blocked;
    return std::thread([name = std::move(name), work = std::move(work)] {
        pthread_setname_np(pthread_self(), name.c_str());
        work();
    });
}

}  // namespace xel
