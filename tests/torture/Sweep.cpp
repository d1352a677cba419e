#include "tests/torture/Sweep.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <gtest/gtest.h>

namespace xel::torture {

namespace {

std::size_t numberFrom(const char* variable, std::size_t otherwise) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? otherwise : std::max<std::size_t>(std::strtoul(text, nullptr, 10), 1);
}

void runOne(TorturedSession& session, std::size_t number) {
    try {
        session.run();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "stroke " << number << ": " << error.what();
    }
    memoryStrokes().heal();
    for (const std::string& fault : session.faults()) {
        ADD_FAILURE() << "stroke " << number << ": " << fault;
    }
}

std::size_t countWithout(const std::function<Strokes&(TorturedSession&)>& strokes) {
    TorturedSession session;
    strokes(session).beginWithout();
    runOne(session, 0);
    EXPECT_EQ(session.recovery(), Recovery::ByItself);
    EXPECT_EQ(session.host().exceptions(), 0U);
    return strokes(session).count();
}

}  // namespace

void sweep(std::string_view name, const std::function<Strokes&(TorturedSession&)>& strokes, Span span,
           std::size_t usualRuns) {
    const std::size_t count = countWithout(strokes);
    ASSERT_GT(count, 0U);
    const std::size_t step = numberFrom("XELPUSH_TORTURE_STEP", std::max<std::size_t>(count / usualRuns, 1));
    std::array<std::size_t, 3> recoveries{};
    std::size_t runs = 0;
    for (std::size_t number = numberFrom("XELPUSH_TORTURE_FIRST", 1); number <= count; number += step) {
        TorturedSession session;
        strokes(session).begin(number, span);
        runOne(session, number);
        ++recoveries[static_cast<std::size_t>(session.recovery())];
        ++runs;
        if (std::getenv("XELPUSH_TORTURE_PROGRESS") != nullptr && runs % 100 == 0) {
            std::printf("%.*s: %zu of %zu\n", static_cast<int>(name.size()), name.data(), number, count);
            std::fflush(stdout);
        }
    }
    std::printf(
        "%.*s: %zu of %zu failed in turn; then connected by itself %zu, after registering again %zu, "
        "in a new life %zu\n",
        static_cast<int>(name.size()), name.data(), runs, count, recoveries[0], recoveries[1], recoveries[2]);
}

}  // namespace xel::torture
