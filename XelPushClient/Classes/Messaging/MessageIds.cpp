#include "XelPushClient/Classes/Messaging/MessageIds.h"

#include <algorithm>
#include <new>
#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {
namespace {

constexpr std::size_t kRememberedIds = 25;

}  // namespace

MessageIds::MessageIds(const ClientLife& life, NSUserDefaults& defaults, LastFailure& lastFailure,
                       const LogOutput& log)
    : defaults_(defaults), lastFailure_(lastFailure), log_(log), wayIn_(life.wayInto(*this)) {}

std::deque<std::string>& MessageIds::ids() {
    if (!ids_) {
        ids_.emplace();
        for (const auto& id : defaults_.arrayForKey(kMessageIdsKey).value_or(Array())) {
            if (const auto* text = id.asString()) {
                ids_->push_back(*text);
            }
        }
    }
    return *ids_;
}

bool MessageIds::storeMessageId(std::string_view id, Arrival arrival) {
    auto& remembered = ids();
    while (remembered.size() >= kRememberedIds) {
        remembered.pop_front();
    }
    const bool wasSeen =
        arrival == Arrival::Repeat || std::find(remembered.begin(), remembered.end(), id) != remembered.end();
    remembered.emplace_back(id);
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
    if (std::exchange(isNewestOfArrival_, false) && ids_ && !ids_->empty()) {
        ids_->pop_back();
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
    defaults_.setObject(kMessageIdsKey, Array(ids_->begin(), ids_->end()));
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
