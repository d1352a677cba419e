#include "XelPushClient/Linux/Store/StoreChanges.h"

#include <limits>
#include <optional>

#include "XelPushClient/Linux/Store/OctetCodec.h"

namespace xel {
namespace {

// On disk: neither a number nor the order of what follows it may change.
enum class Kind : char {
    Home = 1,
    SetSetting = 2,
    AppendToSetting = 3,
    RemoveSetting = 4,
    AppendPublication = 5,
    RemovePublications = 6,
    SetTopics = 7,
    EraseClient = 8
};

void begin(std::string& octets, Kind kind) {
    octets.push_back(static_cast<char>(kind));
}

/// Reads one change after the other. Each step answers false for what cannot be it.
class ChangesParser {
public:
    ChangesParser(std::string_view octets, StoreChangeReader& reader) : octets_(octets), reader_(reader) {}

    [[nodiscard]] bool parse() {
        while (const auto kind = octets_.octet()) {
            if (!parse(static_cast<Kind>(*kind))) {
                return false;
            }
        }
        return true;
    }

private:
    [[nodiscard]] bool parse(Kind kind) {
        const auto name = octets_.text();  // with which each begins
        if (!name) {
            return false;
        }
        if (kind == Kind::Home) {
            isOfHome_ = true;
            reader_.changesOf(*name);
            return true;
        }
        return isOfHome_ && parse(kind, *name);
    }

    [[nodiscard]] bool parse(Kind kind, std::string_view name) {
        switch (kind) {
            case Kind::Home: return false;
            case Kind::SetSetting:
                return parseText([&](std::string_view value) { reader_.settingWasSet(name, value); });
            case Kind::AppendToSetting: return parseAppendix(name);
            case Kind::RemoveSetting: reader_.settingWasRemoved(name); return true;
            case Kind::AppendPublication: return parsePublication(name);
            case Kind::RemovePublications: return parseRemoval(name);
            case Kind::SetTopics:
                return parseText([&](std::string_view topics) { reader_.topicsWereSet(name, topics); });
            case Kind::EraseClient: reader_.clientWasErased(name); return true;
        }
        return false;
    }

    template <class Take>
    [[nodiscard]] bool parseText(Take take) {
        const auto text = octets_.text();
        if (text) {
            take(*text);
        }
        return text.has_value();
    }

    [[nodiscard]] bool parseAppendix(std::string_view key) {
        const auto mostKept = octets_.number();
        const auto count = mostKept ? octets_.count(1) : std::nullopt;
        if (!count) {
            return false;
        }
        texts_.clear();
        for (std::size_t i = 0; i < *count; ++i) {
            if (!parseText([&](std::string_view text) { texts_.push_back(text); })) {
                return false;
            }
        }
        reader_.settingWasAppendedTo(key, texts_, static_cast<std::size_t>(*mostKept));
        return true;
    }

    [[nodiscard]] std::optional<std::uint16_t> packetId() {
        const auto number = octets_.number();
        const bool isOne = number && *number > 0 && *number <= std::numeric_limits<std::uint16_t>::max();
        return isOne ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
    }

    [[nodiscard]] bool parsePublication(std::string_view clientId) {
        const auto identifier = packetId();
        const auto retain = octets_.octet();
        const auto topic = octets_.text();
        const auto payload = octets_.text();
        if (!identifier || !retain || (*retain != 0 && *retain != 1) || !topic || !payload) {
            return false;
        }
        reader_.publicationWasAppended(clientId, {*identifier, *retain == 1, *topic, *payload});
        return true;
    }

    [[nodiscard]] bool parseRemoval(std::string_view clientId) {
        const auto count = octets_.count(1);
        if (!count) {
            return false;
        }
        packetIds_.clear();
        for (std::size_t i = 0; i < *count; ++i) {
            const auto identifier = packetId();
            if (!identifier) {
                return false;
            }
            packetIds_.push_back(*identifier);
        }
        reader_.publicationsWereRemoved(clientId, packetIds_);
        return true;
    }

    OctetReader octets_;
    StoreChangeReader& reader_;
    bool isOfHome_ = false;
    std::vector<std::string_view> texts_;
    std::vector<std::uint16_t> packetIds_;
};

}  // namespace

void StoreChangeWriter::changesOf(std::string_view home) {
    begin(octets_, Kind::Home);
    appendText(octets_, home);
}

void StoreChangeWriter::setSetting(std::string_view key, std::string_view value) {
    begin(octets_, Kind::SetSetting);
    appendText(octets_, key);
    appendText(octets_, value);
}

void StoreChangeWriter::appendToSetting(std::string_view key, std::span<const std::string_view> texts,
                                        std::size_t mostKept) {
    begin(octets_, Kind::AppendToSetting);
    appendText(octets_, key);
    appendNumber(octets_, mostKept);
    appendNumber(octets_, texts.size());
    for (const std::string_view text : texts) {
        appendText(octets_, text);
    }
}

void StoreChangeWriter::removeSetting(std::string_view key) {
    begin(octets_, Kind::RemoveSetting);
    appendText(octets_, key);
}

void StoreChangeWriter::appendPublication(std::string_view clientId, const OutboxEntry& entry) {
    begin(octets_, Kind::AppendPublication);
    appendText(octets_, clientId);
    appendNumber(octets_, entry.packetId);
    octets_.push_back(entry.retain ? 1 : 0);
    appendText(octets_, entry.topic);
    appendText(octets_, entry.payload);
}

void StoreChangeWriter::removePublications(std::string_view clientId,
                                           std::span<const std::uint16_t> packetIds) {
    begin(octets_, Kind::RemovePublications);
    appendText(octets_, clientId);
    appendNumber(octets_, packetIds.size());
    for (const std::uint16_t packetId : packetIds) {
        appendNumber(octets_, packetId);
    }
}

void StoreChangeWriter::setTopics(std::string_view clientId, std::string_view topics) {
    begin(octets_, Kind::SetTopics);
    appendText(octets_, clientId);
    appendText(octets_, topics);
}

void StoreChangeWriter::eraseClient(std::string_view clientId) {
    begin(octets_, Kind::EraseClient);
    appendText(octets_, clientId);
}

bool readStoreChanges(std::string_view record, StoreChangeReader& reader) {
    return ChangesParser(record, reader).parse();
}

}  // namespace xel
