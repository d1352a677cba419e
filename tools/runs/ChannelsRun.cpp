#include "tools/runs/ChannelsRun.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

/// "public/news" and "news" are the same channel; the client says "news".
std::string nameOf(const std::string& channel) {
    constexpr std::string_view kPublic = "public/";
    return channel.starts_with(kPublic) ? channel.substr(kPublic.size()) : channel;
}

}  // namespace

class ChannelsRun::Listener final : public PushClientManagerDelegate {
public:
    explicit Listener(ChannelsRun& run) : run_(run) {}

    void pushClientManagerDidSubscribed(const std::string& channel) override { run_.answered(channel); }
    void pushClientManagerDidUnsubscribed(const std::string& channel) override { run_.answered(channel); }
    void pushClientManagerDidFailInSubscribe(const NSError& error) override { refused(error); }
    void pushClientManagerDidFailInUnsubscribe(const NSError& error) override { refused(error); }

private:
    // Posted: what the client gives up with the report is gone behind it.
    void refused(const NSError& error) {
        run_.post([&run = run_, text = error.localizedDescription()] { run.judge(text); });
    }

    ChannelsRun& run_;
};

ChannelsRun::ChannelsRun(ChannelsOptions options, ServiceAccess access)
    : ClientRun(options.client, std::move(access)),
      options_(std::move(options)),
      listener_(std::make_shared<Listener>(*this)) {}

ChannelsRun::~ChannelsRun() = default;

void ChannelsRun::start() {
    if (options_.added.empty() && options_.removed.empty()) {
        if (push().userId()) {
            print();
        } else {
            printProgress("this client has registered no user yet");
        }
        end();
        return;
    }
    for (const std::string& channel : options_.added) {
        if (!isKept(channel)) {
            waiting_.insert(nameOf(channel));
        }
    }
    push().addDelegate(listener_);
    // The new channels go out together, when it connects.
    registerUser(options_.added);
}

void ChannelsRun::connected() {
    goOn();
}

// One at a time: the answer to each is told by its name.
void ChannelsRun::goOn() {
    while (waiting_.empty() && !options_.removed.empty()) {
        const std::string channel = std::move(options_.removed.back());
        options_.removed.pop_back();
        if (isKept(channel)) {
            isRemoving_ = true;
            push().unsubscribe(channel);
            // A name that no broker is sent is gone without an answer.
            if (isAsked(channel) || isKept(channel)) {
                waiting_.insert(nameOf(channel));
            }
        }
    }
    if (waiting_.empty()) {
        print();
        end();
    }
}

bool ChannelsRun::isKept(const std::string& channel) {
    const std::vector<std::string> kept = push().deviceSubscriptions();
    return std::any_of(kept.begin(), kept.end(),
                       [&](const std::string& each) { return nameOf(each) == nameOf(channel); });
}

void ChannelsRun::answered(const std::string& channel) {
    if (waiting_.erase(nameOf(channel)) > 0) {
        goOn();
    }
}

// What else the client gives up at its connect, as a name that no broker is sent, is none of this run's
// business.
void ChannelsRun::judge(const std::string& refusal) {
    const bool isToBeKept = !isRemoving_;
    if (std::any_of(waiting_.begin(), waiting_.end(),
                    [&](const std::string& channel) { return isKept(channel) != isToBeKept; })) {
        end(ExitCode::Usage, refusal);
    }
}

bool ChannelsRun::isAsked(const std::string& channel) {
    const auto& requests = push().unSubscribeMsgIds();
    return std::any_of(requests.begin(), requests.end(), [&](const auto& request) {
        const auto& [packetId, topic] = request;
        return packetId != 0 && nameOf(getChannelFromTopic(topic).value_or("")) == nameOf(channel);
    });
}

void ChannelsRun::print() {
    for (const std::string& channel : push().deviceSubscriptions()) {
        printLine(choice().json, {{"channel", channel}}, channel);
    }
}

}  // namespace xel::tools
