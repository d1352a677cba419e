#include "tools/ChannelsRun.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "tools/Output.h"

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
    void pushClientManagerDidFailInSubscribe(const NSError& error) override { run_.refused(error); }
    void pushClientManagerDidFailInUnsubscribe(const NSError& error) override { run_.refused(error); }

private:
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
            waiting_.insert(nameOf(channel));
            push().unsubscribe(channel);
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

void ChannelsRun::refused(const NSError& error) {
    end(ExitCode::Usage, error.localizedDescription());
}

void ChannelsRun::print() {
    for (const std::string& channel : push().deviceSubscriptions()) {
        printLine(choice().json, {{"channel", channel}}, channel);
    }
}

}  // namespace xel::tools
