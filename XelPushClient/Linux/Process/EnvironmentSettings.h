#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/Endpoints.h"

namespace xel {

/// The variable's value; nothing when it is missing or empty, or the program has raised rights
/// (secure_getenv(3)), whose user must not steer it.
inline std::optional<std::string> environmentVariable(const char* name) {
    const char* value = ::secure_getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return value;
}

/// The endpoints with what the process's environment says about them:
///
///   XELPUSH_BROKER_ADDRESS, XELPUSH_BROKER_PORT, XELPUSH_BROKER_SSL_PORT                    production
///   broker XELPUSH_LOCAL_BROKER_ADDRESS, XELPUSH_LOCAL_BROKER_PORT, XELPUSH_LOCAL_BROKER_SSL_PORT  sandbox
///   broker XELPUSH_REST_URL, XELPUSH_REST_SSL_URL ("%@" takes the application's host) production backend
///   XELPUSH_LOCAL_REST_URL, XELPUSH_LOCAL_REST_SSL_URL                                      sandbox backend
///
/// An empty variable does not count. A port that is no number from 1 to 65535, and a URL under a name with
/// SSL that does not begin with "https://", is an error of the domain "InvalidParameter" that names the
/// variable. A program with raised rights (secure_getenv(3)) ignores all of them.
[[nodiscard]] Result<Endpoints> endpointsOfEnvironment(Endpoints endpoints = {});

/// The file of certificate authorities that XELPUSH_CA_FILE names; empty when it names none.
[[nodiscard]] std::string caFileOfEnvironment();

/// The host's name on the session's bus that XELPUSH_BUS_NAME gives; empty when it gives none.
[[nodiscard]] std::string busNameOfEnvironment();

/// The distributor of push messages that the user wants, by UNIFIEDPUSH_DISTRIBUTOR: its name on the bus.
/// Empty for any.
[[nodiscard]] std::string pushDistributorOfEnvironment();

}  // namespace xel
