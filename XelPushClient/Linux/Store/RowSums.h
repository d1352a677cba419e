#pragma once

#include <cstdint>
#include <string_view>

namespace xel {

// The sums of a store's rows: SQLite keeps none, so that without them an octet that a disk has changed, or a
// page of another place, would be read as it is. A row's sum goes over what the row holds and over whose it
// is. They are on disk, so what goes into one may never change.

struct HomeRow {
    std::int64_t id = 0;
    /// The last run of the journal that has changed it.
    std::int64_t run = 0;
    /// What the sums of its settings and of its clients come to.
    std::int64_t settings = 0;
    std::int64_t clients = 0;
};
[[nodiscard]] std::int64_t sumOfHome(const HomeRow& row, std::string_view name);

/// The value in its stored form.
[[nodiscard]] std::int64_t sumOfSetting(std::int64_t home, std::string_view key, std::string_view value);

struct ClientRow {
    std::int64_t id = 0;
    std::int64_t home = 0;
    /// What the sums of its publications come to.
    std::int64_t outbox = 0;
};
/// The topics in their stored form.
[[nodiscard]] std::int64_t sumOfClient(const ClientRow& row, std::string_view name, std::string_view topics);

struct PublicationRow {
    std::int64_t client = 0;
    std::int64_t packetId = 0;
    std::int64_t place = 0;
    std::int64_t retain = 0;
};
[[nodiscard]] std::int64_t sumOfPublication(const PublicationRow& row, std::string_view topic,
                                            std::string_view payload);

[[nodiscard]] std::int64_t sumOfJournal(std::int64_t run, std::int64_t store);

}  // namespace xel
