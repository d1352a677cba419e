#pragma once

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

class ProgressLog;
class VerificationCodes;

/// The verification of users by codes that they were sent:
///
///   GET verification/requestCode/{user}        makes the user's new code; {"result": true}
///   GET verification/verifyCode/{user}/{code}  {"result": whether this was the user's current code}
///
/// A code is shown by the route sandbox/codes only, and never in the log.
class VerificationRoutes final : public RestRoutes {
public:
    VerificationRoutes(VerificationCodes& codes, ProgressLog& log);

    bool handle(const RestRequest& request, const RestResponder& respond) override;

private:
    RestResponse answer(const RestRequest& request);

    VerificationCodes& codes_;
    ProgressLog& log_;
};

}  // namespace xel::sandbox
