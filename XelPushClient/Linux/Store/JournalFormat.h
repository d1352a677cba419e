#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "XelPushClient/Foundation/KeyedHash.h"

namespace xel {

// A journal's file: a header, twice, so that no single octet decides over all records; then the records, each
// a header and its contents. What an earlier run has left behind the last record has another salt, and so
// counts as nothing. Numbers are little-endian.

/// The file's header: these eight octets, the number of the run, its salt, which store it is of, and a sum
/// over those.
inline constexpr std::string_view kJournalMagic = "XELJRNL1";
inline constexpr std::size_t kJournalRunAt = 8;
inline constexpr std::size_t kJournalSaltAt = 16;
inline constexpr std::size_t kJournalStoreAt = 24;
inline constexpr std::size_t kJournalHeaderSumAt = 32;
inline constexpr std::size_t kJournalHeaderCopySize = 40;
inline constexpr std::size_t kJournalHeaderSize = 2 * kJournalHeaderCopySize;

/// A record's header: a marker by which one is found behind a hole, the length of the contents (32 bits), and
/// a sum over these, the salt and the record's place.
inline constexpr std::size_t kRecordLengthAt = 4;
inline constexpr std::size_t kRecordSumAt = 8;
inline constexpr std::size_t kRecordHeaderSize = 16;

template <class Number>
void putNumber(char* to, Number number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
        to[i] = static_cast<char>(number >> (8 * i) & 0xffU);
    }
}

template <class Number>
[[nodiscard]] Number numberAt(const char* from) {
    Number number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number = static_cast<Number>(number | Number{static_cast<unsigned char>(from[i])} << (8 * i));
    }
    return number;
}

[[nodiscard]] inline std::uint64_t journalHeaderSum(std::string_view header) {
    return lastingHashOf(header.substr(0, kJournalHeaderSumAt), 0, 0);
}

[[nodiscard]] inline std::uint32_t recordMarker(std::uint64_t salt) {
    return static_cast<std::uint32_t>(salt ^ salt >> 32U);
}

[[nodiscard]] inline std::uint64_t recordSum(std::string_view contents, std::uint64_t salt,
                                             std::uint64_t at) {
    return lastingHashOf(contents, salt, at);
}

}  // namespace xel
