#include "XelPushClient/Linux/Network/NameLookup.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "XelPushClient/Linux/Process/BackgroundThread.h"

namespace xel {

namespace asio = boost::asio;

namespace {

struct FreeAddresses {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};

asio::ip::address addressOf(const addrinfo& found) {
    if (found.ai_family == AF_INET6) {
        const auto& address = *reinterpret_cast<const sockaddr_in6*>(found.ai_addr);
        asio::ip::address_v6::bytes_type octets;
        std::copy(std::begin(address.sin6_addr.s6_addr), std::end(address.sin6_addr.s6_addr), octets.begin());
        return asio::ip::address_v6(octets, address.sin6_scope_id);
    }
    const auto& address = *reinterpret_cast<const sockaddr_in*>(found.ai_addr);
    return asio::ip::address_v4(ntohl(address.sin_addr.s_addr));
}

}  // namespace

NameLookupAnswer lookUpName(const std::string& host) {
    addrinfo wanted{};
    // Or each address would be told once for every kind of socket (getaddrinfo(3)).
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int outcome = ::getaddrinfo(host.c_str(), nullptr, &wanted, &list);
    const int reason = errno;
    const std::unique_ptr<addrinfo, FreeAddresses> owner(list);
    if (outcome != 0) {
        return {{}, outcome == EAI_SYSTEM ? std::generic_category().message(reason) : gai_strerror(outcome)};
    }
    NameLookupAnswer answer;
    for (const addrinfo* found = list; found != nullptr; found = found->ai_next) {
        if (found->ai_family == AF_INET || found->ai_family == AF_INET6) {
            answer.addresses.push_back(addressOf(*found));
        }
    }
    return answer;
}

/// What is under way. Shared with the threads, which may outlive the owner.
class NameLookup::Works : public std::enable_shared_from_this<NameLookup::Works> {
public:
    Works(Resolve resolve, StartThread startThread)
        : resolve_(std::move(resolve)), startThread_(std::move(startThread)) {}

    void ask(Asker asker, const std::string& host) {
        {
            const std::lock_guard lock(mutex_);
            const auto underWay = askers_.find(host);
            if (underWay != askers_.end()) {
                underWay->second.push_back(std::move(asker));
                return;
            }
            if (askers_.size() == kMostAtOnce) {
                tell(asker, {{}, std::to_string(kMostAtOnce) + " other names are being looked up already"});
                return;
            }
            std::vector<Asker> first{std::move(asker)};
            askers_.emplace(host, std::move(first));
        }
        try {
            startWork(host);
        } catch (const std::exception&) {
            forget(host);  // or everybody who asks later would wait with this one
            throw;
        }
    }

private:
    void startWork(const std::string& host) {
        try {
            startThread_([self = shared_from_this(), host] { self->work(host); });
        } catch (const std::system_error& error) {
            answer(host, {{}, "no thread can be started for it: " + error.code().message()});
        }
    }

    void work(const std::string& host) {
        try {
            answer(host, resolve(host));
        } catch (const std::exception&) {
            // There was no memory for the answer. Whoever waits for it has a time limit, and asks again.
            forget(host);
        }
    }

    void forget(const std::string& host) {
        const std::lock_guard lock(mutex_);
        askers_.erase(host);
    }

    [[nodiscard]] NameLookupAnswer resolve(const std::string& host) const {
        try {
            NameLookupAnswer found = resolve_(host);
            if (found.addresses.empty() && found.failure.empty()) {
                found.failure = "it has no address";
            }
            return found;
        } catch (const std::exception& error) {
            return {{}, error.what()};
        }
    }

    void answer(const std::string& host, const NameLookupAnswer& found) {
        std::vector<Asker> askers;
        {
            const std::lock_guard lock(mutex_);
            // Whoever asks from now on has the name looked up anew.
            askers = std::move(askers_.extract(host).mapped());
        }
        for (const Asker& asker : askers) {
            tell(asker, found);
        }
    }

    static void tell(const Asker& asker, NameLookupAnswer found) {
        if (const auto loop = asker.core.lock()) {
            loop->post([done = asker.done, found = std::move(found)] { done(found); });
        }
    }

    Resolve resolve_;
    StartThread startThread_;
    std::mutex mutex_;
    std::map<std::string, std::vector<Asker>> askers_;  // by the name that is being looked up
};

NameLookup::NameLookup(Resolve resolve, StartThread startThread)
    : works_(std::make_shared<Works>(std::move(resolve), std::move(startThread))) {}

NameLookup::~NameLookup() = default;

NameLookup& NameLookup::shared() {
    static auto* const lookup = new NameLookup(&lookUpName, [](std::function<void()> work) {
        startBackgroundThread("xel-lookup", std::move(work)).detach();
    });
    return *lookup;
}

void NameLookup::ask(const std::weak_ptr<AsioLoopCore>& core, const std::string& host, Done done) {
    works_->ask({core, std::move(done)}, host);
}

}  // namespace xel
