#pragma once

#include <string>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

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
