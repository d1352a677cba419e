#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/ip/address.hpp>

#include "XelPushClient/Linux/Loop/AsioLoopCore.h"

namespace xel {

/// The addresses of a host, or why there are none.
struct NameLookupAnswer {
    std::vector<boost::asio::ip::address> addresses;  ///< in the system's order
    std::string failure;                              ///< in words, when there are no addresses
};

/// Looks the name up by getaddrinfo(3), and blocks for as long as that takes.
[[nodiscard]] NameLookupAnswer lookUpName(const std::string& host);

/// Looks names up without holding a loop up: the system's look-up blocks, and cannot be given up.
///
/// Each name has a thread of its own for as long as its look-up lasts, and whoever asks for the name
/// meanwhile shares it, so that a name server that is silent about some names keeps nobody waiting for
/// others. The threads belong to the process, are never waited for, and hold nothing of who asked. Thread:
/// any.
class NameLookup {
public:
    /// So many names are looked up at once, and no thread is made for one more.
    static constexpr std::size_t kMostAtOnce = 32;

    using Done = std::function<void(const NameLookupAnswer&)>;
    /// Blocks until the host's addresses are known, or known not to be had.
    using Resolve = std::function<NameLookupAnswer(const std::string& host)>;
    /// Has the work done on another thread. Throws `std::system_error` when there is no thread to be had.
    using StartThread = std::function<void(std::function<void()> work)>;

    NameLookup(Resolve resolve, StartThread startThread);
    ~NameLookup();
    NameLookup(const NameLookup&) = delete;
    NameLookup& operator=(const NameLookup&) = delete;

    /// The process's own, by `lookUpName`. Never destroyed: a process that ends does not wait for a name.
    [[nodiscard]] static NameLookup& shared();

    /// Calls `done` on the loop, never inside this call; not at all once the loop is gone. The answer comes
    /// by way of the loop's own queue, which wakes a loop that a host drives: Asio's own look-up would not.
    /// That too many names are being looked up, or that there is no thread to be had, is a failure like
    /// others.
    void ask(const std::weak_ptr<AsioLoopCore>& core, const std::string& host, Done done);

private:
    struct Asker {
        std::weak_ptr<AsioLoopCore> core;
        Done done;
    };
    class Works;

    std::shared_ptr<Works> works_;
};

}  // namespace xel
