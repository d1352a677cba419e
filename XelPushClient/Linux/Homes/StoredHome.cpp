#include "XelPushClient/Linux/Homes/StoredHome.h"

#include "XelPushClient/Linux/Homes/HomeDefaults.h"
#include "XelPushClient/Linux/Homes/HomeSessionMemory.h"
#include "XelPushClient/Linux/Homes/OutboxInMemory.h"

namespace xel {

Result<StoredHome> openStoredHome(const std::shared_ptr<HomeStore>& store, std::string_view name) {
    const auto home = OpenHome::open(store, name);
    if (!home) {
        return home.error();
    }
    const auto contents = home.value()->takeContents();
    StoredHome opened;
    opened.defaults = HomeDefaults::open(home.value(), contents.settings);
    opened.memory = HomeSessionMemory::open(home.value(), contents.clientIds);
    if (store->durability() == Durability::Memory) {
        opened.memory = std::make_shared<OutboxInMemory>(opened.memory);
    }
    return opened;
}

}  // namespace xel
