#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Linux/Homes/HomeStore.h"

namespace xel {

/// A home of a store while it is open: what its parts share. Nobody else opens the home meanwhile.
/// Thread: the homes' run loop.
class OpenHome {
public:
    /// Errors: `StoreErrorCode::InUse` for one that is open, and what reading can meet.
    [[nodiscard]] static Result<std::shared_ptr<OpenHome>> open(std::shared_ptr<HomeStore> store,
                                                                std::string_view name);

    ~OpenHome() { store_->closeHome(name_); }
    OpenHome(const OpenHome&) = delete;
    OpenHome& operator=(const OpenHome&) = delete;

    [[nodiscard]] HomeStore& store() const { return *store_; }
    [[nodiscard]] const std::string& name() const { return name_; }
    /// What was stored when it was opened. Once.
    [[nodiscard]] HomeStore::Contents takeContents() { return std::exchange(contents_, {}); }

private:
    OpenHome(std::shared_ptr<HomeStore> store, std::string name, HomeStore::Contents contents)
        : store_(std::move(store)), name_(std::move(name)), contents_(std::move(contents)) {}

    const std::shared_ptr<HomeStore> store_;
    const std::string name_;
    HomeStore::Contents contents_;
};

}  // namespace xel
