#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

#include "XelPushClient/Linux/Stream/AsioStreamConnection.h"

// The writing half of a stream's works.

namespace xel {

namespace asio = boost::asio;

namespace {

/// So much is not gathered any longer: the network may as well have it.
constexpr std::size_t kLargestGathering = 64 * 1024;
/// A buffer that grew beyond this is given back when it is empty.
constexpr std::size_t kLargestKeptBuffer = 1024 * 1024;

void empty(std::string& buffer) {
    if (buffer.capacity() > kLargestKeptBuffer) {
        buffer = {};
    }
    buffer.clear();
}

}  // namespace

void AsioStreamConnection::write(std::string_view octets) {
    if (phase_ != Phase::Open || writeFailure_ || octets.empty()) {
        return;
    }
    std::string& gathered = engine_ ? plain_ : outgoing_;
    gathered.append(octets);
    if (isWaitingToWrite_) {
        return;
    }
    if (gathered.size() - (engine_ ? 0 : sent_) >= kLargestGathering) {
        flush();
    } else {
        planFlush();
    }
}

void AsioStreamConnection::planFlush() {
    if (std::exchange(isFlushPlanned_, true)) {
        return;
    }
    if (const auto core = core_.lock()) {
        core->callAtEndOfPass(weak_from_this());
    }
}

void AsioStreamConnection::passDidEnd() noexcept {
    isFlushPlanned_ = false;
    flush();
}

void AsioStreamConnection::flush() {
    if (phase_ == Phase::Over || isWaitingToWrite_ || !encryptPlain()) {
        return;
    }
    sendOutgoing();
}

bool AsioStreamConnection::encryptPlain() {
    if (plain_.empty()) {
        return true;
    }
    const bool isEncrypted = engine_->encrypt(plain_, outgoing_);
    empty(plain_);
    if (!isEncrypted) {
        writingFailed(lossBecause(engine_->failure()));
    }
    return isEncrypted;
}

void AsioStreamConnection::sendOutgoing() {
    while (sent_ < outgoing_.size()) {
        boost::system::error_code error;
        sent_ += socket_->send(asio::buffer(outgoing_.data() + sent_, outgoing_.size() - sent_), 0, error);
        if (error == asio::error::would_block) {
            waitUntilWritable();
            return;
        }
        if (error) {
            writingFailed(lossOf(error));
            return;
        }
    }
    everythingWasSent();
}

void AsioStreamConnection::waitUntilWritable() {
    if (sent_ > outgoing_.size() / 2) {
        outgoing_.erase(0, std::exchange(sent_, 0));
    }
    isWaitingToWrite_ = true;
    socket_->async_wait(boost::asio::ip::tcp::socket::wait_write,
                        [self = shared_from_this()](const boost::system::error_code& error) {
                            const auto core = self->core_.lock();
                            if (!core || self->phase_ == Phase::Over) {
                                return;
                            }
                            core->runThenDrain([&] {
                                self->isWaitingToWrite_ = false;
                                if (error) {
                                    self->writingFailed(self->lossOf(error));
                                } else {
                                    self->flush();
                                }
                            });
                        });
}

void AsioStreamConnection::everythingWasSent() {
    empty(outgoing_);
    sent_ = 0;
    hastenFirstAnswer();
    if (phase_ == Phase::Lingering) {
        boost::system::error_code ignored;
        socket_->shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
    }
}

void AsioStreamConnection::sendLastWords() {
    if (!encryptPlain()) {
        return;
    }
    if (engine_) {
        engine_->end(outgoing_);
    }
    if (!isWaitingToWrite_) {
        sendOutgoing();
    }
}

// What the peer sent before it went is still to be read, and says more than a failed write: a read that is
// under way, or that is asked for later, reports the loss. Without one it is posted.
void AsioStreamConnection::writingFailed(NSError loss) {
    empty(plain_);
    empty(outgoing_);
    sent_ = 0;
    writeFailure_ = std::move(loss);
    if (phase_ == Phase::Lingering) {
        end();
        return;
    }
    const auto core = core_.lock();
    if (isReading_ || !core) {
        return;
    }
    core->post([weak = weak_from_this()] {
        const auto self = weak.lock();
        const bool isUnreported =
            self && (self->phase_ == Phase::Open || self->phase_ == Phase::ShakingHands);
        if (isUnreported && !self->isReading_) {
            self->fail(*self->writeFailure_);
        }
    });
}

}  // namespace xel
