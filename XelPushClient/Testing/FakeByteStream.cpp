#include "XelPushClient/Testing/FakeByteStream.h"

#include <stdexcept>
#include <utility>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

FakeByteStream::FakeByteStream(NSRunLoop& runLoop, ByteStreamObserver& observer, Opened opened)
    : runLoop_(runLoop), observer_(observer), opened_(std::move(opened)) {}

FakeByteStream::~FakeByteStream() {
    if (connection_ && !isClosed_) {
        connection_->closeFromClientSide(false);
    }
}

void FakeByteStream::open(std::string_view host, std::uint16_t port, bool usingTLS) {
    if (connection_) {
        throw std::logic_error("a stream was opened twice");
    }
    connection_ = std::make_shared<FakeConnection>(runLoop_, std::string(host), port, usingTLS);
    connection_->attach(observer_);
    opened_(connection_);
}

void FakeByteStream::receive() {
    if (connection_ && !isClosed_) {
        connection_->receiveFromClientSide();
    }
}

void FakeByteStream::write(std::string_view octets) {
    if (!connection_) {
        throw std::logic_error("a stream was written to before it was open");
    }
    if (!isClosed_) {
        connection_->writeFromClientSide(octets);
    }
}

void FakeByteStream::closeAfterWriting(Ended ended) {
    if (connection_ && !isClosed_) {
        isClosed_ = true;
        connection_->closeFromClientSide(true);
    }
    if (ended) {
        runLoop_.post([ended = std::move(ended)] { ended(true); });
    }
}

std::string FakeByteStream::describeProgress() const {
    const bool isWaiting = connection_ && connection_->state() == FakeConnectionState::Opening;
    return isWaiting ? connection_->host() + " does not answer" : std::string();
}

}  // namespace xel
