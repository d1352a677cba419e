#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

bool NSJSONSerialization::readObjectWithData(std::string_view data, JSONEntryReader& reader) {
    auto document = JSONObjectWithData(data);
    Dictionary* object = document ? document.value().asDictionary() : nullptr;
    if (object == nullptr) {
        return false;
    }
    for (auto& [key, value] : object->takeEntries()) {
        reader.readEntry(key, value);
    }
    return true;
}

}  // namespace xel
