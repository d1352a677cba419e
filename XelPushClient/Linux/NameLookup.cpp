#include "XelPushClient/Linux/NameLookup.h"

#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

namespace xel {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

/// Two, so that a name whose server does not answer holds nobody else up. Never destroyed: a process that
/// ends does not wait for a name.
asio::thread_pool& lookupThreads() {
    constexpr std::size_t kThreads = 2;
    static auto* const threads = new asio::thread_pool(kThreads);
    return *threads;
}

NameLookupAnswer lookUp(const std::string& host, std::uint16_t port) {
    NameLookupAnswer answer;
    tcp::resolver resolver(lookupThreads());
    for (const auto& found :
         resolver.resolve(host, std::to_string(port), tcp::resolver::numeric_service, answer.error)) {
        answer.endpoints.push_back(found.endpoint());
    }
    return answer;
}

}  // namespace

void lookUpName(const std::weak_ptr<AsioLoopCore>& core, std::string host, std::uint16_t port,
                std::function<void(const NameLookupAnswer&)> done) {
    asio::post(lookupThreads(), [core, host = std::move(host), port, done = std::move(done)] {
        auto answer = lookUp(host, port);
        if (const auto loop = core.lock()) {
            loop->post([done, answer = std::move(answer)] { done(answer); });
        }
    });
}

}  // namespace xel
