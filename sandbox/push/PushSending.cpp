#include "sandbox/push/PushSending.h"

#include <utility>

#include <boost/asio/post.hpp>

#include "sandbox/push/PushPost.h"
#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {

PushSending::PushSending(boost::asio::io_context& loop, InstallationStore& installations, ProgressLog& log)
    : loop_(loop),
      desk_(
          installations, log,
          [&loop](const OutgoingPush& push, std::function<void(const PushAnswer&)> onAnswer) {
              postPushMessage(loop, push, std::move(onAnswer));
          },
          millisecondsSince1970) {}

void PushSending::messageWaits(WaitingDevice device, std::string message) {
    boost::asio::post(loop_, [this, device = std::move(device), message = std::move(message)] {
        desk_.messageWaits(device.user, device.device, message);
    });
}

}  // namespace xel::sandbox
