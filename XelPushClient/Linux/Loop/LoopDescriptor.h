#pragma once

#include <memory>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

namespace xel {

/// Makes a context's descriptor readable (eventfd(2)). From any thread.
class LoopBell {
public:
    LoopBell();
    LoopBell(const LoopBell&) = delete;
    LoopBell& operator=(const LoopBell&) = delete;
    ~LoopBell();

    void ring() const;
    void silence() const;
    [[nodiscard]] int fileDescriptor() const { return descriptor_; }

private:
    int descriptor_;
};

/// The one descriptor of an `io_context`: the epoll instance in which Asio has everything it waits for.
///
/// Asio does not hand it out. It is found by what it watches, which proc_pid_fdinfo(5) lists: the one that
/// watches a bell of ours.
class LoopDescriptor {
public:
    /// Throws `std::runtime_error` when there is none to be found.
    explicit LoopDescriptor(boost::asio::io_context& context);
    LoopDescriptor(const LoopDescriptor&) = delete;
    LoopDescriptor& operator=(const LoopDescriptor&) = delete;
    ~LoopDescriptor();

    [[nodiscard]] int fileDescriptor() const { return epoll_; }
    [[nodiscard]] const std::shared_ptr<LoopBell>& bell() const { return bell_; }

private:
    void waitForBell();

    std::shared_ptr<LoopBell> bell_;
    boost::asio::posix::stream_descriptor watched_;
    int epoll_ = -1;
};

}  // namespace xel
