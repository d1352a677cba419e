#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xel {

enum class PublicationKind;

/// Reads the topics of received publications, which come in runs: what was read last is kept.
class TopicReader {
public:
    struct Reading {
        PublicationKind kind{};
        /// As the application names it; missing for a topic that has none.
        std::optional<std::string> channel;
    };

    /// Valid until the next call.
    [[nodiscard]] const Reading& read(std::string_view topic, const std::optional<std::string>& appId);

private:
    bool hasRead_ = false;
    std::string topic_;
    std::optional<std::string> appId_;
    Reading reading_;
};

}  // namespace xel
