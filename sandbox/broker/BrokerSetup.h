#pragma once

#include <string>

#include "sandbox/broker/Broker.h"
#include "sandbox/state/CertificateAuthority.h"

namespace xel::sandbox {

/// One line of mosquitto's password file: "{user}:$7${iterations}${salt}${hash}", the hash by PBKDF2 (RFC
/// 8018) with HMAC-SHA-512, salt and hash in base64. Throws SandboxError when OpenSSL fails.
std::string makePasswordLine(const std::string& user, const std::string& password);

class StateFolder;
struct Credentials;
struct SandboxOptions;

/// How to start the broker, but for its ports; writes its password file. Throws SandboxError when the address
/// is not on the loopback interface, or the broker or its plugin is missing.
Broker::Settings prepareBroker(const SandboxOptions& options, const StateFolder& folder,
                               const Credentials& credentials, const ServerCertificateFiles& certificate);

/// Fills in the two ports: those of the options, or free ones for 0. Throws PortTakenError or SandboxError.
void claimBrokerPorts(const SandboxOptions& options, BrokerConfiguration& configuration);

}  // namespace xel::sandbox
