#include "XelPushClient/Linux/Store/ValueCodec.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <utility>

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

    // Seven bits an octet, the lowest first; the high bit says that more follow.
    bool number(std::uint64_t value) {
        while (value >= 0x80U) {
            output_.push_back(static_cast<char>(0x80U | (value & 0x7fU)));
            value >>= 7U;
        }
        output_.push_back(static_cast<char>(value));
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
        number(octets.size());
        output_.append(octets);
        return true;
    }

    std::string& output_;
    std::size_t depth_ = 0;
};

class Decoder {
public:
    explicit Decoder(std::string_view octets) : rest_(octets) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    [[nodiscard]] std::optional<char> octet() {
        if (rest_.empty()) {
            return std::nullopt;
        }
        const char first = rest_.front();
        rest_.remove_prefix(1);
        return first;
    }

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
            case Tag::String: return wrap(text(), [](std::string_view octets) { return Value(octets); });
            case Tag::Data:
                return wrap(text(), [](std::string_view octets) {
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

    [[nodiscard]] std::optional<std::uint64_t> number() {
        std::uint64_t result = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const auto next = octet();
            if (!next) {
                return std::nullopt;
            }
            const auto bits = static_cast<std::uint64_t>(static_cast<unsigned char>(*next));
            // A number is written in one way only: whatever else is read is damage, not a number.
            const bool isTooBig = shift == 63 && bits > 1;
            const bool isOverlong = shift > 0 && bits == 0;
            if (isTooBig || isOverlong) {
                return std::nullopt;
            }
            result |= (bits & 0x7fU) << shift;
            if ((bits & 0x80U) == 0) {
                return result;
            }
        }
        return std::nullopt;
    }

    [[nodiscard]] std::optional<Value> integer() {
        return wrap(number(), [](std::uint64_t zigzag) {
            return Value(static_cast<std::int64_t>((zigzag >> 1U) ^ (~(zigzag & 1U) + 1U)));
        });
    }

    [[nodiscard]] std::optional<double> real() {
        if (rest_.size() < 8) {
            return std::nullopt;
        }
        std::uint64_t bits = 0;
        for (unsigned i = 0; i < 8; ++i) {
            bits |= static_cast<std::uint64_t>(static_cast<unsigned char>(rest_[i])) << (8 * i);
        }
        rest_.remove_prefix(8);
        return std::bit_cast<double>(bits);
    }

    [[nodiscard]] std::optional<std::string_view> text() {
        const auto length = number();
        if (!length || *length > rest_.size()) {
            return std::nullopt;
        }
        const auto octets = rest_.substr(0, static_cast<std::size_t>(*length));
        rest_.remove_prefix(octets.size());
        return octets;
    }

    /// A count of things that take `least` octets each, or more. It is believed only as far as there are
    /// octets, so that a damaged one makes nobody allocate.
    [[nodiscard]] std::optional<std::size_t> count(std::size_t least) {
        const auto announced = number();
        if (!announced || *announced > rest_.size() / least) {
            return std::nullopt;
        }
        return static_cast<std::size_t>(*announced);
    }

    [[nodiscard]] std::optional<Value> array(std::size_t depth) {
        const auto items = count(1);
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
        const auto entries = count(2);
        if (!entries || depth >= kDeepestStoredValue) {
            return std::nullopt;
        }
        Dictionary result;
        for (std::size_t i = 0; i < *entries; ++i) {
            const auto key = text();
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

    std::string_view rest_;
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
