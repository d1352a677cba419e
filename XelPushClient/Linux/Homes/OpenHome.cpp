#include "XelPushClient/Linux/Homes/OpenHome.h"

namespace xel {

Result<std::shared_ptr<OpenHome>> OpenHome::open(std::shared_ptr<HomeStore> store, std::string_view name) {
    auto contents = store->openHome(name);
    if (!contents) {
        return contents.error();
    }
    return std::shared_ptr<OpenHome>(
        new OpenHome(std::move(store), std::string(name), std::move(contents).value()));
}

}  // namespace xel
