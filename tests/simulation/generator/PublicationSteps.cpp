#include "tests/simulation/generator/PublicationSteps.h"

#include <cstddef>
#include <vector>

namespace xel::simulation {
namespace {

/// More than a read commonly holds; and a hundred of them, read octet by octet by three clients, take fewer
/// steps than a run loop is thought to be caught in a circle after.
constexpr std::size_t kLargeBody = 2000;

}  // namespace

std::string PublicationSteps::nextMark(const std::string& direction) {
    return direction + std::to_string(++last_);
}

std::string PublicationSteps::payload(const std::string& mark) {
    const std::string id = R"("id":")" + mark + R"(")";
    switch (draw_.number(0, 19)) {
        case 0: return R"({"messageBody":")" + mark + R"("})";  // without an id it is never a duplicate
        case 1: return "{" + id + R"(,"expireTime":$now-1000})";
        case 2: return "{" + id + R"(,"expireTime":$now+60000})";
        case 3: return "{" + id + R"(,"messageBody":"BIBB reserved"})";
        case 4: return "\"no document " + mark + "\"";
        case 5: return "{" + id + R"(,"messageBody":")" + std::string(kLargeBody, 'b') + R"("})";
        default: return "{" + id + R"(,"messageBody":"b"})";
    }
}

std::string PublicationSteps::fromBroker(const std::string& user) {
    const auto mark = nextMark("in");
    const bool isOne = draw_.chance(40);
    const std::string times =
        isOne ? "" : " times " + std::to_string(draw_.number(2, draw_.chance(25) ? 120 : 30));
    const std::string marks = isOne ? mark : mark + "x%";
    const std::string qos = draw_.chance(10) ? " qos 0" : "";
    const std::string retained = draw_.chance(8) ? " retained" : "";
    switch (draw_.number(0, 9)) {
        case 0:
            return "broker publishes app/shop/event/login/X9" + qos + times + R"( {"id":")" + marks + R"("})";
        case 1:
            return "broker publishes app/shop/delivery/" + user + "/" + mark + "/D1 u-:-d-:-1500000000500";
        case 2:
            // The same one several times.
            return "broker publishes app/shop/user/public/news times 3 " + payload(mark);
        case 3:
        case 4:
        case 5:
            return "broker publishes app/shop/user/" + user + "/default" + qos + times + " " + payload(marks);
        default:
            return "broker publishes app/shop/user/public/" +
                   draw_.oneOf<std::string>({"news", "news", "sport"}) + qos + retained + times + " " +
                   payload(marks);
    }
}

std::string PublicationSteps::turns(const std::string& user) {
    return "broker publishes app/shop/user/" + user + "/default times " +
           std::to_string(draw_.number(24, 80)) + R"( {"id":")" + nextMark("in") + R"(x%"})";
}

std::string PublicationSteps::fromHost() {
    const auto mark = nextMark("out");
    switch (draw_.number(0, 7)) {
        case 0: return "host publishText news \"" + mark + "\"";
        case 1: return "host publishText to bob01 orders \"" + mark + "\"";
        case 2: return "host markAsRead " + mark;
        case 3: return "host messageDismissed " + mark;
        case 4:
            return R"(host publish {"id":")" + mark + R"(","channel":"news","messageBody":"b","live":true})";
        case 5: return R"(host publish {"id":")" + mark + R"(","channel":"news","messageBody":"b"})";
        default:
            return R"(host publishEvent login {"id":")" + mark + R"(","createdAt":1})" +
                   (draw_.chance(15) ? " live" : "") + (draw_.chance(15) ? " stateful" : "");
    }
}

}  // namespace xel::simulation
