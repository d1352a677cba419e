#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;

class RegistrationStateTest : public RoomsTest {
protected:
    RegistrationState& room() { return rooms_->registrationState; }
    void fail(NSURLErrorCode code) {
        room().handleRegistrationFailWithError(
            makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), "failed"));
    }
};

TEST_F(RegistrationStateTest, IsRegisteredInTheReportAlready) {
    bool wasRegistered = false;
    rooms_->fanout.blocks.registrationHandler = [&](bool registered, const auto&, const auto&) {
        wasRegistered = registered && room().isRegistered();
    };
    room().callbackRegitrationSuccess();
    EXPECT_TRUE(wasRegistered);
    room().forgetIdentity();
    EXPECT_FALSE(room().isRegistered());
}

TEST_F(RegistrationStateTest, KeepsTheFailureAndReportsWhatItMeans) {
    room().callbackRegitrationSuccess();
    addDelegate();
    fail(NSURLErrorCode::BadServerResponse);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailRegisterUser -5012"));
    EXPECT_EQ(rooms_->lastFailure.error()->code,
              static_cast<std::int64_t>(NSURLErrorCode::BadServerResponse));
    EXPECT_FALSE(room().isRegistered());
    EXPECT_FALSE(room().isPending());
}

TEST_F(RegistrationStateTest, IsPendingFromATransientFailureToASuccess) {
    fail(NSURLErrorCode::TimedOut);
    EXPECT_TRUE(room().isPending());
    fail(NSURLErrorCode::BadServerResponse);
    EXPECT_TRUE(room().isPending()) << "another failure takes nothing back";
    room().nothingIsPending();
    EXPECT_FALSE(room().isPending());
}

}  // namespace
}  // namespace xel
