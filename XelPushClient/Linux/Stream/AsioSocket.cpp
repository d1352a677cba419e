#include "XelPushClient/Linux/Stream/AsioSocket.h"

#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

void AsioSocket::openFor(const boost::asio::ip::tcp::endpoint& endpoint) {
    (void)openInThisProcess([&] {
        boost::system::error_code error;
        open(endpoint.protocol(), error);
        return error ? -1 : native_handle();
    });
}

void AsioSocket::end() {
    if (is_open()) {
        closeInThisProcess(native_handle(), [this] {
            boost::system::error_code ignored;
            close(ignored);
        });
    }
}

}  // namespace xel
