#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/LoopBack/LBRESTAdapter.h"
#include "XelPushClient/Testing/FakeHTTPTransport.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {

/// An adaptor on a transport that answers as the test says.
class LoopBackTest : public testing::Test {
protected:
    LoopBackTest() { adapter_->setAccessToken("key&1"); }

    [[nodiscard]] HTTPRequest onlyRequest() const {
        const auto requests = transport_->requests();
        EXPECT_EQ(requests.size(), 1U);
        return requests.empty() ? HTTPRequest() : requests.front();
    }

    [[nodiscard]] Value bodyOfOnlyRequest() {
        const auto body = json_->JSONObjectWithData(onlyRequest().body);
        EXPECT_TRUE(body.isOk());
        return body.isOk() ? body.value() : Value();
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeHTTPTransport> transport_ = std::make_shared<FakeHTTPTransport>(runLoop_);
    std::shared_ptr<SimpleJSONSerialization> json_ = std::make_shared<SimpleJSONSerialization>();
    std::shared_ptr<LBRESTAdapter> adapter_ =
        LBRESTAdapter::adapterWithURL("https://shop.push.example/api", transport_, json_);
    std::vector<Value> answers_;
    std::vector<NSError> failures_;
};

}  // namespace xel
