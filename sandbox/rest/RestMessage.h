#pragma once

#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/relay/Json.h"

namespace xel::sandbox {

/// One request to the REST backend, taken apart. Path and query are percent-decoded (RFC 3986).
struct RestRequest {
    std::string method;             ///< in capitals
    std::vector<std::string> path;  ///< the segments of the path, without empty ones
    std::map<std::string, std::string> query;
    std::string body;
};

/// The answer to a request: always JSON.
struct RestResponse {
    unsigned status{200};
    Json body = Json::object();
    std::string allow{};  ///< for status 405: the methods that are allowed
};

/// Takes the answer; called once, from any thread.
using RestResponder = std::function<void(RestResponse response)>;

/// Handles a request: calls `respond`, now or later. Called on the server's thread.
using RestHandler = std::function<void(RestRequest request, RestResponder respond)>;

/// {"error": {"status": ..., "message": ...}} with that status.
RestResponse makeErrorResponse(unsigned status, const std::string& message);

/// The path and query that a request's target spells. A broken percent-escape stands for itself.
void parseTarget(std::string_view target, RestRequest& request);

/// The time as HTTP's "Date" field has it (RFC 9110, section 5.6.7), whatever the process's locale is.
std::string formatHttpDate(std::time_t time);

/// One subject of the REST backend: some of its routes, for requests that carry the access token.
class RestRoutes {
public:
    RestRoutes() = default;
    virtual ~RestRoutes() = default;
    RestRoutes(const RestRoutes&) = delete;
    RestRoutes& operator=(const RestRoutes&) = delete;

    /// Responds to the request and returns true; false, with nothing done, when no route of this subject has
    /// its path. Called on the REST server's thread.
    virtual bool handle(const RestRequest& request, const RestResponder& respond) = 0;
};

/// What a body that is no JSON object is answered with.
RestResponse makeNoObjectResponse();

/// The answer to a method that the route has not.
RestResponse makeMethodResponse(const std::string& allowed);

}  // namespace xel::sandbox
