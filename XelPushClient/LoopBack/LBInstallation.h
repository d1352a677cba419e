#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/LoopBack/LBRESTAdapter.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

/// What the backend keeps of one installation of the application. Missing values are left out of the record.
struct LBInstallationFields {
    Data deviceToken;                           ///< sent in hexadecimal
    std::optional<std::string> registrationId;  ///< the installation to update; missing: a new one
    std::optional<std::string> appId;
    std::optional<std::string> appVersion;
    std::optional<std::string> userId;
    std::int64_t badge = 0;
    std::optional<std::int64_t> launchCount;
    std::int64_t launchTime = 0;  ///< milliseconds since 1970
    std::vector<std::string> subscriptions;
    std::string osVersion;
    std::string deviceModel;
    PushClientServerReachabilityNetworkType connection = PushClientServerReachabilityNoNetworkFoundType;
    Dictionary userInfo;
    std::optional<Dictionary> notificationSettings;
    std::string clientVersion;
    std::optional<std::string> tokenStatus;
    /// False: the user did not cause this save by a launch. Missing, as usual: not sent.
    std::optional<bool> applicationLaunch;
};

/// A saved installation, and the two requests on it.
///
/// Save: `POST installations`, or `PUT installations/{id}` for a known one; removal: `DELETE
/// installations/{id}`. Keys of the record are the names of the fields above; `connection` is its number.
class LBInstallation {
public:
    using Saved = std::function<void(const std::optional<LBInstallation>& installation)>;
    using Removed = std::function<void(const Value& response)>;
    using Failure = std::function<void(const NSError& error)>;

    explicit LBInstallation(Dictionary record) : record_(std::move(record)) {}

    /// The server's answer, unchanged.
    [[nodiscard]] const Dictionary& toDictionary() const { return record_; }

    /// The id that the server gave: the record's "id" when it is a text or a number, else missing.
    [[nodiscard]] std::optional<std::string> id() const;

    /// Success gets no installation when the answer is not a JSON object.
    static void registerDevice(LBRESTAdapter& adapter, const LBInstallationFields& fields, Saved success,
                               const Failure& failure);
    static void unregisterDevice(LBRESTAdapter& adapter, const std::string& registrationId, Removed success,
                                 const Failure& failure);

private:
    Dictionary record_;
};

}  // namespace xel
