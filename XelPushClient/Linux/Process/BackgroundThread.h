#pragma once

#include <condition_variable>
#include <csignal>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include <pthread.h>

namespace xel {

/// Blocks every signal on the calling thread while it lives; a thread made meanwhile inherits that for good.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

/// Starts a thread on which no signal is handled, so that the host's handlers run on the host's own threads
/// only, and a broken connection inside a library raises no SIGPIPE there. The name, at most 15 characters,
/// shows in debuggers.
[[nodiscard]] std::thread startBackgroundThread(std::string name, std::function<void()> work);

/// One background thread that does jobs in order: what must not hold up a run loop and is no operation
/// queue's.
///
/// The thread starts with the first job. Destroying the worker waits for the job under way and drops the
/// rest; the last owner must not be a job. A job that throws has come to nothing, and the next one follows.
/// Thread: any.
class SerialWorker {
public:
    /// The name, at most 15 characters, shows in debuggers.
    explicit SerialWorker(std::string threadName) : threadName_(std::move(threadName)) {}
    ~SerialWorker();
    SerialWorker(const SerialWorker&) = delete;
    SerialWorker& operator=(const SerialWorker&) = delete;

    /// Throws `std::system_error`, and leaves the job undone, when the thread cannot be started.
    void add(std::function<void()> job);

private:
    void work();

    std::string threadName_;
    std::mutex mutex_;
    std::condition_variable somethingToDo_;
    std::deque<std::function<void()>> jobs_;
    bool isEnding_ = false;
    std::thread thread_;
};

}  // namespace xel
