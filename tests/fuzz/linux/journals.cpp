// The journal of a store: octets that may be a file of it, a file with damage, and the changes that its
// records hold. A sound file gives its records back; of a damaged one what is found was in it; changes that
// can be read are written as they were.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Linux/Store/JournalFormat.h"
#include "XelPushClient/Linux/Store/JournalImage.h"
#include "XelPushClient/Linux/Store/StoreChanges.h"
#include "XelPushClient/Linux/Store/StoreFold.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

using Records = std::vector<std::string>;

/// Writes what it hears.
class Rewriter final : public StoreChangeReader {
public:
    void changesOf(std::string_view home) override { writer_.changesOf(home); }
    void settingWasSet(std::string_view key, std::string_view value) override {
        writer_.setSetting(key, value);
    }
    void settingWasAppendedTo(std::string_view key, std::span<const std::string_view> texts,
                              std::size_t mostKept) override {
        writer_.appendToSetting(key, texts, mostKept);
    }
    void settingWasRemoved(std::string_view key) override { writer_.removeSetting(key); }
    void publicationWasAppended(std::string_view clientId, const StoredPublication& publication) override {
        writer_.appendPublication(clientId, {publication.packetId, std::string(publication.topic),
                                             std::string(publication.payload), publication.retain});
    }
    void publicationsWereRemoved(std::string_view clientId,
                                 std::span<const std::uint16_t> packetIds) override {
        writer_.removePublications(clientId, packetIds);
    }
    void topicsWereSet(std::string_view clientId, std::string_view topics) override {
        writer_.setTopics(clientId, topics);
    }
    void clientWasErased(std::string_view clientId) override { writer_.eraseClient(clientId); }

    [[nodiscard]] const std::string& octets() const { return octets_; }

private:
    std::string octets_;
    StoreChangeWriter writer_{octets_};
};

void checkChanges(std::string_view octets) {
    Rewriter rewriter;
    if (readStoreChanges(octets, rewriter)) {
        require(rewriter.octets() == octets, "changes have one form");
    }
    StoreFold fold;
    (void)readStoreChanges(octets, fold);
    for (const auto& [name, home] : fold.homes()) {
        for (const auto& [clientId, client] : home.clients) {
            require(client.places.size() == client.appended.size(), "each that was appended has its place");
        }
    }
}

Records recordsIn(const JournalImage& image) {
    Records records;
    (void)image.forEachRecord([&](std::string_view record) {
        records.emplace_back(record);
        checkChanges(record);
    });
    return records;
}

template <class Number>
void append(std::string& octets, Number number) {
    octets.resize(octets.size() + sizeof number);
    putNumber(octets.data() + octets.size() - sizeof number, number);
}

std::string fileOf(const Records& records, std::uint64_t salt) {
    std::string header(kJournalMagic);
    append(header, std::uint64_t{1});
    append(header, salt);
    append(header, std::uint64_t{2});
    header.resize(kJournalHeaderCopySize);
    putNumber(header.data() + kJournalHeaderSumAt, journalHeaderSum(header));
    std::string file = header + header;
    for (const std::string& record : records) {
        const std::size_t at = file.size();
        append(file, recordMarker(salt));
        append(file, static_cast<std::uint32_t>(record.size()));
        append(file, recordSum(record, salt, at));
        file += record;
    }
    return file;
}

bool isPartOf(const Records& found, const Records& all) {
    std::size_t next = 0;
    for (const std::string& record : all) {
        next += next < found.size() && found[next] == record ? 1 : 0;
    }
    return next == found.size();
}

/// Each record is as long as its first octet says.
Records recordsFrom(std::string_view octets) {
    Records records;
    while (octets.size() > 1) {
        const auto length = static_cast<std::size_t>(static_cast<unsigned char>(octets.front()) % 64U) + 1;
        records.emplace_back(octets.substr(1, length));
        octets.remove_prefix(1 + records.back().size());
    }
    return records;
}

void checkFile(std::string_view octets) {
    constexpr std::size_t kPlan = 6;  // the salt, where the damage lies and what it is
    if (octets.size() < kPlan) {
        return;
    }
    const auto salt = numberAt<std::uint16_t>(octets.data()) + std::uint64_t{1};
    const auto place = numberAt<std::uint16_t>(octets.data() + 2);
    const auto flip = static_cast<unsigned char>(octets[4]);
    const bool isCut = octets[5] % 2 != 0;
    const Records records = recordsFrom(octets.substr(kPlan));
    std::string file = fileOf(records, salt);
    require(recordsIn(JournalImage::of(file)) == records, "a sound file gives its records back");
    if (isCut) {
        file.resize(place % (file.size() + 1));
    } else {
        file[place % file.size()] =
            static_cast<char>(static_cast<unsigned char>(file[place % file.size()]) ^ flip);
    }
    require(isPartOf(recordsIn(JournalImage::of(file)), records), "what is found was there");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string octets(reinterpret_cast<const char*>(data), size);
    (void)recordsIn(JournalImage::of(octets));
    checkChanges(octets);
    checkFile(octets);
    return 0;
}
