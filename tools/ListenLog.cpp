#include "tools/ListenLog.h"

#include <optional>
#include <utility>

namespace xel::tools {

namespace {

/// What stands behind the phrase, up to the end of its line; none when the phrase is not there.
std::optional<std::string_view> behind(std::string_view text, std::string_view phrase) {
    const auto found = text.find(phrase);
    if (found == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = text.substr(found + phrase.size());
    rest = rest.substr(0, rest.find('\n'));
    while (rest.ends_with(' ')) {
        rest.remove_suffix(1);
    }
    return rest;
}

}  // namespace

ListenLog::ListenLog(std::shared_ptr<ListenReport> report, bool verbose, ConnectionFailure connectionFailed)
    : report_(std::move(report)), verbose_(verbose), connectionFailed_(std::move(connectionFailed)) {}

void ListenLog::write(std::string_view line) {
    if (verbose_) {
        report_->progress(line);
    }
    if (const auto id = behind(line, "Ignore duplicate message id ")) {
        report_->duplicateDropped("message", *id);
    } else if (const auto eventId = behind(line, "Ignore duplicate event id ")) {
        report_->duplicateDropped("event", *eventId);
    } else if (const auto instant = behind(line, "Ignore expired message ")) {
        report_->expiredDropped(*instant);
    } else if (const auto cause = behind(line, "]: ConnectionError ")) {
        connectionFailed_(std::string(*cause));
    }
}

}  // namespace xel::tools
