#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct ssl_session_st;

namespace xel {

/// The sessions that hosts let one go on with, so that the next connection needs neither certificates nor
/// their verification (RFC 8446 section 2.2, RFC 5077). They belong to one trust store and are the peer's
/// alone, whose name and port were verified when they began.
///
/// Each is given out once: a second use could be recognised on the way (RFC 8446 appendix C.4), and one that
/// fails stands in nobody's way a second time. In memory only. Thread: any.
class TLSSessions {
public:
    /// Beyond these the oldest of a peer, or another peer's, are forgotten.
    static constexpr std::size_t kMostOfPeer = 8;
    static constexpr std::size_t kMostPeers = 64;

    struct Free {
        void operator()(ssl_session_st* session) const;
    };
    using Session = std::unique_ptr<ssl_session_st, Free>;

    /// A copy of the session. The connection spoils its own when it is lost without a farewell.
    void keep(const std::string& peer, const ssl_session_st* session);
    /// The newest one, or null. None whose certificate has run out meanwhile.
    [[nodiscard]] Session take(const std::string& peer);

private:
    std::mutex mutex_;
    std::map<std::string, std::vector<Session>> sessions_;  // by peer, the newest one last
};

}  // namespace xel
