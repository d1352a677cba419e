#include <gtest/gtest.h>

#include "tools/runs/LogPhrase.h"

namespace xel::tools {
namespace {

TEST(LogPhrase, FindsWhatStandsBehindAPhrase) {
    EXPECT_EQ(textBehind("[x]: ConnectionError no route  \n more", "]: ConnectionError "), "no route");
    EXPECT_EQ(textBehind("Ignore duplicate message id m1", "Ignore duplicate message id "), "m1");
    EXPECT_EQ(textBehind("phrase", "phrase"), "");
    EXPECT_FALSE(textBehind("another line", "phrase"));
}

}  // namespace
}  // namespace xel::tools
