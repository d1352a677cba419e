#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// An event that was published on app/{app}/event/{name}/{device}.
struct EventRecord {
    std::optional<std::string> id{};  ///< the data's "id": a text as it stands, a number printed
    std::string name{};
    std::string device{};
    std::string user{};     ///< who published it; empty: the service
    std::string payload{};  ///< as it was published
};

/// The receipt that was published on app/{app}/event/seen/{messageId} or .../dismiss/{messageId}.
struct ReceiptRecord {
    std::string kind{};  ///< "seen" or "dismiss"
    std::string messageId{};
    std::string user{};
    std::string device{};
    std::string time{};  ///< the payload's "ts"; empty when it has none
};

/// Who published; both empty for the service.
struct Publisher {
    std::string user{};
    std::string device{};
};

/// The event that a publication is; nothing when its topic is another, or a receipt's.
std::optional<EventRecord> readEvent(std::string_view app, std::string_view topic, std::string_view payload,
                                     const Publisher& publisher);

/// The receipt that a publication is; nothing when its topic is another.
std::optional<ReceiptRecord> readReceipt(std::string_view app, std::string_view topic,
                                         std::string_view payload, const Publisher& publisher);

}  // namespace xel::sandbox
