#include <gtest/gtest.h>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {
namespace {

TEST(HttpDate, HasTheFixedForm) {
    EXPECT_EQ(formatHttpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(formatHttpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
    EXPECT_EQ(formatHttpDate(1709210096), "Thu, 29 Feb 2024 12:34:56 GMT");
}

}  // namespace
}  // namespace xel::sandbox
