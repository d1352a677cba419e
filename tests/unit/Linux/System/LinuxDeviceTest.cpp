#include <string>

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "XelPushClient/Linux/System/HostBundle.h"
#include "XelPushClient/Linux/System/LinuxDevice.h"

namespace xel {
namespace {

struct OsReleaseCase {
    const char* name;
    const char* text;
    const char* expected;
};

class OsReleaseVersions : public testing::TestWithParam<OsReleaseCase> {};

TEST_P(OsReleaseVersions, AreReadFromVersionId) {
    EXPECT_EQ(versionIdOfOsRelease(GetParam().text), GetParam().expected);
}

const OsReleaseCase kTexts[] = {
    {"DoubleQuotes", "NAME=\"Debian\"\nVERSION_ID=\"12\"\nVERSION=\"12 (x)\"\n", "12"},
    {"SingleQuotes", "VERSION_ID='22.04'\n", "22.04"},
    {"NoQuotes", "VERSION_ID=39", "39"},
    {"CarriageReturns", "VERSION_ID=\"9\"\r\n", "9"},
    {"Indented", "  VERSION_ID=7  \n", "7"},
    {"LastOneCounts", "VERSION_ID=1\nVERSION_ID=2\n", "2"},
    {"OtherNames", "VERSION=\"12\"\nMY_VERSION_ID=3\n#VERSION_ID=4\n", ""},
    {"OneQuote", "VERSION_ID=\"\n", "\""},
    {"Empty", "", ""},
};

INSTANTIATE_TEST_SUITE_P(LinuxDevice, OsReleaseVersions, testing::ValuesIn(kTexts),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(LinuxDevice, NamesTheMachineAsTheKernelDoes) {
    utsname names{};
    ASSERT_EQ(uname(&names), 0);
    EXPECT_EQ(LinuxDevice().machineIdentifier(), names.machine);
}

TEST(LinuxDevice, HasASystemVersion) {
    EXPECT_FALSE(LinuxDevice().systemVersion().empty());
}

TEST(HostBundle, AnswersWhatTheHostGave) {
    const HostBundle bundle("2.3", std::nullopt);
    EXPECT_EQ(bundle.shortVersionString(), "2.3");
    EXPECT_EQ(bundle.bundleVersion(), std::nullopt);
}

}  // namespace
}  // namespace xel
