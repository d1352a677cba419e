#include "tools/BrokerProbe.h"

#include <array>
#include <chrono>
#include <optional>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/SendableNames.h"
#include "tools/ProbeSocket.h"
#include "tools/ProbeTLS.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kProbePatience = 5s;
constexpr int kFewDays = 14;
constexpr std::size_t kLargestConnack = 1024;

constexpr const char* kLookUp = "name look-up";
constexpr const char* kTCP = "TCP";
constexpr const char* kTLS = "TLS";
constexpr const char* kConnack = "CONNACK";

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
          tls_(options.access.caFile) {}

    Findings run() {
        const bool isReached = lookUpName() && connect() && (options_.usingPlainMQTT || shakeHands());
        if (isReached) {
            askForConnack();
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
            const std::string reason = socket_.connect(address, kProbePatience);
            if (reason.empty()) {
                return pass(kTCP, address.text + " port " + std::to_string(address_.port));
            }
            reasons += (reasons.empty() ? "" : "; ") + address.text + " port " +
                       std::to_string(address_.port) + ": " + reason;
        }
        return fail(kTCP, reasons, restartAdvice(options_.access), ExitCode::CannotConnect);
    }

    bool shakeHands() {
        const std::string reason = tls_.shakeHands(socket_.descriptor(), address_.host);
        if (!reason.empty()) {
            return fail(kTLS, reason,
                        options_.access.caFile.empty()
                            ? "name the service's certificate authority in XELPUSH_CA_FILE"
                            : "is " + options_.access.caFile + " the service's certificate authority?",
                        ExitCode::CannotConnect);
        }
        const int days = tls_.daysLeft();
        return pass(kTLS, tls_.version() + ", certificate for " + address_.host + " expires in " +
                              std::to_string(days) + " days" +
                              (days < kFewDays ? ": have it renewed soon" : ""));
    }

    void askForConnack() {
        MQTTSessionParameters parameters;
        // A device of its own: a client id that is in use would end the connection of its user.
        parameters.clientId =
            options_.access.appId + "/" + options_.user + "/doctor-" + std::to_string(::getpid());
        parameters.userName = options_.access.brokerUser;
        parameters.password = options_.access.brokerPassword;
        parameters.cleanSession = true;
        std::string packet;
        if (!isSendableConnect(parameters)) {
            fail(kConnack, "the user id or a credential is no valid text", "check both", ExitCode::Usage);
            return;
        }
        appendConnect(packet, parameters);
        const std::optional<std::uint8_t> code = write(packet) ? readConnack() : std::nullopt;
        if (!code) {
            fail(kConnack, "no answer to CONNECT", "is this port a broker's?", ExitCode::CannotConnect);
        } else if (*code == 0) {
            pass(kConnack, "accepted as user '" + options_.user + "'");
            std::string goodbye;
            appendDisconnect(goodbye);
            write(goodbye);
        } else {
            fail(kConnack, describeRefusal(*code), "check XELPUSH_BROKER_USER and XELPUSH_BROKER_PASSWORD",
                 ExitCode::CredentialsRefused);
        }
    }

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

    bool write(std::string_view octets) {
        if (!options_.usingPlainMQTT) {
            return tls_.write(octets);
        }
        return ::send(socket_.descriptor(), octets.data(), octets.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(octets.size());
    }

    std::string read() {
        if (!options_.usingPlainMQTT) {
            return tls_.read();
        }
        std::array<char, 256> octets{};
        const ssize_t length = ::recv(socket_.descriptor(), octets.data(), octets.size(), 0);
        return length > 0 ? std::string(octets.data(), static_cast<std::size_t>(length)) : std::string();
    }

    std::optional<std::uint8_t> readConnack() {
        std::string received;
        MQTTDecoder decoder(kLargestConnack);
        while (true) {
            const std::string more = read();
            received += more;
            std::string_view input = received;
            MQTTInboundPacket packet;
            switch (decoder.decode(input, packet)) {
                case MQTTDecoding::Complete:
                    return packet.type == MQTTPacketType::Connack ? std::optional(packet.returnCode)
                                                                  : std::nullopt;
                case MQTTDecoding::Malformed: return std::nullopt;
                case MQTTDecoding::Incomplete: break;
            }
            if (more.empty()) {
                return std::nullopt;
            }
        }
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
        for (const char* check : {kLookUp, kTCP, kTLS, kConnack}) {
            if (isBehind && !(options_.usingPlainMQTT && check == kTLS)) {
                findings_.push_back(foundSkipped(check, needed));
            }
            isBehind = isBehind || check == needed;
        }
    }

    const BrokerProbeOptions& options_;
    BrokerAddress address_;
    std::vector<HostAddress> addresses_;
    ProbeSocket socket_;
    ProbeTLS tls_;
    Findings findings_;
};

}  // namespace

Findings probeBroker(const BrokerProbeOptions& options) {
    return Walk(options).run();
}

}  // namespace xel::tools
