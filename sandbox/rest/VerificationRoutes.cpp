#include "sandbox/rest/VerificationRoutes.h"

#include <string>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/store/VerificationCodes.h"

namespace xel::sandbox {

VerificationRoutes::VerificationRoutes(VerificationCodes& codes, ProgressLog& log)
    : codes_(codes), log_(log) {}

bool VerificationRoutes::handle(const RestRequest& request, const RestResponder& respond) {
    const auto& path = request.path;
    if (path.size() < 3 || path[1] != "verification" ||
        (path[2] != "requestCode" && path[2] != "verifyCode")) {
        return false;
    }
    respond(answer(request));
    return true;
}

RestResponse VerificationRoutes::answer(const RestRequest& request) {
    const auto& path = request.path;
    const bool isRequest = path[2] == "requestCode";
    if (path.size() != (isRequest ? 4U : 5U)) {
        return makeErrorResponse(400, isRequest
                                          ? "the path must name a user: verification/requestCode/{userId}"
                                          : "the path must name a user and a code: "
                                            "verification/verifyCode/{userId}/{code}");
    }
    if (request.method != "GET") {
        return makeMethodResponse("GET");
    }
    const std::string user = "user '" + withoutControlCharacters(path[3]) + "'";
    if (isRequest) {
        codes_.request(path[3]);
        log_.write("a verification code for " + user + " was made; it is shown by: xelpush sandbox codes");
        return RestResponse{200, Json{{"result", true}}};
    }
    const bool isRight = codes_.verify(path[3], path[4]);
    log_.write(user + (isRight ? " was verified" : " gave a wrong verification code"));
    return RestResponse{200, Json{{"result", isRight}}};
}

}  // namespace xel::sandbox
