#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/runs/ClientRun.h"

namespace xel::tools {

struct ChannelsOptions {
    ClientChoice client{};
    std::vector<std::string> added{};
    std::vector<std::string> removed{};
};

/// Shows the channels that a client keeps; connects only to change them.
class ChannelsRun final : public ClientRun {
public:
    ChannelsRun(ChannelsOptions options, ServiceAccess access);
    ~ChannelsRun() override;

private:
    class Listener;

    void start() override;
    void connected() override;
    [[nodiscard]] std::string awaited() const override { return "the broker's answer"; }

    [[nodiscard]] bool isKept(const std::string& channel);
    /// Whether the broker was sent an UNSUBSCRIBE for it.
    [[nodiscard]] bool isAsked(const std::string& channel);
    void goOn();
    void answered(const std::string& channel);
    /// The client has left something out: was it what is waited for?
    void judge(const std::string& refusal);
    void print();

    ChannelsOptions options_;
    std::shared_ptr<Listener> listener_;
    std::set<std::string> waiting_;
    bool isRemoving_ = false;  ///< what is waited for is to go, not to come
};

}  // namespace xel::tools
