#include "XelPushClient/Linux/Stream/AsioStreamWriter.h"

#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

namespace xel {

namespace asio = boost::asio;

namespace {

/// So much is not gathered any longer: the network may as well have it.
constexpr std::size_t kLargestGathering = 64 * 1024;
}  // namespace

AsioStreamWriter::AsioStreamWriter(std::weak_ptr<AsioLoopCore> core, std::shared_ptr<AsioSocket> socket,
                                   StreamPeer peer)
    : core_(std::move(core)), socket_(std::move(socket)), peer_(std::move(peer)) {}

// Memory is the loop's while there is nothing to be sent.
void AsioStreamWriter::empty(std::string& buffer) {
    std::string emptied = std::exchange(buffer, {});
    if (const auto core = core_.lock()) {
        core->buffers().giveText(std::move(emptied));
    }
}

void AsioStreamWriter::borrow(std::string& buffer) {
    if (!buffer.empty()) {
        return;
    }
    if (const auto core = core_.lock()) {
        buffer = core->buffers().takeText();
    }
}

void AsioStreamWriter::write(std::string_view octets) {
    if (failure_ || octets.empty()) {
        return;
    }
    std::string& gathered = engine_ ? plain_ : outgoing_;
    borrow(gathered);
    gathered.append(octets);
    // It leaves when the socket takes something again.
    if (isWaiting_) {
        return;
    }
    if (gathered.size() - (engine_ ? 0 : sent_) >= kLargestGathering) {
        flush();
    } else {
        planFlush();
    }
}

void AsioStreamWriter::writeRecords(std::string_view records) {
    if (!records.empty()) {
        borrow(outgoing_);
        outgoing_.append(records);
        planFlush();
    }
}

void AsioStreamWriter::writeRecordsNow(std::string_view records) {
    outgoing_.append(records);
    flush();
}

void AsioStreamWriter::planFlush() {
    if (std::exchange(isFlushPlanned_, true)) {
        return;
    }
    if (const auto core = core_.lock()) {
        core->callAtEndOfPass(weak_from_this());
    }
}

void AsioStreamWriter::passDidEnd() noexcept {
    isFlushPlanned_ = false;
    flush();
}

void AsioStreamWriter::flush() {
    if (phase_ == Phase::Stopped || isWaiting_ || !encryptPlain()) {
        return;
    }
    sendOutgoing();
}

bool AsioStreamWriter::encryptPlain() {
    if (plain_.empty()) {
        return true;
    }
    borrow(outgoing_);
    const bool isEncrypted = engine_->encrypt(plain_, outgoing_);
    empty(plain_);
    if (!isEncrypted) {
        fail(peer_.wasLost(engine_->failure()));
    }
    return isEncrypted;
}

void AsioStreamWriter::sendOutgoing() {
    // Tried at once, and waited for only where the socket refuses: mostly it takes everything.
    while (sent_ < outgoing_.size()) {
        boost::system::error_code error;
        sent_ += socket_->send(asio::buffer(outgoing_.data() + sent_, outgoing_.size() - sent_), 0, error);
        if (error == asio::error::would_block) {
            waitUntilWritable();
            return;
        }
        if (error) {
            fail(peer_.wasLost(error));
            return;
        }
        ++sends_;
    }
    empty(outgoing_);
    sent_ = 0;
    socket_->hastenFirstAnswer();
    if (phase_ == Phase::Ending) {
        boost::system::error_code ignored;
        socket_->shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    }
}

void AsioStreamWriter::waitUntilWritable() {
    // Moving the rest to the front costs no more than was sent since, however slowly the peer reads.
    if (sent_ > outgoing_.size() / 2) {
        outgoing_.erase(0, std::exchange(sent_, 0));
    }
    isWaiting_ = true;
    socket_->async_wait(
        asio::ip::tcp::socket::wait_write,
        [self = shared_from_this(), held = observer_.lock()](const boost::system::error_code& error) {
            const auto core = self->core_.lock();
            if (!core || self->phase_ == Phase::Stopped) {
                return;
            }
            core->runThenDrain([&] {
                self->isWaiting_ = false;
                if (error) {
                    self->fail(self->peer_.wasLost(error));
                } else {
                    self->flush();
                }
            });
        });
}

void AsioStreamWriter::endAfterWriting() {
    phase_ = Phase::Ending;
    // Also while the socket takes nothing: the end of the stream must stand behind everything
    // that was written.
    if (!encryptPlain()) {
        return;
    }
    if (engine_) {
        engine_->end(outgoing_);
    }
    if (!isWaiting_) {
        sendOutgoing();
    }
}

void AsioStreamWriter::stop() {
    phase_ = Phase::Stopped;
    observer_.reset();
}

void AsioStreamWriter::fail(NSError loss) {
    empty(plain_);
    empty(outgoing_);
    sent_ = 0;
    failure_ = std::move(loss);
    if (const auto observer = observer_.lock()) {
        observer->writingDidFail();
    }
}

}  // namespace xel
