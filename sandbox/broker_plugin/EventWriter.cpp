#include "sandbox/broker_plugin/EventWriter.h"

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {

EventWriter::EventWriter(const std::filesystem::path& file) : store_(file) {}

void EventWriter::writeUnwritten() {
    if (unwritten_) {
        std::visit([this](const auto& record) { store_.keep(record); }, *unwritten_);
        unwritten_.reset();
    }
}

void EventWriter::write(const EventRecord& event) {
    keepOrRemember(event);
}

void EventWriter::write(const ReceiptRecord& receipt) {
    keepOrRemember(receipt);
}

template <typename Record>
void EventWriter::keepOrRemember(const Record& record) {
    writeUnwritten();
    try {
        store_.keep(record);
    } catch (const SandboxError&) {
        unwritten_ = record;
        throw;
    }
}

}  // namespace xel::sandbox
