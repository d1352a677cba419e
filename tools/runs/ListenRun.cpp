#include "tools/runs/ListenRun.h"

#include <utility>
#include <variant>

namespace xel::tools {

/// Hands the client's outcomes to the run.
class ListenRun::Listener final : public PushClientManagerDelegate {
public:
    explicit Listener(ListenRun& run) : run_(run) {}

    void pushClientManagerDidSubscribed(const std::string& channel) override {
        run_.report_.subscribed(channel);
    }
    void pushClientManagerDidFailInSubscribe(const NSError& error) override {
        run_.report_.failure("subscribing", error);
    }
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        run_.report_.message(message);
        run_.arrived();
    }
    void pushClientManagerDidReceivedEventMessage(const EventMessage& event) override {
        run_.report_.event(event);
        run_.arrived();
    }
    void pushClientManagerDidReceivedDelivery(const DeliveryMessage& delivery) override {
        run_.report_.delivery(delivery);
        run_.arrived();
    }

private:
    ListenRun& run_;
};

ListenRun::ListenRun(ListenOptions options, ServiceAccess access)
    : ClientRun(options.client, std::move(access)),
      options_(std::move(options)),
      report_(options_.client.json),
      listener_(std::make_shared<Listener>(*this)) {}

ListenRun::~ListenRun() = default;

void ListenRun::start() {
    push().setDeliveryChannelEnabeled(options_.hearsDeliveries);
    push().addDelegate(listener_);
    registerUser(options_.channels);
    for (const std::string& event : options_.events) {
        push().subscribeEvent(event, {.installationId = options_.installation});
    }
}

void ListenRun::registered() {
    report_.registered(choice().user, push().deviceId().value_or(""));
}

void ListenRun::registrationFailed(const NSError& error) {
    report_.failure("registering", error);
}

void ListenRun::stateChanged() {
    report_.state(push().connectionStateString());
}

void ListenRun::recorded(const DiagnosticRecord& record) {
    const auto* dropped = std::get_if<PublicationDropped>(&record);
    if (dropped == nullptr) {
        return;
    }
    if (dropped->reason == PublicationDropReason::Duplicate) {
        report_.duplicateDropped(dropped->kind == PublicationKind::Event ? "event" : "message",
                                 dropped->id.value_or(""));
    } else if (dropped->reason == PublicationDropReason::Expired && dropped->expireTime) {
        report_.expiredDropped(describeDate(*dropped->expireTime));
    }
}

void ListenRun::arrived() {
    ++arrived_;
    if (options_.count && arrived_ >= *options_.count) {
        end();
    }
}

void ListenRun::timeIsUp() {
    if (endUnlessConnected()) {
        return;
    }
    if (options_.count) {
        end(ExitCode::TimeOut, "the time is up with " + std::to_string(arrived_) + " of " +
                                   std::to_string(*options_.count) + " received");
    } else {
        end();
    }
}

}  // namespace xel::tools
