#include <gtest/gtest.h>

#include "XelPushClient/Linux/System/LinuxFolders.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

TEST(LinuxFolders, FollowTheXDGVariables) {
    TemporaryEnvironment environment;
    environment.set("XDG_STATE_HOME", "/state");
    environment.set("XDG_DATA_HOME", "/data");
    EXPECT_EQ(defaultStateFolder("host"), "/state/xelpush/host");
    environment.set("XDG_CACHE_HOME", "/cache");
    EXPECT_EQ(defaultDocumentsFolder("host"), "/data/xelpush/host");
    EXPECT_EQ(defaultCacheFolder("host"), "/cache/xelpush/host");
    environment.set("XDG_CONFIG_HOME", "/config");
    EXPECT_EQ(defaultConfigFolder("host"), "/config/xelpush/host");
}

TEST(LinuxFolders, AreBelowTheHomeFolderOtherwise) {
    TemporaryEnvironment environment;
    environment.set("HOME", "/home/alice");
    for (const auto& value : {std::optional<std::string>(), std::optional<std::string>(""),
                              std::optional<std::string>("relative/path")}) {
        environment.set("XDG_STATE_HOME", value);
        environment.set("XDG_DATA_HOME", value);
        environment.set("XDG_CACHE_HOME", value);
        environment.set("XDG_CONFIG_HOME", value);
        EXPECT_EQ(defaultConfigFolder("host"), "/home/alice/.config/xelpush/host");
        EXPECT_EQ(defaultStateFolder("host"), "/home/alice/.local/state/xelpush/host");
        EXPECT_EQ(defaultDocumentsFolder("host"), "/home/alice/.local/share/xelpush/host");
        EXPECT_EQ(defaultCacheFolder("host"), "/home/alice/.cache/xelpush/host");
    }
}

TEST(LinuxFolders, AskTheUserDatabaseWithoutAHomeVariable) {
    TemporaryEnvironment environment;
    environment.set("XDG_STATE_HOME", std::nullopt);
    environment.set("HOME", std::nullopt);
    const auto folder = defaultStateFolder("host");
    ASSERT_TRUE(folder.has_value());
    EXPECT_TRUE(folder->starts_with('/')) << *folder;
    EXPECT_TRUE(folder->ends_with("/.local/state/xelpush/host")) << *folder;
}

TEST(LinuxFolders, AreNamedAfterTheProgram) {
    EXPECT_FALSE(programName().empty());
    EXPECT_EQ(programName().find('/'), std::string::npos);
}

}  // namespace
}  // namespace xel
