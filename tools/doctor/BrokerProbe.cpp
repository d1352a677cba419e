#include "tools/doctor/BrokerProbe.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include <unistd.h>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "tools/doctor/ProbeConnection.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kAnswerTime = 5s;
constexpr auto kMoment = 1s;
constexpr std::uint16_t kPacketId = 1;
constexpr int kQoS = 1;
constexpr int kFewDays = 14;

constexpr const char* kLookUp = "name look-up";
constexpr const char* kTCP = "TCP";
constexpr const char* kTLS = "TLS";
constexpr const char* kConnack = "CONNACK";
constexpr const char* kSubscribe = "SUBSCRIBE";

std::string subscribePacket(std::span<const std::string> topics) {
    std::vector<std::pair<std::string_view, int>> wanted;
    for (const std::string& topic : topics) {
        wanted.emplace_back(topic, kQoS);
    }
    std::string packet;
    return appendSubscribe(packet, kPacketId, wanted) ? packet : std::string();
}

/// The next packet that is no message.
ProbePacket readAnswer(ProbeConnection& connection, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    ProbePacket packet;
    do {
        const auto left = deadline - std::chrono::steady_clock::now();
        packet = connection.read(std::chrono::ceil<std::chrono::milliseconds>(left));
    } while (packet.reading == ProbeReading::Packet && packet.type == MQTTPacketType::Publish);
    return packet;
}

std::string restartAdvice(const ServiceAccess& access) {
    return access.production ? "ask whoever runs the service whether this port is open"
                             : "is the service running? start it: xelpush sandbox";
}

/// One connection, and what was found on the way to it.
class Walk {
public:
    explicit Walk(const BrokerProbeOptions& options)
        : options_(options),
          address_(brokerAddress(options.access.endpoints, options.access.appId, !options.usingPlainMQTT)),
          connection_(options.access.caFile, !options.usingPlainMQTT) {
        // A device of its own: a client id that is in use would end the connection of its user.
        parameters_.clientId = options_.access.appId + "/" + options_.user + "/" + deviceId();
        parameters_.userName = options_.access.brokerUser;
        parameters_.password = options_.access.brokerPassword;
        parameters_.cleanSession = true;
    }

    Findings run() {
        const bool isReached = lookUpName() && connect() && (options_.usingPlainMQTT || shakeHands());
        if (isReached && askForConnack()) {
            subscribe();
        }
        skipTheRest();
        return std::move(findings_);
    }

private:
    bool lookUpName() {
        std::string reason;
        addresses_ = lookUp(address_.host, address_.port, reason);
        if (addresses_.empty()) {
            return fail(kLookUp, "'" + address_.host + "': " + reason,
                        "check the broker's address and this machine's name resolution",
                        ExitCode::CannotConnect);
        }
        std::string text = address_.host + " is " + addresses_.front().text;
        for (std::size_t i = 1; i < addresses_.size(); ++i) {
            text += ", " + addresses_[i].text;
        }
        return pass(kLookUp, std::move(text));
    }

    bool connect() {
        std::string reasons;
        for (const HostAddress& address : addresses_) {
            const std::string reason = connection_.connect(address);
            if (reason.empty()) {
                reached_ = address;
                return pass(kTCP, address.text + " port " + std::to_string(address_.port));
            }
            reasons += (reasons.empty() ? "" : "; ") + address.text + " port " +
                       std::to_string(address_.port) + ": " + reason;
        }
        return fail(kTCP, reasons, restartAdvice(options_.access), ExitCode::CannotConnect);
    }

    bool shakeHands() {
        const std::string reason = connection_.shakeHands(address_.host);
        if (!reason.empty()) {
            return fail(kTLS, reason,
                        options_.access.caFile.empty()
                            ? "name the service's certificate authority in XELPUSH_CA_FILE"
                            : "is " + options_.access.caFile + " the service's certificate authority?",
                        ExitCode::CannotConnect);
        }
        const int days = connection_.tls().daysLeft();
        return pass(kTLS, connection_.tls().version() + ", certificate for " + address_.host +
                              " expires in " + std::to_string(days) + " days" +
                              (days < kFewDays ? ": have it renewed soon" : ""));
    }

    bool askForConnack() {
        if (!isSendableConnect(parameters_)) {
            return fail(kConnack, "the user id or a credential is no valid text", "check both",
                        ExitCode::Usage);
        }
        const auto code = connection_.introduce(parameters_);
        if (!code) {
            return fail(kConnack, "no answer to CONNECT", "is this port a broker's?",
                        ExitCode::CannotConnect);
        }
        if (*code != 0) {
            return fail(kConnack, describeRefusal(*code),
                        "check XELPUSH_BROKER_USER and XELPUSH_BROKER_PASSWORD",
                        ExitCode::CredentialsRefused);
        }
        return pass(kConnack, "accepted as user '" + options_.user + "'");
    }

    void subscribe() {
        std::vector<std::string> topics = options_.topics;
        if (const auto own = brokerTopicForDevice({options_.access.appId, options_.user, deviceId()})) {
            topics.push_back(*own);
        }
        const SubscribeOutcome outcome = watchSubscribe(connection_, topics);
        if (outcome.isEnded) {
            const auto culprit = findEndingTopic(topics, [&](auto some) { return endsOn(some); });
            fail(kSubscribe,
                 "the broker ends the connection " +
                     (culprit ? "on " + shown({*culprit}) : "on all of them together"),
                 "have the client forget it: xelpush channels --remove; or ask whoever runs the broker",
                 ExitCode::Failure);
        } else if (!outcome.isAnswered) {
            fail(kSubscribe, "no answer", "ask whoever runs the broker", ExitCode::Failure);
        } else if (!outcome.refused.empty()) {
            fail(kSubscribe, "the broker does not grant " + shown(outcome.refused),
                 "may this user have it? ask whoever runs the broker", ExitCode::Failure);
        } else {
            pass(kSubscribe, std::to_string(topics.size()) + " granted, and the connection stays");
            std::string goodbye;
            appendDisconnect(goodbye);
            (void)connection_.write(goodbye);
        }
    }

    /// Whether the broker ends a connection of its own on these topics.
    bool endsOn(std::span<const std::string> topics) const {
        ProbeConnection connection(options_.access.caFile, !options_.usingPlainMQTT);
        return connection.connect(reached_).empty() && connection.shakeHands(address_.host).empty() &&
               connection.introduce(parameters_) == 0 && watchSubscribe(connection, topics).isEnded;
    }

    /// As JSON: some are ended on for a character that no terminal shows.
    static std::string shown(const std::vector<std::string>& topics) {
        std::string text;
        for (const std::string& topic : topics) {
            text += (text.empty() ? "" : ", ") + printJSON(Value(topic), JSONLayout::OneLine);
        }
        return text;
    }

    static std::string deviceId() { return "doctor-" + std::to_string(::getpid()); }

    static std::string describeRefusal(std::uint8_t code) {
        static constexpr std::array<const char*, 6> kReasons{"",
                                                             "the protocol version",
                                                             "the client id",
                                                             "the broker is unavailable",
                                                             "bad user name or password",
                                                             "not authorized"};
        return "refused with code " + std::to_string(code) + ": " +
               (code < kReasons.size() ? kReasons.at(code) : "unknown");
    }

    bool pass(const char* check, std::string text) {
        findings_.push_back(foundWell(check, std::move(text)));
        return true;
    }
    bool fail(const char* check, std::string text, std::string advice, ExitCode code) {
        findings_.push_back(foundFailed(check, std::move(text), std::move(advice), code));
        return false;
    }
    void skipTheRest() {
        const std::string needed = findings_.back().check;
        bool isBehind = false;
        for (const char* check : {kLookUp, kTCP, kTLS, kConnack, kSubscribe}) {
            if (isBehind && !(options_.usingPlainMQTT && check == kTLS)) {
                findings_.push_back(foundSkipped(check, needed));
            }
            isBehind = isBehind || check == needed;
        }
    }

    const BrokerProbeOptions& options_;
    BrokerAddress address_;
    std::vector<HostAddress> addresses_;
    HostAddress reached_;
    MQTTSessionParameters parameters_;
    ProbeConnection connection_;
    Findings findings_;
};

}  // namespace

SubscribeOutcome watchSubscribe(ProbeConnection& connection, std::span<const std::string> topics) {
    SubscribeOutcome outcome;
    const std::string packet = subscribePacket(topics);
    if (packet.empty()) {
        return outcome;
    }
    const ProbePacket answer =
        connection.write(packet) ? readAnswer(connection, kAnswerTime) : ProbePacket{ProbeReading::End};
    outcome.isEnded = answer.reading == ProbeReading::End;
    outcome.isAnswered = answer.reading == ProbeReading::Packet && answer.type == MQTTPacketType::Suback &&
                         answer.returnCodes.size() == topics.size();
    if (!outcome.isAnswered) {
        return outcome;
    }
    for (std::size_t i = 0; i < topics.size(); ++i) {
        if (answer.returnCodes[i] == kMQTTSubscribeFailure) {
            outcome.refused.push_back(topics[i]);
        }
    }
    outcome.isEnded = readAnswer(connection, kMoment).reading == ProbeReading::End;
    return outcome;
}

std::optional<std::string> findEndingTopic(std::span<const std::string> topics,
                                           const std::function<bool(std::span<const std::string>)>& ends) {
    while (topics.size() > 1) {
        const auto half = topics.first(topics.size() / 2);
        topics = ends(half) ? half : topics.subspan(half.size());
    }
    if (topics.empty() || !ends(topics)) {
        return std::nullopt;
    }
    return topics.front();
}

Findings probeBroker(const BrokerProbeOptions& options) {
    return Walk(options).run();
}

}  // namespace xel::tools
