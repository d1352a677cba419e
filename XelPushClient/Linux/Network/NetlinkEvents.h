#pragma once

#include <functional>
#include <memory>

#include <boost/asio/io_context.hpp>

namespace xel {

/// Hears that the kernel's links, addresses or routes changed (rtnetlink(7)).
///
/// Thread: the one that runs the context. Dropping it ends the watch; the context outlives it.
class NetlinkEvents {
public:
    /// `onChange` is called on the context, once for any number of changes that are read together. It may
    /// drop this object. None when the system has no such events for this process.
    [[nodiscard]] static std::unique_ptr<NetlinkEvents> watch(boost::asio::io_context& context,
                                                              std::function<void()> onChange);
    ~NetlinkEvents();
    NetlinkEvents(const NetlinkEvents&) = delete;
    NetlinkEvents& operator=(const NetlinkEvents&) = delete;

private:
    class Watch;

    explicit NetlinkEvents(std::shared_ptr<Watch> watch);

    std::shared_ptr<Watch> watch_;
};

}  // namespace xel
