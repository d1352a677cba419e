#include "sandbox/rest/RestRoutes.h"

namespace xel::sandbox {

RestResponse makeNoObjectResponse() {
    return makeErrorResponse(400, "the body is not a JSON object");
}

RestResponse makeMethodResponse(const std::string& allowed) {
    RestResponse response = makeErrorResponse(405, "this route knows only " + allowed);
    response.allow = allowed;
    return response;
}

}  // namespace xel::sandbox
