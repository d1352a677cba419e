#include "XelPushClient/Classes/Messaging/RecentIds.h"

#include <functional>

namespace xel {

bool RecentIds::contains(std::string_view id) const {
    const std::size_t hash = std::hash<std::string_view>()(id);
    for (std::size_t at = 0; at < kMost; ++at) {
        if (hashes_[at] == hash && isInUse(at) && ids_[at] == id) {
            return true;
        }
    }
    return false;
}

void RecentIds::append(std::string_view id) {
    const std::size_t at = slot(size_);
    ids_[at] = id;  // first: it throws where there is no memory
    hashes_[at] = std::hash<std::string_view>()(id);
    if (size_ < kMost) {
        ++size_;
    } else {
        oldest_ = slot(1);
    }
}

void RecentIds::removeOldest() {
    oldest_ = slot(1);
    --size_;
}

}  // namespace xel
