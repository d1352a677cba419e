// A document that there was no memory to read may be read later: it must not pass for an unreadable one.

#include <cstddef>
#include <new>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "tests/torture/Memory.h"

namespace xel::torture {
namespace {

class AnyEntry final : public JSONEntryReader {
    void readEntry(std::string_view /*key*/, JSONEntryValue& value) override { (void)value.take(); }
};

/// Whether the allocation was made, and so failed.
template <class Read>
bool readWithoutMemory(std::size_t allocation, Read read) {
    SimdjsonSerialization json;
    memoryStrokes().begin(allocation, Span::Once);
    bool hasThrown = false;
    bool isRead = false;
    try {
        const InClient reading;
        isRead = read(json);
    } catch (const std::bad_alloc&) {
        hasThrown = true;
    }
    memoryStrokes().heal();
    EXPECT_TRUE(isRead || hasThrown) << "allocation " << allocation;
    EXPECT_TRUE(read(json)) << "allocation " << allocation << ": nor later";
    return memoryStrokes().hasFallen();
}

template <class Read>
void failEachAllocation(Read read) {
    std::size_t allocation = 1;
    while (readWithoutMemory(allocation, read)) {
        ++allocation;
    }
    EXPECT_GT(allocation, 5U) << "the parser's own ones are among them";
}

const std::string& document() {
    static const std::string text =
        R"({"aps":{"alert":"a text that no small string holds","badge":1},"n":[99999999999999999999,2.5],"t":")" +
        std::string(10'000, 'x') + "\"}";
    return text;
}

TEST(JSONWithoutMemory, IsNotTakenForUnreadable) {
    failEachAllocation(
        [](SimdjsonSerialization& json) { return json.JSONObjectWithData(document()).isOk(); });
}

TEST(JSONWithoutMemory, IsNotTakenForUnreadableEntryByEntry) {
    failEachAllocation([](SimdjsonSerialization& json) {
        AnyEntry reader;
        return json.readObjectWithData(document(), reader);
    });
}

}  // namespace
}  // namespace xel::torture
