#include <chrono>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Testing/Simulation/Fault.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// A fault with everything that its form has.
Fault exampleOf(const FaultForm& form) {
    Fault fault;
    fault.what = form.what;
    if (form.hasText()) {
        fault.on = form.choices().empty() ? "app/shop/news" : std::string(form.choices().back());
    }
    if (form.hasAmount()) {
        fault.amount = form.most;
    }
    return fault;
}

void expectSameAgain(const Fault& fault) {
    const auto line = describeFault(fault);
    const auto again = parseFault(line);
    ASSERT_TRUE(again) << line;
    EXPECT_EQ(again.value(), fault) << line;
}

TEST(Fault, ReadsWhatItWrites) {
    for (const auto& form : faultForms()) {
        auto fault = exampleOf(form);
        expectSameAgain(fault);
        if (form.hasAmount()) {
            fault.amount = form.least;
            expectSameAgain(fault);
        }
        if (form.hasText() && form.choices().empty()) {
            for (const auto* text : {"", "two words", "with \"quotes\" and \\", "everything", "news"}) {
                fault.on = text;
                expectSameAgain(fault);
            }
        }
        if (form.span != FaultSpan::Momentary) {
            for (const auto duration : {1ms, 250ms, 4000ms}) {
                fault.duration = duration;
                expectSameAgain(fault);
            }
        }
    }
}

TEST(Fault, HasAFormOfItsOwnForEachKind) {
    int number = 0;
    for (const auto& form : faultForms()) {
        EXPECT_EQ(static_cast<int>(form.what), number++) << form.line;
        EXPECT_EQ(&formOf(form.what), &form);
        EXPECT_FALSE(form.meaning.empty()) << form.line;
        EXPECT_LE(form.least, form.most) << form.line;
        EXPECT_EQ(form.hasAmount(), form.most != 0) << form.line;
    }
}

TEST(Fault, StandsInTheDocument) {
    std::ifstream file("../docs/testing.md");  // tests run in the folder tests
    const std::string document(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(document.empty());
    const std::vector<const char*> spans{"lasts", "waits", "at once"};
    for (const auto& form : faultForms()) {
        const auto row = "| `" + std::string(form.line) + "` | " +
                         spans.at(static_cast<std::size_t>(form.span)) + " | " + std::string(form.meaning) +
                         " |\n";
        EXPECT_NE(document.find(row), std::string::npos) << row;
    }
}

TEST(Fault, ReadsALine) {
    const auto fault = parseFault("  broker grants   app/shop/news 128 for 4 s ");
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault.value(), (Fault{FaultKind::BrokerGrants, "app/shop/news", 128, 4s}));
}

TEST(Fault, SaysWhichWordItCannotRead) {
    struct Case {
        const char* line;
        const char* complaint;
    };
    const std::vector<Case> cases{
        {"", "the line is not complete"},
        {"breaker stops", "\"breaker\" means nothing there"},
        {"broker stops", "the line is not complete; known are \"broker stops listening\""},
        {"broker stops working", "\"working\" means nothing there; known are \"broker stops listening\""},
        {"broker stops listening now", "\"now\" means nothing there; a duration is"},
        {"broker stops listening for 4", "\"for\" means nothing there"},
        {"broker stops listening for 0 s", "\"for\" means nothing there"},
        {"broker stops listening for 4 h", "\"for\" means nothing there"},
        {"broker stops listening for 99999999999999999 s", "\"for\" means nothing there"},
        {"broker forgets sessions for 4 s", "happens at once"},
        {"broker refuses with six", "a number from 1 to 5, not \"six\""},
        {"broker refuses with 6", "a number from 1 to 5, not \"6\""},
        {"broker withholds PINGREQ", "knows no \"PINGREQ\", only CONNACK, PUBACK"},
        {"broker \"stops\" listening", "\"stops\" means nothing there"},
        {"broker grants \"news 1", "a quotation that does not close"},
    };
    for (const auto& [line, complaint] : cases) {
        const auto fault = parseFault(line);
        ASSERT_FALSE(fault) << line;
        EXPECT_THAT(fault.error().localizedDescription(), HasSubstr(complaint)) << line;
    }
}

}  // namespace
}  // namespace xel
