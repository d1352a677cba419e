#pragma once

#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {

/// The room of subscriptions, on a session that the test leads.
class TopicsTest : public RoomsTest {
protected:
    static constexpr auto kNews = "app/a1b2c3/user/public/news";
    static constexpr auto kSport = "app/a1b2c3/user/public/sport";

    Subscriptions& room() { return rooms_->subscriptions; }

    /// Connected, and the batch of the connect answered.
    ScriptedSession& connectAndGrant() {
        auto& session = connect();
        session.subAck(1, {1, 1});
        return session;
    }
    /// The same with nothing stored, and delegates listening.
    ScriptedSession& connectAndListen() {
        auto& session = connectAndGrant();
        home_.defaults->setObject("subscribedTopics", Array());
        addDelegate();
        return session;
    }
};

}  // namespace xel
