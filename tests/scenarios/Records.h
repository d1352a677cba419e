#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Classes/ClientExtensions.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Testing/FakeBroker.h"
#include "tests/scenarios/Journal.h"

namespace xel::scenario {

/// Notes what the client hands to the parts that a host may leave out.
class RecordingExtensions final : public RichNotificationPresenter {
public:
    explicit RecordingExtensions(Journal& done) : done_(done) {}

    void showLocalRichNotificationWithPayload(const Dictionary& payload) override {
        done_.record({"shown-richly", {{"payload", printJSON(payload, JSONLayout::OneLine)}}});
    }

private:
    Journal& done_;
};

/// How a packet that the broker received reads in a journal.
[[nodiscard]] JournalEntry entryOf(const FakeBrokerRecord& record);

}  // namespace xel::scenario
