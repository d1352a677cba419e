#pragma once

#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

namespace xel::sandbox {

/// A thread that runs a loop until it is told to finish, also while the loop has nothing to do.
class LoopThread {
public:
    LoopThread() : work_(boost::asio::make_work_guard(loop_)), thread_([this] { loop_.run(); }) {}
    ~LoopThread() { finish(); }
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    boost::asio::io_context& loop() { return loop_; }

    /// Nothing runs on the loop any more when this returns; what was posted and has not run is kept, and goes
    /// with the object. Not to be called on the thread itself.
    void finish() {
        loop_.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    boost::asio::io_context loop_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

}  // namespace xel::sandbox
