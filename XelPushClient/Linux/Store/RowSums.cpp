#include "XelPushClient/Linux/Store/RowSums.h"

#include <array>
#include <cstddef>
#include <initializer_list>

#include "XelPushClient/Foundation/KeyedHash.h"
#include "XelPushClient/Linux/Store/JournalFormat.h"

namespace xel {
namespace {

/// So that a row of one table is none of another's.
enum class Table : std::uint64_t { Homes = 1, Defaults = 2, Clients = 3, Outbox = 4, Journal = 5 };

std::int64_t sumOf(Table table, std::initializer_list<std::int64_t> numbers,
                   std::initializer_list<std::string_view> texts) {
    constexpr std::size_t kMostNumbers = 4;
    std::array<char, kMostNumbers * sizeof(std::uint64_t)> octets{};
    std::size_t at = 0;
    for (const std::int64_t number : numbers) {
        putNumber(octets.data() + at, static_cast<std::uint64_t>(number));
        at += sizeof number;
    }
    std::uint64_t sum = lastingHashOf({octets.data(), at}, static_cast<std::uint64_t>(table), 0);
    for (const std::string_view text : texts) {
        sum = lastingHashOf(text, sum, static_cast<std::uint64_t>(table));
    }
    return static_cast<std::int64_t>(sum);
}

}  // namespace

std::int64_t sumOfHome(const HomeRow& row, std::string_view name) {
    return sumOf(Table::Homes, {row.id, row.run, row.settings, row.clients}, {name});
}

std::int64_t sumOfSetting(std::int64_t home, std::string_view key, std::string_view value) {
    return sumOf(Table::Defaults, {home}, {key, value});
}

std::int64_t sumOfClient(const ClientRow& row, std::string_view name, std::string_view topics) {
    return sumOf(Table::Clients, {row.id, row.home, row.outbox}, {name, topics});
}

std::int64_t sumOfPublication(const PublicationRow& row, std::string_view topic, std::string_view payload) {
    return sumOf(Table::Outbox, {row.client, row.packetId, row.place, row.retain}, {topic, payload});
}

std::int64_t sumOfJournal(std::int64_t run, std::int64_t store) {
    return sumOf(Table::Journal, {run, store}, {});
}

}  // namespace xel
