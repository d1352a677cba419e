#include "sandbox/push/PushDesk.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/push/PushPayload.h"
#include "sandbox/push/PushToken.h"
#include "sandbox/store/InstallationStore.h"

namespace xel::sandbox {
namespace {

constexpr std::size_t kRemembered = 4096;
constexpr unsigned kNotFound = 404;
constexpr unsigned kGone = 410;

bool isLive(const Json& message) {
    const auto found = message.find("live");
    return found != message.end() && found->is_boolean() && found->get<bool>();
}

// Milliseconds since 1970, from a number or its decimal text.
std::optional<double> readInstant(const Json& message, const char* key) {
    const auto found = message.find(key);
    if (found == message.end() || !(found->is_number() || found->is_string())) {
        return std::nullopt;
    }
    if (found->is_number()) {
        return found->get<double>();
    }
    const auto text = found->get<std::string>();
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

PushDesk::PushDesk(InstallationStore& installations, ProgressLog& log, Post post, Clock clock)
    : installations_(installations), log_(log), post_(std::move(post)), clock_(std::move(clock)) {}

void PushDesk::messageWaits(const std::string& user, const std::string& device, std::string_view message) {
    const std::optional<Json> record = installations_.find(device);
    // A session of a former user of the device lives on at the broker: what waits there is not for this one.
    if (!record || findText(*record, "userId").value_or("") != user) {
        return;
    }
    const std::string hexadecimal = findText(*record, "deviceToken").value_or("");
    const std::optional<PushToken> token = parsePushToken(hexadecimal);
    const std::optional<Json> content = token ? parseJsonObject(message) : std::nullopt;
    if (content && !isLive(*content) && remember(device, findText(*content, "id").value_or(""))) {
        order(device, hexadecimal, *token, *content);
    }
}

void PushDesk::order(const std::string& device, const std::string& hexadecimal, const PushToken& token,
                     const Json& message) {
    const std::string id = withoutControlCharacters(findText(message, "id").value_or(""));
    const std::chrono::seconds life = lifeOf(message);
    if (life <= std::chrono::seconds::zero()) {
        return;
    }
    const std::optional<PushEndpoint> endpoint = parseLoopbackEndpoint(token.endpoint);
    if (!endpoint) {
        log_.write("no push message for device " + device +
                   ": the local push service posts to http endpoints of this machine only");
        return;
    }
    if (waiting_.size() >= kMostWaiting) {
        log_.write("no push message for device " + device + ": too many are on their way");
        return;
    }
    try {
        std::string body =
            encryptPushMessage(token.receiver, makePushSenderKeys(), composePushPayload(message));
        waiting_.push_back({device, hexadecimal, id, {*endpoint, std::move(body), life}});
    } catch (const SandboxError& error) {
        log_.write("no push message for device " + device + ": " + error.what());
        return;
    }
    goOn();
}

bool PushDesk::remember(const std::string& device, const std::string& messageId) {
    std::string key = messageId + '/' + device;
    if (!ordered_.insert(key).second) {
        return false;
    }
    orderedInTurn_.push_back(std::move(key));
    if (orderedInTurn_.size() > kRemembered) {
        ordered_.erase(orderedInTurn_.front());
        orderedInTurn_.pop_front();
    }
    return true;
}

std::chrono::seconds PushDesk::lifeOf(const Json& message) const {
    const std::optional<double> expiry = readInstant(message, "expireTime");
    if (!expiry) {
        return kLongestLife;
    }
    const double seconds = (*expiry - static_cast<double>(clock_())) / 1000;
    // Rounded up: a message that lives for less than a second lives. A number that is none compares false.
    if (!(seconds > 0)) {
        return std::chrono::seconds::zero();
    }
    const auto longest = static_cast<double>(kLongestLife.count());
    return std::chrono::seconds(static_cast<std::int64_t>(std::ceil(std::min(seconds, longest))));
}

void PushDesk::goOn() {
    if (isBusy_ || waiting_.empty()) {
        return;
    }
    isBusy_ = true;
    Order next = std::move(waiting_.front());
    waiting_.pop_front();
    const OutgoingPush push = std::move(next.push);
    post_(push, [this, next](const PushAnswer& answer) {
        isBusy_ = false;
        answered(next, answer);
        goOn();
    });
}

void PushDesk::answered(const Order& order, const PushAnswer& answer) {
    const std::string what = "push message for device " + order.device + ", of message " + order.messageId;
    if (answer.status >= 200 && answer.status < 300) {
        log_.write(what + ": sent");
    } else if (answer.status == kNotFound || answer.status == kGone) {
        // Such an endpoint takes nothing ever again (RFC 8030 section 7.3).
        installations_.forgetPushToken(order.device, order.token);
        log_.write(what + ": its endpoint is gone, and the token forgotten");
    } else if (answer.status != 0) {
        log_.write(what + ": the endpoint answers " + std::to_string(answer.status));
    } else {
        log_.write(what + ": " + withoutControlCharacters(answer.failure));
    }
}

}  // namespace xel::sandbox
