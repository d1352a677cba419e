#include "XelPushClient/Classes/Messaging/MessageIds.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {
MessageIds::MessageIds(const ClientLife& life, NSUserDefaults& defaults, LastFailure& lastFailure,
                       const LogOutput& log)
    : defaults_(defaults), lastFailure_(lastFailure), log_(log), wayIn_(life.wayInto(*this)) {}

RecentIds& MessageIds::ids() {
    if (!ids_) {
        RecentIds loaded;
        const Array stored = defaults_.arrayForKey(kMessageIdsKey).value_or(Array());
        for (const auto& id : stored) {
            if (const auto* text = id.asString()) {
                loaded.append(*text);
            }
        }
        areOthersToo_ = loaded.size() != stored.size();
        newIds_ = 0;
        ids_ = std::move(loaded);
    }
    return *ids_;
}

bool MessageIds::storeMessageId(std::string_view id, Arrival arrival) {
    auto& remembered = ids();
    if (remembered.size() == RecentIds::kMost) {
        remembered.removeOldest();
    }
    const bool wasSeen = arrival == Arrival::Repeat || remembered.contains(id);
    remembered.append(id);
    newIds_ = std::min(newIds_ + 1, RecentIds::kMost);
    isNewestOfArrival_ = true;
    isUnsaved_ = true;
    if (!isInTurn_) {
        putIntoDefaults();
        if (defaults_.synchronize()) {
            isUnsaved_ = false;
        } else {
            reportFailure();
        }
    }
    return wasSeen;
}

void MessageIds::forgetArrival() {
    if (!std::exchange(isNewestOfArrival_, false) || !ids_ || ids_->size() == 0) {
        return;
    }
    ids_->removeNewest();
    if (newIds_ > 0) {
        --newIds_;
    } else {
        areOthersToo_ = true;
    }
}

void MessageIds::beginTurn() {
    isInTurn_ = true;
}

void MessageIds::closeTurn(std::function<void()> done) {
    isInTurn_ = false;
    if (!isUnsaved_) {
        done();
        return;
    }
    putIntoDefaults();
    // Not in the answer, which may come a file sync later: newer ids would count as stored too.
    isUnsaved_ = false;
    try {
        defaults_.synchronizeTurn([wayIn = wayIn_, done = std::move(done)](bool isStored) {
            const auto self = wayIn.hold();
            doThenAlways(
                [&] {
                    if (self && !isStored) {
                        // Forgotten meanwhile, there is nothing left to store.
                        self->isUnsaved_ = self->ids_.has_value();
                        self->reportFailure();
                    }
                },
                done);
        });
    } catch (const std::bad_alloc&) {
        isUnsaved_ = ids_.has_value();
        throw;
    }
}

void MessageIds::forgetIdentity() {
    ids_.reset();
    isUnsaved_ = false;
}

void MessageIds::removeStoredIdentity() {
    defaults_.removeObject(kMessageIdsKey);
}

void MessageIds::putIntoDefaults() {
    std::array<std::string_view, RecentIds::kMost> newest;
    const std::size_t count = areOthersToo_ ? ids_->size() : newIds_;
    for (std::size_t i = 0; i < count; ++i) {
        newest[i] = ids_->at(ids_->size() - count + i);
    }
    if (areOthersToo_) {
        defaults_.removeObject(kMessageIdsKey);
    }
    defaults_.appendToArray(kMessageIdsKey, {newest.data(), count}, RecentIds::kMost);
    newIds_ = 0;
    areOthersToo_ = false;
}

void MessageIds::reportFailure() {
    const NSError error =
        makeError(kPushClientStoreErrorDomain, kPushClientStoreFailedErrorCode,
                  "the ids of received messages could not be stored; they are kept in memory "
                  "and storing is tried again with the next messages");
    lastFailure_.remember(error);
    TVRLog(log_, "Could not store message ids %@", error);
}

}  // namespace xel
