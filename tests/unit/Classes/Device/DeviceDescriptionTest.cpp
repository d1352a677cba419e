#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/Device/DeviceDescription.h"
#include "XelPushClient/Testing/FakeDevice.h"
#include "XelPushClient/Testing/FakeReachability.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

struct NamedModels {
    std::string name;
    std::vector<std::string> identifiers;
};

const std::vector<NamedModels>& publishedModels() {
    static const std::vector<NamedModels> models = {
        {"Simulator", {"i386", "x86_64"}},
        {"iPhone", {"iPhone1,1"}},
        {"iPhone 3G", {"iPhone1,2"}},
        {"iPhone 3GS", {"iPhone2,1"}},
        {"iPhone 4", {"iPhone3,1", "iPhone3,3"}},
        {"iPhone 4S", {"iPhone4,1"}},
        {"iPhone 5", {"iPhone5,1", "iPhone5,2"}},
        {"iPhone 5c", {"iPhone5,3", "iPhone5,4"}},
        {"iPhone 5s", {"iPhone6,1", "iPhone6,2"}},
        {"iPhone 6 Plus", {"iPhone7,1"}},
        {"iPhone 6", {"iPhone7,2"}},
        {"iPhone 6S", {"iPhone8,1"}},
        {"iPhone 6S Plus", {"iPhone8,2"}},
        {"iPhone SE", {"iPhone8,4"}},
        {"iPhone 7", {"iPhone9,1", "iPhone9,3"}},
        {"iPhone 7 Plus", {"iPhone9,2", "iPhone9,4"}},
        {"iPhone 8", {"iPhone10,1", "iPhone10,4"}},
        {"iPhone 8 Plus", {"iPhone10,2", "iPhone10,5"}},
        {"iPhone X", {"iPhone10,3", "iPhone10,6"}},
        {"iPad", {"iPad1,1"}},
        {"iPad 2", {"iPad2,1", "iPad2,2", "iPad2,3", "iPad2,4"}},
        {"iPad Mini", {"iPad2,5", "iPad2,6", "iPad2,7"}},
        {"iPad 3", {"iPad3,1", "iPad3,2", "iPad3,3"}},
        {"iPad 4", {"iPad3,4", "iPad3,5", "iPad3,6"}},
        {"iPad Air", {"iPad4,1", "iPad4,2", "iPad4,3"}},
        {"iPad Mini 2", {"iPad4,4", "iPad4,5", "iPad4,6"}},
        {"iPad Mini 3", {"iPad4,7", "iPad4,8", "iPad4,9"}},
        {"iPad Mini 4", {"iPad5,1", "iPad5,2"}},
        {"iPad Air 2", {"iPad5,3", "iPad5,4"}},
        {"iPad Pro (12.9\")", {"iPad6,3", "iPad6,4"}},
        {"iPad Pro (9.7\")", {"iPad6,7", "iPad6,8"}},
        {"iPod Touch", {"iPod1,1"}},
        {"iPod Touch (2nd gen)", {"iPod2,1"}},
        {"iPod Touch (3nd gen)", {"iPod3,1"}},
        {"iPod Touch (4nd gen)", {"iPod4,1"}},
        {"iPod Touch (5nd gen)", {"iPod5,1"}},
        {"iPod Touch (6nd gen)", {"iPod7,1"}},
    };
    return models;
}

class DeviceDescriptionTest : public testing::Test {
protected:
    FakeDevice device_;
    FakeReachabilityFactory reachability_{std::make_shared<FakeRunLoop>()};
    DeviceDescription description_{device_, reachability_};
};

TEST_F(DeviceDescriptionTest, KnowsEveryPublishedModelByItsName) {
    std::size_t rows = 0;
    for (const auto& [name, identifiers] : publishedModels()) {
        for (const auto& identifier : identifiers) {
            EXPECT_EQ(deviceModelFor(identifier), name) << identifier;
            ++rows;
        }
    }
    EXPECT_EQ(rows, 66U);
    std::set<std::string_view> listed;
    for (const auto& [identifier, name] : deviceModelList()) {
        listed.insert(identifier);
    }
    EXPECT_EQ(deviceModelList().size(), 66U);
    EXPECT_EQ(listed.size(), 66U);
}

TEST_F(DeviceDescriptionTest, ReportsAnUnknownModelByItsIdentifier) {
    device_.setMachineIdentifier("iPhone99,1");
    EXPECT_EQ(description_.deviceModel(), "iPhone99,1");
    device_.setMachineIdentifier("");
    EXPECT_EQ(description_.deviceModel(), "");
}

TEST_F(DeviceDescriptionTest, NamesTheMachinesModel) {
    EXPECT_EQ(description_.deviceModel(), "Simulator");
    device_.setMachineIdentifier("iPod7,1");
    EXPECT_EQ(description_.deviceModel(), "iPod Touch (6nd gen)");
}

TEST_F(DeviceDescriptionTest, PassesTheSystemVersionOn) {
    device_.setSystemVersion("12.4 (beta)");
    EXPECT_EQ(description_.deviceOsVersion(), "12.4 (beta)");
}

TEST_F(DeviceDescriptionTest, AsksForTheNetworkOfTheMoment) {
    EXPECT_EQ(description_.getConnectionType(), PushClientServerReachabilityWifiNetworkType);
    reachability_.setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    EXPECT_EQ(description_.getConnectionType(), PushClientServerReachabilityCelluarNetworkType);
}

TEST_F(DeviceDescriptionTest, HasNoStatusBarToAsk) {
    EXPECT_FALSE(DeviceDescription::getConnectionTypeFromStatusBar());
}

}  // namespace
}  // namespace xel
