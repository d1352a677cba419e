#include "XelPushClient/Linux/Process/ForkedChildren.h"

#include <mutex>
#include <set>

#include <pthread.h>
#include <unistd.h>

namespace xel {
namespace {

/// The descriptors that are open. Never destroyed: a process may fork while it ends.
class OpenDescriptors {
public:
    static OpenDescriptors& shared() {
        static auto* const descriptors = new OpenDescriptors();
        return *descriptors;
    }

    void add(int descriptor) {
        const std::lock_guard lock(mutex_);
        numbers_.insert(descriptor);
    }

    void remove(int descriptor) {
        const std::lock_guard lock(mutex_);
        numbers_.erase(descriptor);
    }

    int open(const std::function<int()>& block) {
        const std::lock_guard lock(mutex_);
        const int descriptor = block();
        if (descriptor >= 0) {
            numbers_.insert(descriptor);
        }
        return descriptor;
    }

    void close(int descriptor, const std::function<void()>& block) {
        const std::lock_guard lock(mutex_);
        if (numbers_.erase(descriptor) > 0) {
            block();
        }
    }

private:
    OpenDescriptors() { pthread_atfork(&beforeFork, &inParent, &inChild); }

    // The list is whole when the process is copied, and the child's mutex is its own thread's to unlock.
    static void beforeFork() { shared().mutex_.lock(); }
    static void inParent() { shared().mutex_.unlock(); }
    static void inChild() {
        OpenDescriptors& inherited = shared();
        raiseProcessNumber();
        for (const int descriptor : inherited.numbers_) {
            ::close(descriptor);
        }
        inherited.numbers_.clear();
        inherited.mutex_.unlock();
    }

    std::mutex mutex_;
    std::set<int> numbers_;
};

}  // namespace

void watchForks() {
    (void)OpenDescriptors::shared();
}

int openInThisProcess(const std::function<int()>& open) {
    return OpenDescriptors::shared().open(open);
}

void closeInChildren(int descriptor) {
    OpenDescriptors::shared().add(descriptor);
}

void forgetInChildren(int descriptor) {
    OpenDescriptors::shared().remove(descriptor);
}

void closeInThisProcess(int descriptor, const std::function<void()>& close) {
    OpenDescriptors::shared().close(descriptor, close);
}

}  // namespace xel
