#pragma once

#include <variant>
#include <vector>

#include "XelPushClient/Platform/Diagnostics.h"

namespace xel {

/// Keeps a client's diagnostic records for the test to read. Thread: the client's run loop.
class RecordingDiagnostics final : public Diagnostics {
public:
    void record(const DiagnosticRecord& record) override { records_.push_back(record); }

    [[nodiscard]] const std::vector<DiagnosticRecord>& records() const { return records_; }

    /// Those of one kind, in their order.
    template <class Record>
    [[nodiscard]] std::vector<Record> recordsOf() const {
        std::vector<Record> found;
        for (const auto& each : records_) {
            if (const auto* record = std::get_if<Record>(&each)) {
                found.push_back(*record);
            }
        }
        return found;
    }

    void clear() { records_.clear(); }

private:
    std::vector<DiagnosticRecord> records_;
};

}  // namespace xel
