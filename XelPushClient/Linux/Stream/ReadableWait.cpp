#include "XelPushClient/Linux/Stream/ReadableWait.h"

#include <utility>

#include <boost/asio/error.hpp>

namespace xel {

namespace detail = boost::asio::detail;

/// Used again by each wait of a socket, and kept by itself while one is under way: the reactor may hold it
/// longer than the socket lives.
class ReadableWait::Operation final : public detail::reactor_op {
public:
    Operation() : reactor_op(boost::system::error_code(), &Operation::perform, &Operation::complete) {}

    [[nodiscard]] bool isUnderWay() const { return self_ != nullptr; }

    void prepare(std::shared_ptr<Operation> self, std::shared_ptr<ReadableObserver> observer) {
        self_ = std::move(self);
        observer_ = std::move(observer);
        ec_ = {};
    }

private:
    /// "Exhausted" has the next wait begin without an attempt to end it, unless something has arrived since.
    static status perform(reactor_op*) { return done_and_exhausted; }

    static void complete(void* owner, detail::operation* base, const boost::system::error_code&,
                         std::size_t) {
        auto* const operation = static_cast<Operation*>(base);
        // From here on the next wait may begin.
        const auto self = std::move(operation->self_);
        const auto observer = std::move(operation->observer_);
        // Without an owner the context is being destroyed, and runs nothing any more.
        if (owner != nullptr && operation->ec_ != boost::asio::error::operation_aborted) {
            observer->mayBeReadable();
        }
    }

    std::shared_ptr<Operation> self_;
    std::shared_ptr<ReadableObserver> observer_;
};

ReadableWait::ReadableWait(boost::asio::io_context& context)
    : context_(context), operation_(std::make_shared<Operation>()) {}

ReadableWait::~ReadableWait() = default;

void ReadableWait::start(int descriptor, DescriptorData& data, std::shared_ptr<ReadableObserver> observer) {
    if (operation_->isUnderWay()) {
        return;
    }
    operation_->prepare(operation_, std::move(observer));
    auto& reactor =
        boost::asio::use_service<detail::reactor>(static_cast<boost::asio::execution_context&>(context_));
    constexpr bool kIsContinuation = true;
    constexpr bool kAllowSpeculative = true;
    reactor.start_op(detail::reactor::read_op, descriptor, data, operation_.get(), kIsContinuation,
                     kAllowSpeculative);
}

}  // namespace xel
