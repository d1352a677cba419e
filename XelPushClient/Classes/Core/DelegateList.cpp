#include "XelPushClient/Classes/Core/DelegateList.h"

#include <algorithm>

namespace xel {

void DelegateList::addDelegate(Delegate delegate, DelegateOperations operations) {
    if (!delegate || contains(delegate.get())) {
        return;
    }
    refuseWhileWalked();
    entries_.push_back({std::move(delegate), operations});
}

void DelegateList::removeDelegate(const PushClientManagerDelegate* delegate) {
    if (!contains(delegate)) {
        return;
    }
    refuseWhileWalked();
    std::erase_if(entries_, [&](const Entry& entry) { return entry.delegate.get() == delegate; });
}

void DelegateList::removeAllDelegates() {
    if (entries_.empty()) {
        return;
    }
    refuseWhileWalked();
    entries_.clear();
}

void DelegateList::setDelegate(Delegate delegate, DelegateOperations operations) {
    const auto current = primary_.lock();
    if (!delegate) {
        clearDelegate();
        return;
    }
    if (delegate == current) {
        return;
    }
    if (contains(delegate.get())) {
        removeDelegate(current.get());
        return;
    }
    // Before the primary one has changed: `addDelegate` would refuse too late.
    refuseWhileWalked();
    primary_ = delegate;
    addDelegate(std::move(delegate), operations);
}

void DelegateList::clearDelegate() {
    const bool emptiesList = entries_.size() == 1;
    if (primary_.expired() && !emptiesList) {
        return;
    }
    refuseWhileWalked();
    primary_.reset();
    if (emptiesList) {
        entries_.clear();
    }
}

std::vector<DelegateList::Delegate> DelegateList::delegates() const {
    std::vector<Delegate> all;
    all.reserve(entries_.size());
    for (const auto& entry : entries_) {
        all.push_back(entry.delegate);
    }
    return all;
}

bool DelegateList::contains(const PushClientManagerDelegate* delegate) const {
    return std::any_of(entries_.begin(), entries_.end(),
                       [&](const Entry& entry) { return entry.delegate.get() == delegate; });
}

void DelegateList::refuseWhileWalked() const {
    if (walks_ > 0) {
        throw DelegateListChangedError();
    }
}

}  // namespace xel
