#pragma once

#include <optional>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// The value of an entry, for a reader who knows what he wants of it: no `Value` is made but by `take`.
class JSONEntryValue {
public:
    virtual ~JSONEntryValue() = default;

    /// Missing when it is no text; valid only while the entry is read.
    [[nodiscard]] virtual std::optional<std::string_view> text() const = 0;
    /// Missing when it is no number; a boolean is none.
    [[nodiscard]] virtual std::optional<double> number() const = 0;
    /// Whether it is true, or a number other than 0.
    [[nodiscard]] virtual bool truth() const = 0;
    /// The whole value, once.
    [[nodiscard]] virtual Value take() = 0;
};

/// Receives the entries of a JSON object one by one.
class JSONEntryReader {
public:
    virtual ~JSONEntryReader() = default;

    /// Key and value are valid only during the call.
    virtual void readEntry(std::string_view key, JSONEntryValue& value) = 0;
};

/// Reads JSON documents (RFC 8259).
///
/// Contract: strict UTF-8, one document and nothing behind it, at most 64 levels of nesting; whatever
/// breaks a rule is an error, never an exception and never a half-read value; `std::bad_alloc` says that
/// there was no memory to read it. Integers that fit 64 bits with sign come as integers, other numbers as
/// doubles; a key that is given twice keeps the last value. Every kind of value may stand at the top.
/// Thread: the machine's run loop.
class NSJSONSerialization {
public:
    virtual ~NSJSONSerialization() = default;

    [[nodiscard]] virtual Result<Value> JSONObjectWithData(std::string_view data) = 0;

    /// Reads a document whose top level is an object and passes its entries on in order, for a reader that
    /// decodes them at once and needs no dictionary. A key that is given twice is passed on twice: the
    /// last value counts. False, perhaps after some entries, when the document is anything else.
    [[nodiscard]] virtual bool readObjectWithData(std::string_view data, JSONEntryReader& reader);
};

}  // namespace xel
