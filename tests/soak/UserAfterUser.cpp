#include "tests/soak/UserAfterUser.h"

namespace xel::soak {
namespace {

// They take turns, so that what is kept for each of many users would show.
constexpr std::size_t kUsers = 50;

}  // namespace

UserAfterUser::UserAfterUser(xel::PushClientManager& push, xel::NSRunLoop& runLoop,
                             xel::killtest::ReceivedLog& log, std::size_t messagesAUser)
    : push_(push), runLoop_(runLoop), log_(log), messagesAUser_(messagesAUser) {}

void UserAfterUser::letTheNextOneIn() {
    messages_ = 0;
    push_.registerUser("soak" + std::to_string(10 + users_++ % kUsers), {"news", "private/orders"});
}

void UserAfterUser::pushClientManagerDidReceivedMessage(const xel::PushClientMessage& /*message*/) {
    // More may come before the posted end.
    if (++messages_ > messagesAUser_) {
        return;
    }
    push_.publishEvent("soak",
                       xel::Dictionary{{"id", std::to_string(users_) + "-" + std::to_string(messages_)}});
    if (messages_ == messagesAUser_) {
        runLoop_.post([this] { letThisOneGo(); });
    }
}

void UserAfterUser::letThisOneGo() {
    push_.reset();
    log_.note("user " + std::to_string(users_));
    runLoop_.post([this] { letTheNextOneIn(); });
}

}  // namespace xel::soak
