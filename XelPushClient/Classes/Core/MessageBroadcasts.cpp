#include "XelPushClient/Classes/Core/MessageBroadcasts.h"

#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"

namespace xel {
namespace {

constexpr std::string_view kName = PushClientDidReceivedMessageNotification;

}  // namespace

/// Messages that are told one behind the other: filled on the manager's loop, told on the main one.
class MessageBroadcasts::Post : public std::enable_shared_from_this<Post> {
public:
    Post(std::weak_ptr<NSRunLoop> mainRunLoop, std::shared_ptr<NSNotificationCenter> center,
         std::weak_ptr<NSObject* const> manager)
        : mainRunLoop_(std::move(mainRunLoop)), center_(std::move(center)), manager_(std::move(manager)) {}

    /// False when it is being told already.
    [[nodiscard]] bool add(std::shared_ptr<const PushClientMessage> message) {
        const std::lock_guard lock(mutex_);
        if (!isBeingTold_) {
            messages_.push_back(std::move(message));
        }
        return !isBeingTold_;
    }

    void schedule() {
        if (const auto mainRunLoop = mainRunLoop_.lock()) {
            mainRunLoop->post([self = shared_from_this()] { self->tell(); });
        }
    }

private:
    void tell() {
        {
            const std::lock_guard lock(mutex_);
            isBeingTold_ = true;
        }
        // From here on nobody adds any more.
        while (told_ < messages_.size() && center_->hasObserverFor(kName)) {
            try {
                tell(*messages_[told_++]);
            } catch (...) {
                // Those behind it are told all the same, by the next run of the loop.
                if (told_ < messages_.size()) {
                    schedule();
                }
                throw;
            }
        }
        messages_.clear();
    }

    void tell(const PushClientMessage& message) const {
        if (NSObject* const manager = managerIfThere()) {
            center_->postNotification({kName, manager, {{PushClientMessageKey, message}}}, manager_);
        }
    }

    // Held no longer than this takes, so that an observer who destroys it is seen to have done so.
    [[nodiscard]] NSObject* managerIfThere() const {
        const auto manager = manager_.lock();
        return manager ? *manager : nullptr;
    }

    // The loop holds the post, perhaps to its own end.
    const std::weak_ptr<NSRunLoop> mainRunLoop_;
    const std::shared_ptr<NSNotificationCenter> center_;
    const std::weak_ptr<NSObject* const> manager_;

    std::mutex mutex_;
    bool isBeingTold_ = false;
    std::vector<std::shared_ptr<const PushClientMessage>> messages_;
    std::size_t told_ = 0;
};

MessageBroadcasts::MessageBroadcasts(std::shared_ptr<NSRunLoop> mainRunLoop,
                                     std::shared_ptr<NSNotificationCenter> center)
    : mainRunLoop_(std::move(mainRunLoop)), center_(std::move(center)) {}

MessageBroadcasts::~MessageBroadcasts() = default;

void MessageBroadcasts::post(std::shared_ptr<const PushClientMessage> message,
                             const std::weak_ptr<NSObject* const>& manager) {
    if (posted_ && posted_->add(message)) {
        return;
    }
    const auto post = std::make_shared<Post>(mainRunLoop_, center_, manager);
    (void)post->add(std::move(message));
    post->schedule();
    posted_ = post;
}

}  // namespace xel
