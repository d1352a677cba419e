#pragma once

#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// Takes the entries of a JSON object, one after the other.
class JSONEntryReader {
public:
    virtual ~JSONEntryReader() = default;

    /// The value is the reader's to move from; the key is valid during the call only.
    virtual void readEntry(std::string_view key, Value& value) = 0;
};

/// Reads JSON documents (RFC 8259).
///
/// Contract: strict UTF-8, one document and nothing behind it, at most 64 levels of nesting; whatever breaks
/// a rule is an error, never an exception and never a half-read value. Integers that fit 64 bits with sign
/// come as integers, other numbers as doubles; a key that is given twice keeps the last value. Every kind of
/// value may stand at the top. Thread: the machine's run loop.
class NSJSONSerialization {
public:
    virtual ~NSJSONSerialization() = default;

    [[nodiscard]] virtual Result<Value> JSONObjectWithData(std::string_view data) = 0;

    /// Reads a document whose top is an object, and hands its entries over in the document's order, for a
    /// reader that decodes them at once and needs no dictionary of them. A key that is given twice is handed
    /// over twice: the last value counts. Answers false, perhaps after some entries, for everything else.
    [[nodiscard]] virtual bool readObjectWithData(std::string_view data, JSONEntryReader& reader);
};

}  // namespace xel
