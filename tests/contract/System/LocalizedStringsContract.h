#pragma once

#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/LocalizedStrings.h"

namespace xel::contract {

/// What every look-up of texts owes. A subject is default constructible, knows "greeting" as "Grüße", and has
///     LocalizedStrings& strings();
template <class Subject>
class LocalizedStringsContract : public ::testing::Test {
protected:
    std::string lookUp(const std::string& key) {
        return subject_.strings().localizedUserNotificationStringForKey(key);
    }

    Subject subject_;
};

TYPED_TEST_SUITE_P(LocalizedStringsContract);

TYPED_TEST_P(LocalizedStringsContract, GivesTheTranslation) {
    EXPECT_EQ(this->lookUp("greeting"), "Gr\u00FC\u00DFe");
}

TYPED_TEST_P(LocalizedStringsContract, GivesTheKeyWithoutATranslation) {
    for (const auto& key :
         {std::string(), std::string("Greeting"), std::string("greeting "), std::string("greeting\0", 9),
          std::string("100 % of %s"), std::string("\n"), std::string(100'000, 'x')}) {
        EXPECT_EQ(this->lookUp(key), key);
    }
}

REGISTER_TYPED_TEST_SUITE_P(LocalizedStringsContract, GivesTheTranslation, GivesTheKeyWithoutATranslation);

}  // namespace xel::contract
