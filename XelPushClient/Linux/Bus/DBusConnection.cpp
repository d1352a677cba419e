#include "XelPushClient/Linux/Bus/DBusConnection.h"

#include <array>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Process/BackgroundThread.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

/// What the thread works on. Shared with it, so that it may outlive a connection that is dropped on that
/// thread.
class DBusConnection::Worker {
public:
    Worker(std::string address, std::string threadName)
        : address_(std::move(address)),
          threadName_(std::move(threadName)),
          wakeup_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!wakeup_.isOpen()) {
            throw std::runtime_error("a D-Bus connection cannot be made: no file descriptor is left");
        }
    }

    static void add(const std::shared_ptr<Worker>& self, Work work, Failure failure) {
        const std::lock_guard lock(self->mutex_);
        if (self->isStopping_) {
            return;
        }
        self->waiting_.push_back({std::move(work), std::move(failure)});
        if (!self->thread_.joinable()) {
            self->thread_ = startBackgroundThread(self->threadName_, [self] { self->run(); });
        }
        self->wake();
    }

    void stop() {
        std::thread thread;
        bool goesOnAlone = false;
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
            thread.swap(thread_);
            goesOnAlone = isOpening_;
            wake();
        }
        // A daemon that accepts and never answers would hold the opening up for long; nobody has been given
        // the connection yet, so nobody need wait for it.
        if (goesOnAlone || thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        } else if (thread.joinable()) {
            thread.join();
        }
    }

    void atClosing(std::function<void()> block) { closing_.push_back(std::move(block)); }

private:
    struct Job {
        Work work;
        Failure failure;
    };

    void setOpening(bool isOpening) {
        const std::lock_guard lock(mutex_);
        isOpening_ = isOpening;
    }

    void wake() const {
        const eventfd_t one = 1;
        (void)eventfd_write(wakeup_.number(), one);
    }

    void run() {
        std::deque<Job> jobs;
        while (takeWaiting(jobs)) {
            for (; !jobs.empty() && !isStopping(); jobs.pop_front()) {
                perform(jobs.front());
            }
            serveAndWait();
        }
        jobs.clear();
        close();
    }

    /// False when the connection is being dropped.
    bool takeWaiting(std::deque<Job>& jobs) {
        const std::lock_guard lock(mutex_);
        // Emptied under the mutex under which work is added, so that what comes behind it wakes the
        // thread again.
        eventfd_t ignored = 0;
        (void)eventfd_read(wakeup_.number(), &ignored);
        jobs.swap(waiting_);
        return !isStopping_;
    }

    bool isStopping() {
        const std::lock_guard lock(mutex_);
        return isStopping_;
    }

    void perform(const Job& job) {
        try {
            open();
            if (!isStopping()) {
                job.work(*connection_);
            }
        } catch (const sdbus::Error& error) {
            fail(job, error.getName(), error.getMessage());
        } catch (const std::bad_alloc&) {
            fail(job, "org.freedesktop.DBus.Error.NoMemory", "there is no memory left for a call on the bus");
        } catch (const std::exception& error) {
            fail(job, "org.freedesktop.DBus.Error.Failed", error.what());
        }
    }

    void fail(const Job& job, const std::string& name, const std::string& message) {
        if (!job.failure) {
            return;
        }
        try {
            const auto code = connection_ == nullptr ? DBusErrorCode::NoBus : DBusErrorCode::Failed;
            job.failure(makeDBusError(code, name, message));
        } catch (const std::exception&) {
            return;  // not even memory to say so: whoever waits for the answer has a time limit
        }
    }

    void open() {
        if (connection_ != nullptr) {
            return;
        }
        if (address_.empty()) {
            throw sdbus::Error("org.freedesktop.DBus.Error.NoServer", "The process has no such bus");
        }
        if (const auto refusal = refusalOfBus(address_)) {
            throw sdbus::Error("org.freedesktop.DBus.Error.NoServer", *refusal);
        }
        setOpening(true);
        const OnLeaving opened([this] { setOpening(false); });
        // Despite its name it opens the system's bus too, by that one's address.
        connection_ = sdbus::createSessionBusConnectionWithAddress(address_);
        socket_ = connection_->getEventLoopPollData().fd;
        closeInChildren(socket_);
    }

    void serveAndWait() {
        try {
            serve();
            waitForSomething();
        } catch (const std::exception&) {
            // The daemon has gone, or a message could not be worked through, such as for want of memory: the
            // exception has then passed through the D-Bus library, which is C and does not go on from there.
            // Either way the bus is opened anew by the next work.
            close();
        }
    }

    /// Dispatches what has arrived.
    void serve() {
        // One message a call, and the library may hold several that the socket no longer tells of.
        while (connection_ != nullptr && !isStopping() && connection_->processPendingRequest()) {}
    }

    void waitForSomething() {
        std::array<pollfd, 2> watched{{{wakeup_.number(), POLLIN, 0}, {-1, 0, 0}}};
        int timeout = -1;
        if (connection_ != nullptr) {
            const auto wanted = connection_->getEventLoopPollData();
            watched[1] = {wanted.fd, wanted.events, 0};
            timeout = wanted.getPollTimeout();
        }
        (void)poll(watched.data(), watched.size(), timeout);
    }

    void close() {
        // A block may hold the last reference to what adds another.
        for (auto blocks = std::exchange(closing_, {}); !blocks.empty();
             blocks = std::exchange(closing_, {})) {
            for (const auto& block : blocks) {
                runAtClosing(block);
            }
        }
        if (connection_ != nullptr) {
            // Closing it may wait for the daemon, and no fork shall wait for that.
            forgetInChildren(socket_);
            connection_.reset();
        }
    }

    static void runAtClosing(const std::function<void()>& block) {
        try {
            block();
        } catch (const std::exception&) {
            return;  // the others are to be told all the same
        }
    }

    const std::string address_;
    const std::string threadName_;
    const FileDescriptor wakeup_;
    std::mutex mutex_;
    std::deque<Job> waiting_;
    bool isStopping_ = false;
    bool isOpening_ = false;
    std::thread thread_;

    // The thread's own.
    std::unique_ptr<sdbus::IConnection> connection_;
    int socket_ = -1;
    std::vector<std::function<void()>> closing_;
};

DBusConnection::DBusConnection(std::string address, std::string threadName)
    : worker_(std::make_shared<Worker>(std::move(address), std::move(threadName))) {}

DBusConnection::~DBusConnection() {
    worker_->stop();
}

void DBusConnection::perform(Work work, Failure failure) {
    Worker::add(worker_, std::move(work), std::move(failure));
}

void DBusConnection::atClosing(std::function<void()> block) {
    worker_->atClosing(std::move(block));
}

NSError makeDBusError(DBusErrorCode code, const std::string& reason, const std::string& description) {
    NSError error = makeError(kDBusErrorDomain, static_cast<std::int64_t>(code), description);
    error.userInfo.set(std::string(NSLocalizedFailureReasonErrorKey), reason);
    return error;
}

}  // namespace xel
