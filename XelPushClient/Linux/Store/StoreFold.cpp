#include "XelPushClient/Linux/Store/StoreFold.h"

#include <algorithm>
#include <cstddef>

namespace xel {
namespace {

std::size_t saturatedSum(std::size_t first, std::size_t second) {
    return first > std::numeric_limits<std::size_t>::max() - second ? std::numeric_limits<std::size_t>::max()
                                                                    : first + second;
}

}  // namespace

void StoreFold::changesOf(std::string_view home) {
    home_ = &homes_[home];
}

void StoreFold::settingWasSet(std::string_view key, std::string_view value) {
    Setting& setting = home_->settings[key] = Setting();
    setting.value = value;
}

void StoreFold::settingWasAppendedTo(std::string_view key, std::span<const std::string_view> texts,
                                     std::size_t mostKept) {
    Setting& setting = home_->settings[key];
    setting.texts.insert(setting.texts.end(), texts.begin(), texts.end());
    // Of all that there was, the last so many are left, whatever each of several appendices allowed.
    setting.mostKept = std::min(mostKept, saturatedSum(setting.mostKept, texts.size()));
    // Now and then: texts come one by one, and each time that would cost as much as there are.
    if (setting.texts.size() / 2 > setting.mostKept) {
        setting.texts.erase(setting.texts.begin(),
                            setting.texts.end() - static_cast<std::ptrdiff_t>(setting.mostKept));
    }
}

void StoreFold::settingWasRemoved(std::string_view key) {
    Setting& setting = home_->settings[key] = Setting();
    setting.isRemovedFirst = true;
}

StoreFold::Client& StoreFold::clientNamed(std::string_view clientId) {
    return home_->clients[clientId];
}

void StoreFold::remove(Client& client, std::uint16_t packetId) {
    const auto place = client.places.find(packetId);
    if (place != client.places.end()) {
        client.appended.erase(place->second);
        client.places.erase(place);
    }
    client.removed.insert(packetId);
}

void StoreFold::publicationWasAppended(std::string_view clientId, const StoredPublication& publication) {
    Client& client = clientNamed(clientId);
    remove(client, publication.packetId);
    client.places[publication.packetId] = nextPlace_;
    client.appended[nextPlace_] = publication;
    ++nextPlace_;
}

void StoreFold::publicationsWereRemoved(std::string_view clientId, std::span<const std::uint16_t> packetIds) {
    Client& client = clientNamed(clientId);
    for (const std::uint16_t packetId : packetIds) {
        remove(client, packetId);
    }
}

void StoreFold::topicsWereSet(std::string_view clientId, std::string_view topics) {
    clientNamed(clientId).topics = topics;
}

void StoreFold::clientWasErased(std::string_view clientId) {
    Client& client = clientNamed(clientId) = Client();
    client.isErasedFirst = true;
}

}  // namespace xel
