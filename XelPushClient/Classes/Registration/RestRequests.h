#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Platform/Endpoints.h"
#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

/// Plain requests to the REST backend, beside the installation record.
///
/// Owner: the manager. Thread: the manager's run loop. A block that was given is called also when the manager
/// is gone by then.
class RestRequests {
public:
    using Success = std::function<void(const Value& response)>;
    using Failure = std::function<void(const NSError& error)>;

    struct Surroundings {
        const ClientLife& life;
        const Endpoints& endpoints;
        std::shared_ptr<HTTPTransport> http;
        std::shared_ptr<NSJSONSerialization> json;
        const ClientSettings& settings;
        const LogOutput& log;
    };

    explicit RestRequests(Surroundings surroundings);

    /// Sends one request, always by https. The path is relative to the environment's base URL and carries its
    /// own query. Parameters of a POST become a JSON body, those of a GET the query. Success gets the parsed
    /// answer; failure gets the transport's error, -1011 for a status other than 200 to 299 with the answer's
    /// body as its recovery suggestion, the reader's error for an answer that is not JSON, or, at once and
    /// with nothing sent, "InvalidParameter" for parameters that JSON cannot carry. Without a method nothing
    /// is sent and neither is called.
    void requestMethod(const std::optional<std::string>& method, const std::string& path,
                       const std::optional<Dictionary>& parameters, Success success, const Failure& failure);

private:
    void logAnswer(const Result<Value>& parsed) const;

    Surroundings surroundings_;
    /// Completions come in by it to log, so only while the client is there.
    ClientLife::WayInto<RestRequests> wayIn_;
};

}  // namespace xel
