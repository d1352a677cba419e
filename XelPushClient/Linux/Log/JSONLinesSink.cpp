#include "XelPushClient/Linux/Log/JSONLinesSink.h"

#include <new>
#include <utility>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Linux/Log/LineWriter.h"

namespace xel {

JSONLinesSink::JSONLinesSink(int descriptor, std::shared_ptr<const Clock> clock)
    : writer_(std::make_unique<LineWriter>(descriptor)), clock_(std::move(clock)) {}

JSONLinesSink::~JSONLinesSink() = default;

void JSONLinesSink::write(std::string_view line) {
    try {
        writeObject({{"type", "log"}, {"line", line}});
    } catch (const std::bad_alloc&) {
        return;  // nowhere to tell about it
    }
}

void JSONLinesSink::record(const DiagnosticRecord& record) {
    try {
        writeObject(diagnosticFields(record));
    } catch (const std::bad_alloc&) {
        return;
    }
}

void JSONLinesSink::writeObject(const Dictionary& fields) {
    Dictionary object{{"time", wholeMillisecondsSince1970(clock_->now())}};
    for (const auto& [key, value] : fields) {
        object.set(key, value);
    }
    writer_->write(printJSON(object, JSONLayout::OneLine) + '\n');
}

}  // namespace xel
