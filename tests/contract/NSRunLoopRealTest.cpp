#include "XelPushClient/Linux/AsioRunLoop.h"
#include "tests/contract/NSRunLoopContract.h"

namespace xel::contract {
namespace {

class OwnContextSubject {
public:
    NSRunLoop& loop() { return loop_; }

private:
    AsioRunLoop loop_;
};

class HostContextSubject {
public:
    NSRunLoop& loop() { return loop_; }

private:
    boost::asio::io_context context_;
    AsioRunLoop loop_{context_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Asio, NSRunLoopContract, OwnContextSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(AsioOnTheHostsContext, NSRunLoopContract, HostContextSubject);

}  // namespace xel::contract
