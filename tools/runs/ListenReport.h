#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/XelPushClient.h"

namespace xel::tools {

/// Prints what a listening client is told: on standard output, one line each, for people or as JSON objects
/// whose "type" says what they are.
class ListenReport {
public:
    explicit ListenReport(bool json) : json_(json) {}

    void registered(const std::string& user, const std::string& installation);
    void state(std::string_view displayString);
    void subscribed(const std::string& channel);
    void message(const PushClientMessage& message);
    void duplicateDropped(std::string_view kind, std::string_view id);
    void expiredDropped(std::string_view expireTime);
    void event(const EventMessage& event);
    void delivery(const DeliveryMessage& delivery);
    void failure(std::string_view what, const NSError& error);

private:
    void print(std::string_view type, const std::string& text, const Dictionary& record);

    bool json_;
};

}  // namespace xel::tools
