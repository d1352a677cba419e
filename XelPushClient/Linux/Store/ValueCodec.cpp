#include "XelPushClient/Linux/Store/ValueCodec.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <utility>

#include "XelPushClient/Linux/Store/OctetCodec.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel {
namespace {

constexpr char kVersion = 1;

enum class Tag : char {
    Null = 0,
    False = 1,
    True = 2,
    Integer = 3,
    Double = 4,
    String = 5,
    Data = 6,
    Date = 7,
    Array = 8,
    Dictionary = 9
};

class Encoder {
public:
    explicit Encoder(std::string& output) : output_(output) {}

    [[nodiscard]] bool encode(const Value& value, std::size_t depth) {
        depth_ = depth;
        return value.visit(*this);
    }

    bool operator()(std::monostate) { return tag(Tag::Null); }
    bool operator()(bool value) { return tag(value ? Tag::True : Tag::False); }
    bool operator()(std::int64_t value) {
        // Zigzag: the sign goes into the lowest bit, so that small numbers of either sign are short.
        const auto bits = static_cast<std::uint64_t>(value);
        return tag(Tag::Integer) && number((bits << 1U) ^ (value < 0 ? ~std::uint64_t{0} : 0));
    }
    bool operator()(double value) { return tag(Tag::Double) && real(value); }
    bool operator()(const std::string& value) { return tag(Tag::String) && text(value); }
    bool operator()(const Data& value) {
        return tag(Tag::Data) && text({reinterpret_cast<const char*>(value.data()), value.size()});
    }
    bool operator()(const Date& value) { return tag(Tag::Date) && real(secondsSince1970(value)); }

    bool operator()(const Array& array) {
        tag(Tag::Array);
        number(array.size());
        // A copy: each item's encoding sets it anew.
        const std::size_t depth = depth_;
        return depth < kDeepestStoredValue && std::all_of(array.begin(), array.end(), [&](const Value& item) {
                   return encode(item, depth + 1);
               });
    }

    bool operator()(const Dictionary& dictionary) {
        tag(Tag::Dictionary);
        number(dictionary.size());
        const std::size_t depth = depth_;
        return depth < kDeepestStoredValue &&
               std::all_of(dictionary.begin(), dictionary.end(), [&](const auto& entry) {
                   return text(entry.first) && encode(entry.second, depth + 1);
               });
    }

private:
    bool tag(Tag tag) {
        output_.push_back(static_cast<char>(tag));
        return true;
    }

    bool number(std::uint64_t value) {
        appendNumber(output_, value);
        return true;
    }

    bool real(double value) {
        const auto bits = std::bit_cast<std::uint64_t>(value);
        for (unsigned shift = 0; shift < 64; shift += 8) {
            output_.push_back(static_cast<char>((bits >> shift) & 0xffU));
        }
        return true;
    }

    bool text(std::string_view octets) {
        appendText(output_, octets);
        return true;
    }

    std::string& output_;
    std::size_t depth_ = 0;
};

class Decoder {
public:
    explicit Decoder(std::string_view octets) : octets_(octets) {}

    [[nodiscard]] bool isAtEnd() const { return octets_.isAtEnd(); }
    [[nodiscard]] std::optional<char> octet() { return octets_.octet(); }

    [[nodiscard]] std::optional<Value> value(std::size_t depth) {
        const auto tag = octet();
        if (!tag) {
            return std::nullopt;
        }
        switch (static_cast<Tag>(*tag)) {
            case Tag::Null: return Value();
            case Tag::False: return Value(false);
            case Tag::True: return Value(true);
            case Tag::Integer: return integer();
            case Tag::Double: return wrap(real(), [](double number) { return Value(number); });
            case Tag::String:
                return wrap(octets_.text(), [](std::string_view octets) { return Value(octets); });
            case Tag::Data:
                return wrap(octets_.text(), [](std::string_view octets) {
                    return Value(Data(octets.begin(), octets.end()));
                });
            case Tag::Date: return wrap(real(), [](double s) { return Value(dateFromSecondsSince1970(s)); });
            case Tag::Array: return array(depth);
            case Tag::Dictionary: return dictionary(depth);
        }
        return std::nullopt;
    }

private:
    template <class Part, class Make>
    static std::optional<Value> wrap(const std::optional<Part>& part, Make make) {
        return part ? std::optional<Value>(make(*part)) : std::nullopt;
    }

    [[nodiscard]] std::optional<Value> integer() {
        return wrap(octets_.number(), [](std::uint64_t zigzag) {
            return Value(static_cast<std::int64_t>((zigzag >> 1U) ^ (~(zigzag & 1U) + 1U)));
        });
    }

    [[nodiscard]] std::optional<double> real() {
        const auto octets = octets_.octets(8);
        if (!octets) {
            return std::nullopt;
        }
        std::uint64_t bits = 0;
        for (unsigned i = 0; i < 8; ++i) {
            bits |= static_cast<std::uint64_t>(static_cast<unsigned char>((*octets)[i])) << (8 * i);
        }
        return std::bit_cast<double>(bits);
    }

    [[nodiscard]] std::optional<Value> array(std::size_t depth) {
        const auto items = octets_.count(1);
        if (!items || depth >= kDeepestStoredValue) {
            return std::nullopt;
        }
        Array result;
        for (std::size_t i = 0; i < *items; ++i) {
            auto item = value(depth + 1);
            if (!item) {
                return std::nullopt;
            }
            result.push_back(std::move(*item));
        }
        return Value(std::move(result));
    }

    [[nodiscard]] std::optional<Value> dictionary(std::size_t depth) {
        const auto entries = octets_.count(2);
        if (!entries || depth >= kDeepestStoredValue) {
            return std::nullopt;
        }
        Dictionary result;
        for (std::size_t i = 0; i < *entries; ++i) {
            const auto key = octets_.text();
            if (!key || result.contains(*key)) {
                return std::nullopt;
            }
            auto item = value(depth + 1);
            if (!item) {
                return std::nullopt;
            }
            result.set(std::string(*key), std::move(*item));
        }
        return Value(std::move(result));
    }

    OctetReader octets_;
};

}  // namespace

bool appendEncodedValue(const Value& value, std::string& output) {
    const std::size_t before = output.size();
    output.push_back(kVersion);
    if (!Encoder(output).encode(value, 0)) {
        output.resize(before);
        return false;
    }
    return true;
}

Result<Value> decodeValue(std::string_view octets) {
    Decoder decoder(octets);
    if (decoder.octet() != kVersion) {
        return makeStoreError(StoreErrorCode::Damaged, "a stored value has an unknown version");
    }
    auto value = decoder.value(0);
    if (!value || !decoder.isAtEnd()) {
        return makeStoreError(StoreErrorCode::Damaged, "a stored value is damaged");
    }
    return std::move(*value);
}

std::string encodeTopics(const TopicTable& topics) {
    Dictionary dictionary;
    dictionary.reserve(topics.size());
    for (const auto& [topic, qos] : topics) {
        dictionary.set(topic, qos);
    }
    std::string encoded;
    (void)appendEncodedValue(Value(std::move(dictionary)), encoded);  // two levels deep
    return encoded;
}

std::optional<TopicTable> decodeTopics(std::string_view octets) {
    const auto value = decodeValue(octets);
    const Dictionary* const dictionary = value ? value.value().asDictionary() : nullptr;
    if (dictionary == nullptr) {
        return std::nullopt;
    }
    TopicTable topics;
    for (const auto& [topic, qos] : *dictionary) {
        const std::int64_t* const level = qos.asInteger();
        if (level == nullptr || *level < 0 || *level > 2) {
            return std::nullopt;
        }
        topics.set(topic, static_cast<int>(*level));
    }
    return topics;
}

}  // namespace xel
