#include "XelPushClient/Linux/Stream/AsioConnector.h"

#include <algorithm>
#include <utility>

#include <boost/asio/connect.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/address.hpp>
#include <sys/resource.h>

namespace xel {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

std::vector<asio::ip::address> alternatingFamilies(std::vector<asio::ip::address> all) {
    if (all.empty()) {
        return all;
    }
    // The system's order is kept within each family, and the family that it prefers comes first.
    const bool firstIsV6 = all.front().is_v6();
    const auto others = std::stable_partition(
        all.begin(), all.end(),
        [firstIsV6](const asio::ip::address& address) { return address.is_v6() == firstIsV6; });
    std::vector<asio::ip::address> ordered;
    auto preferred = all.begin();
    for (auto other = others; preferred != others || other != all.end();) {
        if (preferred != others) {
            ordered.push_back(*preferred++);
        }
        if (other != all.end()) {
            ordered.push_back(*other++);
        }
    }
    return ordered;
}

std::string describeEndpoint(const tcp::endpoint& endpoint) {
    const auto address = endpoint.address().to_string();
    const std::string shown = endpoint.address().is_v6() ? "[" + address + "]" : address;
    return shown + ":" + std::to_string(endpoint.port());
}

std::string describeFailedAttempt(const boost::system::error_code& error) {
    rlimit limit{};
    if (error != asio::error::no_descriptors || ::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return error.message();
    }
    return error.message() + ": this process may have " + std::to_string(limit.rlim_cur) +
           " descriptors open (RLIMIT_NOFILE), and each connection takes one";
}

}  // namespace

AsioConnector::AsioConnector(std::weak_ptr<AsioLoopCore> core, asio::io_context& context,
                             std::chrono::milliseconds timeForAddress)
    : core_(std::move(core)), context_(context), timeForAddress_(timeForAddress) {}

void AsioConnector::inPass(const std::function<void()>& work) {
    if (const auto core = core_.lock()) {
        core->runThenDrain(work);
    }
}

void AsioConnector::start(StreamPeer peer, Done done) {
    done_ = std::move(done);
    peer_ = std::move(peer);
    boost::system::error_code notAnAddress;
    const auto address = asio::ip::make_address(peer_.host, notAnAddress);
    if (!notAnAddress) {
        endpoints_.emplace_back(address, peer_.port);
        if (const auto core = core_.lock()) {
            core->post([weak = weak_from_this()] {
                if (const auto self = weak.lock()) {
                    self->tryNextEndpoint();
                }
            });
        }
        return;
    }
    NameLookup::shared().ask(core_, peer_.host, [weak = weak_from_this()](const NameLookupAnswer& answer) {
        if (const auto self = weak.lock()) {
            self->nameWasLookedUp(answer);
        }
    });
}

void AsioConnector::cancel() {
    done_ = nullptr;
    if (socket_) {
        socket_->end();
    }
    if (deadline_) {
        deadline_->invalidate();
    }
}

void AsioConnector::nameWasLookedUp(const NameLookupAnswer& answer) {
    if (!done_) {
        return;
    }
    if (answer.addresses.empty()) {
        finish(peer_.cannotConnect(ByteStreamErrorCode::NameNotFound,
                                   "the look-up of the host's name failed (" + answer.failure + ")"));
        return;
    }
    for (const auto& address : alternatingFamilies(answer.addresses)) {
        endpoints_.emplace_back(address, peer_.port);
    }
    tryNextEndpoint();
}

std::string AsioConnector::describeProgress() const {
    return attempts_ == 0 ? "the look-up of the name " + peer_.host + " has not been answered"
                          : describeEndpoint(endpoints_[attempts_ - 1]) + " does not answer";
}

void AsioConnector::tryNextEndpoint() {
    if (!done_) {
        return;
    }
    if (attempts_ == endpoints_.size()) {
        finish(peer_.cannotConnect(ByteStreamErrorCode::ConnectFailed, causes_));
        return;
    }
    const std::size_t attempt = attempts_++;
    socket_ = std::make_shared<Socket>(context_);
    // Opened here and not by async_connect, which would open it too, but unknown to what closes a forked
    // child's copies.
    if (const auto refused = socket_->openFor(endpoints_[attempt])) {
        tellLater(attempt, refused);
        return;
    }
    socket_->async_connect(endpoints_[attempt],
                           [self = shared_from_this(), attempt](const boost::system::error_code& error) {
                               self->inPass([&] { self->attemptEnded(attempt, error); });
                           });
    if (const auto core = core_.lock()) {
        deadline_ = core->scheduleTimer(timeForAddress_, [weak = weak_from_this(), attempt] {
            if (const auto self = weak.lock()) {
                self->attemptEnded(attempt, asio::error::timed_out);
            }
        });
    }
}

void AsioConnector::tellLater(std::size_t attempt, const boost::system::error_code& error) {
    if (const auto core = core_.lock()) {
        core->post([weak = weak_from_this(), attempt, error] {
            if (const auto self = weak.lock()) {
                self->attemptEnded(attempt, error);
            }
        });
    }
}

void AsioConnector::attemptEnded(std::size_t attempt, const boost::system::error_code& error) {
    // An address that was given up reports once more: closing its socket ends the pending connect with
    // an error.
    if (!done_ || attempt + 1 != attempts_) {
        return;
    }
    if (deadline_) {
        deadline_->invalidate();
    }
    if (!error) {
        finish(std::move(socket_));
        return;
    }
    causes_ += (causes_.empty() ? "" : ", ") + describeFailedAttempt(error);
    if (endpoints_.size() > 1) {
        causes_ += " (" + describeEndpoint(endpoints_[attempt]) + ")";
    }
    socket_->end();
    tryNextEndpoint();
}

void AsioConnector::finish(Result<std::shared_ptr<Socket>> outcome) {
    const auto done = std::exchange(done_, nullptr);
    done(std::move(outcome));
}

}  // namespace xel
